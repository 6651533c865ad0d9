// The functions of platform/, gettimeofday and close, on top of FakePlatform.
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>
#include <set>
#include <string>

#include "platform/bounded.h"
#include "platform/brio.h"
#include "platform/hw_counters.h"
#include "platform/if_index.h"
#include "platform/inventory.h"
#include "platform/quill.h"
#include "platform/syserr.h"
#include "platform/tarn.h"
#include "platform/tlvu.h"
#include "platform/vex.h"
#include "tests/support/capture.h"
#include "tests/support/fake_platform.h"
#include "tests/support/heap.h"

using testkit::Answer;
using testkit::Bytes;
using testkit::FakePlatform;
using testkit::Interface;

namespace {

constexpr uint32_t kUnknown = 1;
constexpr size_t kPlatformInfoSize = 16;
constexpr uint32_t kTokenBase = 0x7000;

FakePlatform& fake() { return FakePlatform::current(); }

// ---- Journal lines ---------------------------------------------------------------------------------------------------

std::string show(uint64_t number) {
  char digits[24];
  std::snprintf(digits, sizeof digits, number < 0x10000 ? "%llu" : "0x%llx", static_cast<unsigned long long>(number));
  return digits;
}

std::string show(int number) { return std::to_string(number); }

std::string show(uint32_t number) { return show(uint64_t{number}); }

std::string show(uint16_t number) { return show(uint64_t{number}); }

std::string show(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '\n' ? std::string("\\n") : std::string(1, c);
  return quoted + "\"";
}

std::string show(const char* text) { return text == nullptr ? "null" : show(std::string(text)); }

std::string show(const void* pointer) { return fake().name_of(pointer); }

// Text that goes into the line as it stands.
struct Raw {
  std::string text;
};

std::string show(const Raw& raw) { return raw.text; }

std::string show(const Bytes& bytes) { return "[" + testkit::to_hex(bytes) + "]"; }

template <class... Arguments>
std::string line(const std::string& function, const Arguments&... arguments) {
  std::string list;
  ((list += (list.empty() ? "" : ", ") + show(arguments)), ...);
  return function + "(" + list + ")";
}

Raw bytes_sent(size_t count) { return {"[" + std::to_string(count) + " bytes]"}; }

Raw table_name(const void* table) {
  return {table == nullptr ? "null" : static_cast<const tlvu_table_header_t*>(table)->name};
}

Bytes record_of(const void* table, const void* record) {
  return testkit::copy_of(record, static_cast<const tlvu_table_header_t*>(table)->struct_size);
}

std::string format_text(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  std::string text(static_cast<size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
  va_end(again);
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  return text;
}

// ---- Messages --------------------------------------------------------------------------------------------------------

// A handle holds the number of its message in its first four bytes, 0 for none.
uint32_t message_id(const void* message) {
  uint32_t id;
  std::memcpy(&id, message, sizeof id);
  return id;
}

void set_message_id(void* message, uint32_t id) { std::memcpy(message, &id, sizeof id); }

Raw message_name(const void* message) { return {"message " + std::to_string(message_id(message))}; }

void fill_message(void* message, const Answer& answer) {
  set_message_id(message, fake().open_message(answer.block.value_or(Bytes{}), answer.block.has_value()));
}

std::optional<std::string> optional_text(const char* text) {
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

Interface* find_interface(uint32_t if_index) {
  const auto found = fake().interfaces.find(if_index);
  return found == fake().interfaces.end() ? nullptr : &found->second;
}

// Out-arguments are zeroed by the caller.
template <class... Values>
void expect_zeroed(const char* function, const Values*... out) {
  if (!(... && (*out == Values{}))) testkit::fail(std::string("an out-argument was not zeroed before ") + function);
}

bool allowed(const std::optional<std::set<uint32_t>>& set, uint32_t value) { return !set || set->count(value) != 0; }

}  // namespace

extern "C" {

// ---- vex -------------------------------------------------------------------------------------------------------------

uint32_t vex_req_resp(uint32_t opcode, uint32_t kind, void* payload, void** response, uint32_t* length,
                      const char* requester1, const char* requester2, uint32_t service, uint32_t queue,
                      uint32_t option) {
  fake().exchanges.push_back({opcode, kind, testkit::copy_of(payload, *length), optional_text(requester1),
                              optional_text(requester2), service, queue, option});
  const Answer answer = fake().play(
      line("vex_req_resp", opcode, kind, bytes_sent(*length), requester1, requester2, service, queue, option));
  if (*response != answer.preset) testkit::fail("the response pointer of an exchange was not null before the call");
  if (!answer.block) return answer.result;
  *response = answer.hand_out("the response of " + std::to_string(opcode));
  fake().name_pointer(*response, "response");
  return answer.result;
}

// ---- quill -----------------------------------------------------------------------------------------------------------

int quill_send(uint32_t queue, uint32_t address, uint32_t service, uint32_t opcode, const void* payload,
               uint32_t length, void* message, uint32_t zero1, uint32_t zero2) {
  const Answer answer = fake().play(line("quill_send", queue, address, service, opcode,
                                         testkit::copy_of(payload, length), message_name(message), zero1, zero2));
  if (answer.status() != -1) fill_message(message, answer);
  return answer.status();
}

int quill_recv(uint32_t queue, void* message, const void* options) {
  const Answer answer = fake().play(
      line("quill_recv", queue, message_name(message), testkit::copy_of(options, sizeof(quill_recv_options_t))));
  if (answer.status() != -1) fill_message(message, answer);
  return answer.status();
}

int quill_drop(uint32_t queue, void* message) {
  fake().record(line("quill_drop", queue, message_name(message)));
  fake().close_message(message_id(message));
  set_message_id(message, 0);
  return 0;
}

void* quill_payload_get(const void* message) {
  fake().record(line("quill_payload_get", message_name(message)));
  return const_cast<void*>(fake().payload_of(message_id(message)));
}

uint32_t quill_rr_token_get(const void* message) {
  fake().record(line("quill_rr_token_get", message_name(message)));
  return kTokenBase + message_id(message);
}

uint32_t quill_errno_get(uint32_t queue) { return fake().lookup(line("quill_errno_get", queue), fake().quill_errno); }

// ---- tlvu ------------------------------------------------------------------------------------------------------------

uint32_t tlvu_table_convert_struct_to_tlv(void** tlv, uint32_t* length, const void* table, const void* record,
                                          uintptr_t a, uintptr_t b, uintptr_t c) {
  const Answer answer = fake().play(line("tlvu_table_convert_struct_to_tlv", table_name(table),
                                         record_of(table, record), uint64_t{a}, uint64_t{b}, uint64_t{c}));
  if (!answer.block) return answer.result;
  *tlv = answer.hand_out("tlvu_table_convert_struct_to_tlv");
  *length = static_cast<uint32_t>(answer.block->size());
  fake().name_pointer(*tlv, "tlv");
  return answer.result;
}

uint32_t tlvu_table_convert_tlv_to_struct(void** record, const void* tlv, uintptr_t a, const void* table, uintptr_t b) {
  const Answer answer =
      fake().play(line("tlvu_table_convert_tlv_to_struct", tlv, uint64_t{a}, table_name(table), uint64_t{b}));
  if (answer.block) *record = answer.hand_out("tlvu_table_convert_tlv_to_struct");
  return answer.result;
}

uint32_t tlvu_table_get_struct_size_from_tlv(uint32_t* size, const void* tlv, uintptr_t zero, const void* table) {
  const Answer answer =
      fake().play(line("tlvu_table_get_struct_size_from_tlv", tlv, uint64_t{zero}, table_name(table)));
  expect_zeroed("tlvu_table_get_struct_size_from_tlv", size);
  answer.copy_to(size, sizeof *size);
  return answer.result;
}

uint32_t tlvu_table_size(const void* table, const void* record) {
  return fake().play(line("tlvu_table_size", table_name(table), record_of(table, record))).result;
}

uint32_t tlvu_get_field(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e, const void* table) {
  return fake()
      .play(line("tlvu_get_field", uint64_t{a}, uint64_t{b}, uint64_t{c}, uint64_t{d}, uint64_t{e}, table_name(table)))
      .result;
}

uint32_t tlvu_field_itr_init(uintptr_t a, uintptr_t b, uintptr_t c, const void* table, uintptr_t d, uint16_t e) {
  return fake()
      .play(line("tlvu_field_itr_init", uint64_t{a}, uint64_t{b}, uint64_t{c}, table_name(table), uint64_t{d}, e))
      .result;
}

uint32_t tlvu_field_itr_get_next(uintptr_t itr, uintptr_t a) {
  return fake().play(line("tlvu_field_itr_get_next", uint64_t{itr}, uint64_t{a})).result;
}

void tlvu_error_print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fake().play(line("tlvu_error_print", format_text(format, arguments)));
  va_end(arguments);
}

uint32_t tlv_array_size_get(const void* tlv, uint32_t one) {
  return fake().play(line("tlv_array_size_get", tlv, one)).result;
}

// ---- hw_counters -----------------------------------------------------------------------------------------------------

int span_hw_counters_payload_to_tlv(const void* request, void** payload, uint32_t* consumed, uint32_t zero1,
                                    uint32_t* length, uint32_t zero2) {
  const auto* const words = static_cast<const span_hw_counters_request_t*>(request);
  const Answer answer =
      fake().play(line("span_hw_counters_payload_to_tlv", words->module_index, words->word2, zero1, zero2));
  expect_zeroed("span_hw_counters_payload_to_tlv", payload, consumed, length);
  if (!answer.block) return answer.status();
  *payload = const_cast<void*>(fake().store(*answer.block));
  *consumed = *length = static_cast<uint32_t>(answer.block->size());
  return answer.status();
}

int span_hw_counters_payload_to_struct(void** result, const void* payload, uint32_t zero1, uint32_t zero2) {
  const Answer answer = fake().play(line("span_hw_counters_payload_to_struct", payload, zero1, zero2));
  expect_zeroed("span_hw_counters_payload_to_struct", result);
  *result = answer.block ? const_cast<void*>(fake().store(*answer.block)) : nullptr;
  return answer.status();
}

// ---- if_index --------------------------------------------------------------------------------------------------------

int if_index_get_type(uint32_t if_index, uint8_t* type) {
  fake().record(line("if_index_get_type", if_index));
  expect_zeroed("if_index_get_type", type);
  Interface* const found = find_interface(if_index);
  if (found == nullptr) return kUnknown;
  testkit::TypeAnswer answer = {.type = found->type};
  if (!found->type_answers.empty()) {
    answer = found->type_answers.front();
    found->type_answers.erase(found->type_answers.begin());
  }
  *type = answer.type;
  return answer.result;
}

int if_index_port_channel_get_subtype(uint32_t if_index, uint8_t* subtype) {
  fake().record(line("if_index_port_channel_get_subtype", if_index));
  expect_zeroed("if_index_port_channel_get_subtype", subtype);
  const Interface* const found = find_interface(if_index);
  if (found == nullptr || !found->subtype) return kUnknown;
  *subtype = *found->subtype;
  return 0;
}

uint32_t if_index_inband_get_active_sup_priority_hi(void) {
  return fake().lookup(line("if_index_inband_get_active_sup_priority_hi"), fake().inband_interface);
}

uint32_t hton_if_index(uint32_t if_index) {
  uint32_t converted;
  std::memcpy(&converted, testkit::net_if(if_index).data(), sizeof converted);
  return converted;
}

uint32_t ntoh_if_index(uint32_t if_index) { return hton_if_index(if_index); }

int sprintf_if_index(char* text, uint32_t if_index) {
  fake().record(line("sprintf_if_index", if_index));
  const Interface* const found = find_interface(if_index);
  if (found == nullptr) return 0;
  std::strcpy(text, found->name.c_str());
  return static_cast<int>(found->name.size());
}

uint32_t ksm_if_to_pch_get_map(uint32_t queue, uint32_t seven, const void* request, void** reply) {
  uint32_t count;
  std::memcpy(&count, request, sizeof count);
  const Answer answer =
      fake().play(line("ksm_if_to_pch_get_map", queue, seven, testkit::copy_of(request, 4 + size_t{count} * 8)));
  expect_zeroed("ksm_if_to_pch_get_map", reply);
  if (answer.block) *reply = answer.hand_out("ksm_if_to_pch_get_map");
  return answer.result;
}

// ---- brio ------------------------------------------------------------------------------------------------------------

int brio_is_vsan_allowed(const void* display_ctx, uint32_t vsan) {
  fake().record(line("brio_is_vsan_allowed", display_ctx, vsan));
  return allowed(fake().allowed_vsans, vsan);
}

int brio_is_interface_display_allowed(uint32_t queue, const void* display_ctx, uint32_t if_index) {
  fake().record(line("brio_is_interface_display_allowed", queue, display_ctx, if_index));
  return allowed(fake().allowed_interfaces, if_index);
}

void brio_print_quill_error_message(uint32_t severity, uint32_t error) {
  fake().play(line("brio_print_quill_error_message", severity, error));
}

int brio_execute_script_file(const char* path) { return fake().play(line("brio_execute_script_file", path)).status(); }

// ---- inventory -------------------------------------------------------------------------------------------------------

int get_platform_info(void* record) {
  const Answer answer = fake().play(line("get_platform_info", testkit::copy_of(record, kPlatformInfoSize)));
  answer.copy_to(record, kPlatformInfoSize);
  return answer.status();
}

int rook_get_all_modules_in_chassis(uint32_t queue, void* table, uint32_t entries) {
  const Answer answer = fake().play(line("rook_get_all_modules_in_chassis", queue, entries));
  answer.copy_to(table, entries * sizeof(rook_module_t));
  return answer.status();
}

int wren_get_module_info(uint32_t queue, void* message, uint32_t module) {
  const Answer answer = fake().play(line("wren_get_module_info", queue, message_name(message), module));
  if (answer.status() == 0) fill_message(message, answer);
  return answer.status();
}

// ---- tarn ------------------------------------------------------------------------------------------------------------

uint32_t tarn_dbg_modname[4];

int tarn_hist_event_subtype_check(uint32_t facility, uint32_t event) {
  fake().record(line("tarn_hist_event_subtype_check", facility, event));
  if (fake().at_trace) fake().at_trace();
  return fake().history_on ? 0 : 1;
}

int tarn_hist_event(uint32_t facility, uint32_t length, const void* record) {
  const Bytes bytes = testkit::copy_of(record, length);
  uint32_t event;
  std::memcpy(&event, bytes.data(), sizeof event);
  if (length < 5 || bytes.back() != 0) testkit::fail("a trace record does not end with a NUL");
  const std::string text(bytes.begin() + 4, bytes.end() - 1);
  fake().traces.push_back({facility, length, event, text});
  fake().record(line("tarn_hist_event", facility, length, event, text));
  return 0;
}

int tarn_chk_int(uint32_t event, uint32_t zero1, uint32_t zero2, uint32_t one) {
  fake().record(line("tarn_chk_int", event, zero1, zero2, one));
  return fake().debug_on ? 1 : 0;
}

int murmur(int level, void* modname, uint32_t zero, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = format_text(format, arguments);
  va_end(arguments);
  fake().name_pointer(tarn_dbg_modname, "tarn_dbg_modname");
  fake().record(line("murmur", level, static_cast<const void*>(modname), zero, text));
  return 0;
}

uint32_t tarn_debug_dump(uint32_t queue, uint32_t word, uint32_t service, const void* record, uint32_t length,
                         const char* function) {
  return fake().play(line("tarn_debug_dump", queue, word, service, testkit::copy_of(record, length), function)).result;
}

// ---- Texts, copies, time, files --------------------------------------------------------------------------------------

const char* syserr2str(uint32_t status) {
  fake().record(line("syserr2str", status));
  char text[32];
  std::snprintf(text, sizeof text, "status 0x%x", status);
  return fake().status_texts.try_emplace(status, text).first->second.c_str();
}

void* __memcpy_to_buf(uint32_t size, void* to, const void* from, uint32_t count) {
  if (count > size) testkit::fail(line("__memcpy_to_buf beyond its buffer", size, count));
  return std::memcpy(to, from, std::min(size, count));
}

void* __memset_to_buf(uint32_t size, void* to, int byte, uint32_t count) {
  if (count > size) testkit::fail(line("__memset_to_buf beyond its buffer", size, count));
  return std::memset(to, byte, std::min(size, count));
}

char* __strcat_to_buf(uint32_t size, char* to, const char* piece) {
  if (std::strlen(to) + std::strlen(piece) >= size) testkit::fail(line("__strcat_to_buf beyond its buffer", size));
  return std::strncat(to, piece, size - std::strlen(to) - 1);
}

int gettimeofday(struct timeval* __restrict now, void* __restrict zone) noexcept {
  if (FakePlatform::plays()) fake().record("gettimeofday()");
  timespec clock;
  clock_gettime(CLOCK_REALTIME, &clock);
  *now = {clock.tv_sec, static_cast<suseconds_t>(clock.tv_nsec / 1000)};
  static_cast<void>(zone);
  return FakePlatform::plays() ? fake().time_result : 0;
}

int close(int file) {
  const auto result = static_cast<int>(syscall(SYS_close, file));
  return result == 0 && FakePlatform::plays() ? fake().close_result : result;
}

}  // extern "C"
