#include "tests/fuzz/platform.h"

#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

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
#include "tests/fuzz/messages.h"

namespace fuzz {
namespace {

constexpr uint32_t kUnknown = 1;
constexpr size_t kModuleInfo = 458;

Input* input = nullptr;
bool steady = false;
uint32_t asked_module = 0;  // whose information is under way

// The codec's own storage, until the next answer.
Bytes stored;

void* store(Bytes bytes) {
  stored = std::move(bytes);
  stored.shrink_to_fit();
  return stored.data();
}

// What a steady platform says of an interface is in its number.
bool is_known(uint32_t if_index) { return (if_index & 0x8000) == 0; }
uint8_t type_of(uint32_t if_index) { return static_cast<uint8_t>(if_index >> 24); }
uint8_t subtype_of(uint32_t if_index) { return static_cast<uint8_t>(if_index & 3); }

// A failure now and then.
uint32_t any_result() { return input->rarely() ? input->number() | 1 : 0; }

int formatted_length(const char* format, va_list arguments) {
  char text[64];
  return std::vsnprintf(text, sizeof text, format, arguments);
}

}  // namespace

void play(Input& next, bool is_steady) {
  input = &next;
  steady = is_steady;
  asked_module = 0;
}

uint32_t any_if_index(Input& from) {
  static constexpr uint8_t kTypes[] = {1, 4, 4, 4, 6, 10, 11, 12, 15, 0};
  if (from.rarely()) return from.word();
  return uint32_t{kTypes[from.below(sizeof kTypes)]} << 24 | from.below(4) << 16 | from.byte();
}

bool is_plain_port_channel(uint32_t if_index) {
  return if_index != 0 && is_known(if_index) && type_of(if_index) == IF_INDEX_TYPE_PORT_CHANNEL &&
         subtype_of(if_index) == IF_INDEX_PORT_CHANNEL_PLAIN;
}

void* block_of(const Bytes& bytes) {
  void* const block = std::malloc(std::max<size_t>(bytes.size(), 1));
  if (!bytes.empty()) std::memcpy(block, bytes.data(), bytes.size());
  return block;
}

}  // namespace fuzz

using fuzz::any_result;
using fuzz::Bytes;
using fuzz::input;

// ---- vex, quill ------------------------------------------------------------------------------------------------------

uint32_t vex_req_resp(uint32_t opcode, uint32_t, void* payload, void** response, uint32_t* length, const char*,
                      const char*, uint32_t, uint32_t, uint32_t) {
  const auto* const bytes = static_cast<const uint8_t*>(payload);
  if (*response != nullptr || Bytes(bytes, bytes + *length).size() != *length) std::abort();
  const uint32_t result = any_result();
  if (result == 0 || input->flip()) *response = fuzz::block_of(fuzz::response(*input, opcode));
  return result == 0 || input->flip() ? result : VEX_TRANSPORT_FAILED;
}

int quill_send(uint32_t, uint32_t, uint32_t, uint32_t, const void*, uint32_t, void* message, uint32_t, uint32_t) {
  std::memset(message, 0, QUILL_MESSAGE_SIZE);
  fuzz::asked_module = 0;
  return input->rarely() ? -1 : 0;
}

int quill_recv(uint32_t, void* message, const void*) {
  errno = static_cast<int>(input->byte());
  std::memset(message, 0, QUILL_MESSAGE_SIZE);
  return input->rarely() ? -1 : 0;
}

int quill_drop(uint32_t, void*) { return 0; }

// The inventory's answer has a record for each module up to the one that was asked for.
void* quill_payload_get(const void*) {
  if (input->rarely()) return nullptr;
  return fuzz::store(input->sparse(fuzz::asked_module != 0 ? fuzz::asked_module * fuzz::kModuleInfo : 16));
}

uint32_t quill_rr_token_get(const void*) { return input->byte(); }
uint32_t quill_errno_get(uint32_t) { return input->byte(); }

// ---- tlvu, hw_counters -----------------------------------------------------------------------------------------------

uint32_t tlvu_table_convert_struct_to_tlv(void** tlv, uint32_t* length, const void* table, const void* record,
                                          uintptr_t, uintptr_t, uintptr_t) {
  const auto* const bytes = static_cast<const uint8_t*>(record);
  const uint32_t size = static_cast<const tlvu_table_header_t*>(table)->struct_size;
  const uint32_t result = any_result();
  if (result != 0 && input->flip()) return result;
  *tlv = fuzz::block_of(Bytes(bytes, bytes + size));
  *length = size;
  return result;
}

uint32_t tlvu_table_convert_tlv_to_struct(void** record, const void*, uintptr_t, const void* table, uintptr_t) {
  const uint32_t result = any_result();
  if (result != 0 && input->flip()) return result;
  *record = fuzz::block_of(input->sparse(static_cast<const tlvu_table_header_t*>(table)->struct_size));
  return result;
}

uint32_t tlvu_table_get_struct_size_from_tlv(uint32_t* size, const void*, uintptr_t, const void*) {
  *size = input->number();
  return any_result();
}

uint32_t tlvu_table_size(const void*, const void*) { return input->number(); }
uint32_t tlvu_get_field(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, const void*) { return any_result(); }
uint32_t tlvu_field_itr_init(uintptr_t, uintptr_t, uintptr_t, const void*, uintptr_t, uint16_t) { return any_result(); }
uint32_t tlvu_field_itr_get_next(uintptr_t, uintptr_t) { return any_result(); }
uint32_t tlv_array_size_get(const void*, uint32_t) { return input->byte(); }

