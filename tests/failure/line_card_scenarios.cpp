// Drop counters. The line card in slot 1 counts drops, the one in slot 2 does not, the other slots are empty.
#include "platform/quill.h"
#include "tests/failure/scenario.h"
#include "tests/support/command.h"

namespace testkit::failure {
namespace {

constexpr uint32_t kAllOnes = 0xFFFFFFFF;
constexpr char kCounter[] = "SPAN Drop-Counters for module 1 is: 0xff\n";
constexpr char kNotAvailable[] = "span_cli_get_drop_counters module 1 not available\n";
constexpr char kNotReceived[] = "\n quill_recv returned errno 110 : Connection timed out";
constexpr char kNotSent[] = "brio_print_quill_error_message(2, 113)\n";
constexpr char kNoAnswer[] = "span_show_send_receive QUILL receive error 71\n";

std::string no_info(uint32_t module) { return "Cannot get info about module " + std::to_string(module) + "\n"; }

// What the empty slots print.
std::string empty_slots() {
  std::string text;
  for (uint32_t module = 3; module <= 232; ++module) text += no_info(module);
  return text;
}

Outcome scan(const std::string& slots_1_and_2, size_t messages_left = 0) {
  return {.result = 0, .printed = slots_1_and_2 + empty_slots(), .messages_left = messages_left};
}

Seen module_swid() {
  uint16_t software = 0xABCD;
  const uint32_t result = syscli_get_module_swid(Command(), 1, &software);
  return {result, "software " + (software == 0xABCD ? "untouched" : std::to_string(software))};
}

Seen send_receive() {
  const uint8_t payload[] = {1, 2};
  alignas(8) uint8_t message[QUILL_MESSAGE_SIZE] = {};
  const uint32_t result = span_show_send_receive(kQueue, 0x902, 935, 2020, payload, 2, message, 5);
  if (result == kOk) quill_drop(kQueue, message);
  return result;
}

std::vector<Broken> broken_scan() {
  return {
      {printed(1, "Error: unable to get platform info\n")},
      // The result of the inventory's table is not looked at: without a table, no slot has a module.
      {.outcome = scan(""), .handed = kCounter + empty_slots()},
      {scan(no_info(1))},
      {scan(kNotReceived, 1)},
      {printed(1, "")},
      {scan(std::string(kNotSent) + kNotAvailable)},
      {scan(std::string(kNoAnswer) + kNotAvailable)},
      {printed(1, "span_cli_get_drop_counters conversion from TLV to struct failedi for mod 1 \n")},
      {scan(kCounter + no_info(2))},
      {scan(std::string(kCounter) + kNotReceived, 1)},
  };
}

}  // namespace

Scenarios line_card_scenarios() {
  return {
      {"span_cli_get_drop_counters",
       [] { return span_cli_get_drop_counters(Command()); },
       scan(kCounter),
       {},
       broken_scan()},
      {"syscli_get_module_swid",
       module_swid,
       {.result = kOk, .out = "software 29"},
       {},
       {{{.result = kItsCode, .printed = no_info(1), .out = "software untouched"}},
        {{.result = kAllOnes, .printed = kNotReceived, .out = "software untouched", .messages_left = 1}}}},
      {"span_show_send_receive",
       send_receive,
       {.result = kOk},
       {},
       {{printed(1, kNotSent)}, {printed(kQuillErrno, kNoAnswer)}}},
  };
}

}  // namespace testkit::failure
