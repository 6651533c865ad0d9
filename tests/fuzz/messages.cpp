#include "tests/fuzz/messages.h"

#include <bit>
#include <cstring>

#include "platform/if_index.h"
#include "tests/fuzz/platform.h"

namespace fuzz {
namespace {

constexpr size_t kVsanBytes = 512;

void put32(Bytes& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

void put_if(Bytes& bytes, size_t at, uint32_t if_index) {
  const uint32_t network = hton_if_index(if_index);
  std::memcpy(bytes.data() + at, &network, sizeof network);
}

void append(Bytes& bytes, const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }

void append32(Bytes& bytes, uint32_t value) {
  bytes.resize(bytes.size() + 4);
  put32(bytes, bytes.size() - 4, value);
}

void append_if(Bytes& bytes, uint32_t if_index) {
  bytes.resize(bytes.size() + 4);
  put_if(bytes, bytes.size() - 4, if_index);
}

// Mostly few, sometimes many.
uint32_t any_count(Input& input) { return input.rarely() ? input.below(300) : input.below(8); }

uint32_t any_status(Input& input) { return input.flip() ? 0 : input.number(); }

// A count behind which nothing comes: 0, or one that is below 0 as a number with a sign.
uint32_t no_count(Input& input) { return input.flip() ? 0 : input.word() | 0x80000000; }

}  // namespace

// ---- SPAN manager ----------------------------------------------------------------------------------------------------

Bytes interface_list(Input& input) {
  const uint32_t count = any_count(input);
  Bytes list;
  append32(list, count);
  for (uint32_t i = 0; i < count; ++i) append_if(list, any_if_index(input));
  return list;
}

Bytes session_record(Input& input) {
  Bytes record = input.sparse(1648);
  record[1] = static_cast<uint8_t>(input.flip());
  put_if(record, 84, any_if_index(input));
  put32(record, 88, input.below(3));
  put32(record, 92, input.below(3));
  put32(record, 100, input.rarely() ? input.word() : 512);
  put32(record, 1132, input.rarely() ? input.word() : 512);
  append(record, interface_list(input));
  append(record, interface_list(input));
  return record;
}

namespace {

Bytes session_response(Input& input) {
  Bytes response(4);
  put32(response, 0, any_status(input));
  append(response, session_record(input));
  return response;
}

Bytes brief_response(Input& input) {
  Bytes response = input.sparse(8);
  response[0] = static_cast<uint8_t>(input.below(17));
  for (uint8_t i = 0; i < response[0]; ++i) append(response, session_record(input));
  return response;
}

}  // namespace

Bytes source_config_result(Input& input) {
  Bytes result = input.sparse(528);
  result[1] = static_cast<uint8_t>(input.below(9));
  put32(result, 4, any_status(input));
  const uint32_t count = any_count(input);
  put32(result, 8, count);
  if (input.flip()) std::memset(result.data() + 16, 0, kVsanBytes);
  for (uint32_t i = 0; i < count; ++i) {
    append_if(result, any_if_index(input));
    append32(result, any_status(input));
  }
  return result;
}

Bytes source_interface(Input& input) {
  Bytes response = input.sparse(542);
  put_if(response, 0, any_if_index(input));
  response[4] = static_cast<uint8_t>(!input.rarely());
  for (size_t at = 14; at < 18; ++at) response[at] = static_cast<uint8_t>(input.flip());
  put_if(response, 18, any_if_index(input));
  return response;
}

Bytes port_config_result(Input& input) {
  const uint32_t count = any_count(input);
  Bytes response;
  append32(response, any_status(input));
  append32(response, count);
  for (uint32_t i = 0; i < count; ++i) {
    append32(response, any_if_index(input));
    append32(response, any_status(input));
  }
  return response;
}

Bytes response(Input& input, uint32_t opcode) {
  switch (opcode) {
    case 2001:
      return session_response(input);
    case 2002:
      return source_config_result(input);
    case 2004:
      return input.sparse(4);
    case 2005:
      return brief_response(input);
    case 2010:
      return source_interface(input);
    case 2014:
      return port_config_result(input);
    case 2016:
      return input.sparse(12);
    default:
      return input.sparse(8);
  }
}

// ---- Port manager ----------------------------------------------------------------------------------------------------

namespace {

// One interface; its VSANs when it is valid, or always.
void append_interface(Bytes& body, Input& input, bool always) {
  Bytes entry = input.sparse(22);
  put_if(entry, 0, any_if_index(input));
  entry[4] = static_cast<uint8_t>(input.below(3));
  entry[5] = static_cast<uint8_t>(input.below(3));
  put_if(entry, 6, any_if_index(input));
  append(body, entry);
  if (always || entry[4] == 1) append(body, input.sparse(4 + kVsanBytes));
}

void append_port_channel(Bytes& body, Input& input) {
  Bytes entry = input.sparse(525);
  const uint32_t if_index = any_if_index(input);
  put_if(entry, 0, if_index);
  entry[4] = static_cast<uint8_t>(input.below(3));
  const bool taken = entry[4] != 0 && (entry[4] != 1 || is_plain_port_channel(if_index));
  const uint32_t count = taken ? any_count(input) : 0;
  put32(entry, 521, count != 0 || taken ? count : input.word());
  if (taken && count == 0) put32(entry, 521, no_count(input));
  append(body, entry);
  for (uint32_t i = 0; i < count; ++i) append_if(body, any_if_index(input));
}

void append_vsan(Bytes& body, Input& input) {
  Bytes entry = input.sparse(9);
  entry[4] = static_cast<uint8_t>(input.below(3));
  const uint32_t count = entry[4] != 0 ? input.below(4) : 0;
  put32(entry, 5, count != 0 ? count : no_count(input));
  append(body, entry);
  for (uint32_t i = 0; i < count; ++i) append_interface(body, input, true);
}

Bytes vsan_body(Input& input) {
  Bytes body(4 + kVsanBytes);
  for (uint32_t bytes = input.below(6); bytes > 0; --bytes) body[4 + input.below(kVsanBytes)] = input.byte();
  int members = 0;
  for (size_t at = 4; at < 4 + kVsanBytes; ++at) members += std::popcount(body[at]);
  for (int i = 0; i < members; ++i) append_vsan(body, input);
  return body;
}

}  // namespace

Bytes port_info_body(Input& input, uint8_t kind) {
  if (kind == 3) return vsan_body(input);
  const uint32_t count = any_count(input);
  Bytes body;
  append32(body, count != 0 ? count : no_count(input));
  for (uint32_t i = 0; i < count; ++i) {
    if (kind == 1) append_interface(body, input, false);
    if (kind == 2) append_port_channel(body, input);
  }
  return body;
}

Bytes port_info(Input& input) {
  Bytes message = input.sparse(9);
  message[4] = static_cast<uint8_t>(input.below(5));
  if (message[4] >= 1 && message[4] <= 3) append(message, port_info_body(input, message[4]));
  return message;
}

// ---- Service-module map ----------------------------------------------------------------------------------------------

Bytes service_module_map(Input& input) {
  const uint32_t count = any_count(input);
  Bytes map = input.sparse(8 + size_t{count} * sizeof(ksm_map_entry_t));
  std::memcpy(map.data() + 4, &count, sizeof count);
  for (uint32_t i = 0; i < count; ++i) {
    if (input.flip()) std::memset(map.data() + 8 + i * sizeof(ksm_map_entry_t), 0, sizeof(uint32_t));
  }
  return map;
}

}  // namespace fuzz
