// The TLV codec of the platform, and the manager's: any bytes behind the length word that they come with. And the
// modules, whose counter service speaks it: any bytes as requests and as answers.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/linecard/counter_service.h"
#include "host/linecard/modules.h"
#include "host/tlv/tlv.h"
#include "libspan.h"
#include "platform/hw_counters.h"
#include "platform/tlvu.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/switch.h"

namespace {

using fuzz::Bytes;
using fuzz::Input;

constexpr size_t kHead = 4;

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<void, Free>;

// A record whose length word is right, in a block of its size: nothing else tells the codec where it ends.
Block record_of(const Bytes& fields) {
  auto* const block = static_cast<uint8_t*>(std::malloc(kHead + fields.size()));
  block[0] = block[1] = 0;
  block[2] = static_cast<uint8_t>(fields.size() >> 8);
  block[3] = static_cast<uint8_t>(fields.size());
  std::copy(fields.begin(), fields.end(), block + kHead);
  return Block(block);
}

uintptr_t address(const void* pointer) { return reinterpret_cast<uintptr_t>(pointer); }

void iterate(const void* record, const void* table) {
  uint64_t iterator[32] = {};
  if (tlvu_field_itr_init(address(iterator), address(record), sizeof iterator, table, 0, 0) != 0) return;
  uint32_t tag = 0;
  for (int fields = 0; fields < 0x10000 && tlvu_field_itr_get_next(address(iterator), address(&tag)) == 0;) ++fields;
}

// What decodes, encodes to something that decodes to the same.
void decode(const void* record, const void* table, size_t struct_size) {
  void* out = nullptr;
  if (tlvu_table_convert_tlv_to_struct(&out, record, 0, table, 0) != 0) return;
  const Block decoded(out);
  uint32_t length = 0;
  void* again = nullptr;
  if (tlvu_table_convert_struct_to_tlv(&again, &length, table, out, 0, 0, 0) != 0) std::abort();
  const Block encoded(again);
  void* twice = nullptr;
  if (tlvu_table_convert_tlv_to_struct(&twice, again, 0, table, 0) != 0) std::abort();
  const Block same(twice);
  if (std::memcmp(out, twice, struct_size) != 0) std::abort();
}

void use(const Bytes& fields, uint16_t tag) {
  const Block record = record_of(fields);
  const void* const table = &span_global_info_payload_tbl;
  decode(record.get(), table, sizeof(span_global_info_payload_t));
  decode(record.get(), &linecard::kCounterRequestTable, sizeof(span_hw_counters_request_t));
  decode(record.get(), &linecard::kCounterResultTable, sizeof(span_hw_counters_result_t));
  iterate(record.get(), table);
  uint32_t number = 0;
  tlvu_table_get_struct_size_from_tlv(&number, record.get(), 0, table);
  tlvu_get_field(address(record.get()), tag, address(&number), sizeof number, 0, table);
  tlv_array_size_get(record.get(), 1);
  void* result = nullptr;
  span_hw_counters_payload_to_struct(&result, record.get(), 0, 0);
}

// What a module answers is whole, to whatever it was asked.
void require_whole(uint32_t service, const Bytes& request, const linecard::Answer& answer) {
  if (answer && !linecard::is_whole(service, request, *answer)) std::abort();
}

void ask_modules(const Bytes& request, uint32_t opcode) {
  using namespace linecard;
  static const chassis::Chassis chassis = fuzz::make_switch();
  for (const uint32_t each : {opcode, kInformationOpcode}) {
    require_whole(kInformationService, request, module_information(chassis, each, request));
  }
  for (const uint32_t each : {opcode, kCounterOpcode}) {
    require_whole(kCounterService, request, drop_counter(1 + opcode % 3, opcode << 24, each, request));
  }
}

// The library is handed an answer that passes for whole without its length.
void hear_modules(const Bytes& answer) {
  const uint8_t modules = answer.empty() ? 0 : answer.front();
  linecard::is_whole(linecard::kInformationService, {&modules, 1}, answer);
  if (answer.empty() || !linecard::is_whole(linecard::kCounterService, {}, answer)) return;
  const Block block(std::malloc(answer.size()));
  std::memcpy(block.get(), answer.data(), answer.size());
  void* result = nullptr;
  span_hw_counters_payload_to_struct(&result, block.get(), 0, 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const uint16_t tag = input.byte();
  const Bytes fields = input.take(std::min<size_t>(size, 0xFFFF));
  const Bytes bytes(data, data + size);
  tlv::decode(bytes);
  use(fields, tag);
  for (const Bytes& each : {bytes, fields}) {
    ask_modules(each, tag);
    hear_modules(each);
  }
  return 0;
}
