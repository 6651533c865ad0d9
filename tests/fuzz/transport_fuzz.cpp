// What the processes tell each other: bodies of every type, as they are, and records of a socket put together. Rates
// are put to use, and texts shown.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "host/nodes/cards.h"
#include "host/transport/frame.h"
#include "host/transport/message.h"
#include "host/transport/tame.h"
#include "tests/fuzz/input.h"

namespace {

using fuzz::Bytes;
using fuzz::Input;

// What decodes is the one body that these bytes are.
template <class T>
void decode(const Bytes& bytes) {
  const std::optional<T> body = transport::decode<T>(bytes);
  if (body && transport::encode(*body) != bytes) std::abort();
}

// A line card lives on whatever rates it is told.
void copy_at_rates(const Bytes& bytes) {
  const auto rates = transport::decode<transport::Rates>(bytes);
  if (!rates) return;
  uint64_t now = 0;
  nodes::Cards cards([&] { return now; });
  cards.set_rates(rates->copies, rates->threshold);
  for (const auto& [module, rate] : rates->copies) {
    now += rates->generation;
    cards.drops(module);
  }
}

// What others say takes one line in a log, of no more than its width.
void show(const Bytes& bytes) {
  constexpr size_t kWidth = 100;
  const std::string shown = transport::tame(std::string(bytes.begin(), bytes.end()), kWidth);
  if (shown.size() > kWidth || !std::ranges::all_of(shown, [](char c) { return c >= ' ' && c <= '~'; })) std::abort();
}

void decode_all(const Bytes& bytes) {
  copy_at_rates(bytes);
  show(bytes);
  decode<transport::Hello>(bytes);
  decode<transport::Welcome>(bytes);
  decode<transport::Request>(bytes);
  decode<transport::Reply>(bytes);
  decode<transport::DumpRequest>(bytes);
  decode<transport::Dumped>(bytes);
  decode<transport::RoleList>(bytes);
  decode<transport::Watch>(bytes);
  decode<transport::Rates>(bytes);
  decode<transport::Send>(bytes);
  decode<transport::Failed>(bytes);
}

// A record of any length: mostly a header with likely fields and a piece.
size_t any_record(Input& input, transport::FrameBuffer& record) {
  if (input.rarely()) return input.below(transport::kMaxFrame + 2);
  auto& header = libspan::view<transport::FrameHeader>(record.data());
  libspan::put(header.magic, input.rarely() ? input.word() : transport::kMagic);
  libspan::put(header.version, static_cast<uint16_t>(input.rarely() ? input.word() : transport::kProtocolVersion));
  libspan::put(header.type, static_cast<uint16_t>(input.byte() % 18));
  libspan::put(header.id, input.below(3));
  libspan::put(header.total, input.rarely() ? input.word() : input.below(200));
  libspan::put(header.offset, input.rarely() ? input.word() : input.below(200));
  const Bytes piece = input.take(input.below(200));
  std::copy(piece.begin(), piece.end(), record.begin() + sizeof header);
  return sizeof header + piece.size();
}

// Records of one line, until one of them breaks it.
void assemble(Input& input) {
  static const auto record = std::make_unique<transport::FrameBuffer>();
  transport::Assembler assembler;
  try {
    while (!input.empty()) {
      const std::optional<transport::Message> message = assembler.add(*record, any_record(input, *record));
      if (message) decode_all(message->body);
    }
  } catch (const transport::Malformed&) {
    return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  if (input.flip()) {
    assemble(input);
  } else {
    decode_all(input.take(size));
  }
  return 0;
}