void tlvu_error_print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fuzz::formatted_length(format, arguments);
  va_end(arguments);
}

int span_hw_counters_payload_to_tlv(const void* request, void** payload, uint32_t* consumed, uint32_t, uint32_t* length,
                                    uint32_t) {
  const auto* const bytes = static_cast<const uint8_t*>(request);
  if (input->rarely()) return -1;
  *consumed = *length = sizeof(span_hw_counters_request_t);
  *payload = fuzz::store(Bytes(bytes, bytes + *length));
  return 0;
}

int span_hw_counters_payload_to_struct(void** result, const void*, uint32_t, uint32_t) {
  if (input->rarely()) return -1;
  *result = input->rarely() ? nullptr : fuzz::store(input->sparse(sizeof(span_hw_counters_result_t)));
  return 0;
}

// ---- if_index --------------------------------------------------------------------------------------------------------

int if_index_get_type(uint32_t if_index, uint8_t* type) {
  const bool lies = !fuzz::steady && input->rarely();
  if (!lies && !fuzz::is_known(if_index)) return fuzz::kUnknown;
  *type = lies ? input->byte() : fuzz::type_of(if_index);
  return lies && input->flip() ? 1 : 0;
}

int if_index_port_channel_get_subtype(uint32_t if_index, uint8_t* subtype) {
  const bool lies = !fuzz::steady && input->rarely();
  if (lies && input->flip()) return fuzz::kUnknown;
  *subtype = lies ? input->byte() : fuzz::subtype_of(if_index);
  return 0;
}

uint32_t if_index_inband_get_active_sup_priority_hi(void) { return fuzz::any_if_index(*input); }
uint32_t hton_if_index(uint32_t if_index) { return __builtin_bswap32(if_index); }
uint32_t ntoh_if_index(uint32_t if_index) { return __builtin_bswap32(if_index); }

int sprintf_if_index(char* text, uint32_t if_index) {
  if (!fuzz::steady && input->rarely()) return -static_cast<int>(input->below(2));
  const uint32_t length = if_index % IF_INDEX_NAME_SIZE;
  std::memset(text, 'f', length);
  text[length] = '\0';
  return static_cast<int>(length);
}

uint32_t ksm_if_to_pch_get_map(uint32_t, uint32_t, const void* request, void** reply) {
  uint32_t count;
  std::memcpy(&count, request, sizeof count);
  const auto* const pairs = static_cast<const uint8_t*>(request) + sizeof count;
  const Bytes copy(pairs, pairs + size_t{count} * 8);
  const uint32_t result = any_result();
  if (result == 0 || input->flip()) *reply = fuzz::block_of(fuzz::service_module_map(*input));
  return result;
}

// ---- brio, inventory -------------------------------------------------------------------------------------------------

int brio_is_vsan_allowed(const void*, uint32_t) { return !input->rarely(); }
int brio_is_interface_display_allowed(uint32_t, const void*, uint32_t) { return !input->rarely(); }
void brio_print_quill_error_message(uint32_t, uint32_t) {}
int brio_execute_script_file(const char*) { return static_cast<int>(any_result()); }

int get_platform_info(void* record) {
  const Bytes bytes = input->sparse(16);
  std::memcpy(record, bytes.data(), bytes.size());
  return input->rarely() ? -1 : 0;
}

int rook_get_all_modules_in_chassis(uint32_t, void* table, uint32_t entries) {
  const Bytes bytes = input->sparse(entries * sizeof(rook_module_t));
  std::memcpy(table, bytes.data(), bytes.size());
  return static_cast<int>(any_result());
}

int wren_get_module_info(uint32_t, void* message, uint32_t module) {
  fuzz::asked_module = module;
  std::memset(message, 0, QUILL_MESSAGE_SIZE);
  return input->rarely() ? 1 : 0;
}

// ---- tarn, texts, copies, time ---------------------------------------------------------------------------------------

uint32_t tarn_dbg_modname[4];

int tarn_hist_event_subtype_check(uint32_t, uint32_t) { return input->flip() ? 1 : 0; }
int tarn_chk_int(uint32_t, uint32_t, uint32_t, uint32_t) { return input->flip() ? 1 : 0; }

int tarn_hist_event(uint32_t, uint32_t length, const void* record) {
  const auto* const bytes = static_cast<const char*>(record);
  if (length < 5 || std::strlen(bytes + 4) + 5 != length) std::abort();
  return 0;
}

int murmur(int, void*, uint32_t, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = fuzz::formatted_length(format, arguments);
  va_end(arguments);
  return length;
}

uint32_t tarn_debug_dump(uint32_t, uint32_t, uint32_t, const void* record, uint32_t length, const char* function) {
  const auto* const bytes = static_cast<const uint8_t*>(record);
  return Bytes(bytes, bytes + length).size() + std::strlen(function) == 0 ? 1 : any_result();
}

const char* syserr2str(uint32_t status) { return status == 0 ? "" : "a status that has a text of some length"; }

void* __memcpy_to_buf(uint32_t size, void* to, const void* from, uint32_t count) {
  if (count > size) std::abort();
  return std::memcpy(to, from, count);
}

void* __memset_to_buf(uint32_t size, void* to, int byte, uint32_t count) {
  if (count > size) std::abort();
  return std::memset(to, byte, count);
}

// Appends what there is room for.
char* __strcat_to_buf(uint32_t size, char* to, const char* piece) {
  const size_t used = strnlen(to, size);
  if (used == size) std::abort();
  return std::strncat(to, piece, size - used - 1);
}
