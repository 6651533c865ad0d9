// The SPAN manager: requests and debug functions, any bytes, one after the other on the same state; and what is said to
// be its responses. Each request is put into words, as for the audit.
#include <array>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>

#include "host/manager/manager.h"
#include "host/manager/responses.h"
#include "host/manager/words.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/switch.h"

namespace {

using fuzz::Bytes;
using fuzz::Input;

constexpr uint32_t kQuery = 1;
constexpr uint32_t kChange = 3;
constexpr uint32_t kBrief = 2005;

void require(bool holds) {
  if (!holds) std::abort();
}

uint32_t any_opcode(Input& input) {
  static constexpr uint32_t kOpcodes[] = {2000, 2001, 2002, 2004, kBrief, 2006, 2010, 2014, 2016, 2019};
  return input.rarely() ? input.word() : kOpcodes[input.below(std::size(kOpcodes))];
}

Bytes any_payload(Input& input) {
  static constexpr uint16_t kSizes[] = {4, 5, 8, 28, 102, 103, 112, 116, 624, 632};
  if (input.rarely()) return input.sparse(input.below(0x10000));
  return input.flip() ? input.sparse(kSizes[input.below(std::size(kSizes))]) : input.take(input.below(700));
}

void request(manager::Manager& manager, const chassis::Chassis& chassis, Input& input) {
  const uint32_t opcode = any_opcode(input);
  const uint32_t kind = input.rarely() ? input.word() : input.flip() ? kQuery : kChange;
  const Bytes payload = any_payload(input);
  require(manager::describe(chassis, opcode, payload).size() <= manager::kMaxWords);
  const manager::Reply reply = manager.handle(opcode, kind, payload);
  require(reply.response.empty() == (reply.status != 0));
  require(reply.status != 0 || manager::is_whole(opcode, reply.response));
}

// What is said to be a response may be any bytes.
void receive(Input& input) {
  const uint32_t opcode = any_opcode(input);
  manager::is_whole(opcode, any_payload(input));
}

void dump(const manager::Manager& manager, Input& input) {
  static constexpr std::string_view kNames[] = {"span_debug_dump", "fu_fsm_dump_fsm_log", "fu_fsm_tca_dump",
                                                "mtrack_dump_memstats"};
  const uint32_t name = input.below(std::size(kNames) + 1);
  const std::string other = input.text(30);
  const Bytes record = input.take(input.below(24));
  manager.dump(name < std::size(kNames) ? kNames[name] : other, record);
}

// Whatever came before, the sessions can be told.
void tell(manager::Manager& manager) {
  const Bytes all = {1, 0, 0, 0};
  require(manager.handle(kBrief, kQuery, all).status == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const chassis::Chassis chassis = fuzz::make_switch();
  Input input(data, size);
  manager::Manager manager(chassis);
  while (!input.empty()) {
    const uint8_t what = input.byte();
    if (what < 0xD0) {
      request(manager, chassis, input);
    } else if (what < 0xF0) {
      dump(manager, input);
    } else {
      receive(input);
    }
  }
  tell(manager);
  return 0;
}
