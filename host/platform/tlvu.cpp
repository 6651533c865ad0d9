// Codec of records after a table, over the wire form of host/tlv/tlv.h. A field's value has width * count bytes, each
// element big-endian; widths are 1, 2, 4 and 8.
//
// Decoding ignores tags that the table does not have (a newer peer sent them), leaves fields that did not come at zero,
// and takes the last one of a repeated field. What is cut off, or has another length than the table says, is refused.
// The length of an encoded record is its own length word; nothing beyond it is read.
#include "platform/tlvu.h"

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include "host/platform/state.h"
#include "host/platform/status.h"
#include "host/tlv/tlv.h"

namespace host {
namespace {

constexpr size_t kHead = 4;  // zero and length, or tag and length
constexpr size_t kLongest = 0xFFFF;
constexpr size_t kRows = 256;  // a table without an end is no table

using Bytes = std::span<const uint8_t>;

size_t length_of(const tlvu_field_t& field) { return size_t{field.width} * field.count; }

bool fits(const tlvu_field_t& field, uint32_t struct_size) {
  const bool known_width = field.width <= 8 && std::has_single_bit(field.width);
  return known_width && field.tag <= 0xFFFF && field.count != 0 && field.offset <= struct_size &&
         length_of(field) <= struct_size - field.offset;
}

// A description whose fields lie inside their record.
class Table {
 public:
  static std::optional<Table> of(const void* table) {
    if (table == nullptr) return std::nullopt;
    const auto* header = static_cast<const tlvu_table_header_t*>(table);
    const auto* rows = reinterpret_cast<const tlvu_field_t*>(header + 1);
    size_t count = 0;
    for (; rows[count].tag != TLVU_END; ++count) {
      if (count == kRows || !fits(rows[count], header->struct_size)) return std::nullopt;
    }
    const Table out(header->struct_size, {rows, count});
    if (count == 0 || out.encoded_size() - kHead > kLongest) return std::nullopt;
    return out;
  }

  uint32_t struct_size() const { return struct_size_; }
  std::span<const tlvu_field_t> fields() const { return fields_; }

  size_t encoded_size() const {
    size_t sum = kHead;
    for (const tlvu_field_t& field : fields_) sum += kHead + length_of(field);
    return sum;
  }

  const tlvu_field_t* find(uintptr_t tag) const {
    const auto at = std::find_if(fields_.begin(), fields_.end(), [tag](auto& field) { return field.tag == tag; });
    return at != fields_.end() ? &*at : nullptr;
  }

 private:
  Table(uint32_t struct_size, std::span<const tlvu_field_t> fields) : struct_size_(struct_size), fields_(fields) {}

  uint32_t struct_size_;
  std::span<const tlvu_field_t> fields_;
};

// Copies the elements of a field between host order and big-endian; both ways are the same.
void swap_elements(const tlvu_field_t& field, const uint8_t* from, uint8_t* to) {
  std::memcpy(to, from, length_of(field));
  if constexpr (std::endian::native == std::endian::big) return;
  for (size_t at = 0; at < length_of(field); at += field.width) std::reverse(to + at, to + at + field.width);
}

// ---- Encoded records -------------------------------------------------------------------------------------------------

struct Entry {
  uint32_t tag;
  Bytes value;
};

// The entries' bytes of an encoded record.
std::optional<Bytes> body_of(const void* tlv) {
  if (tlv == nullptr) return std::nullopt;
  const auto* bytes = static_cast<const uint8_t*>(tlv);
  if (tlv::read16({bytes, kHead}, 0) != 0) return std::nullopt;
  return Bytes(bytes + kHead, tlv::read16({bytes, kHead}, 2));
}

// The entry at the front of `rest`, which moves on.
std::optional<Entry> take_entry(Bytes& rest) {
  if (rest.size() < kHead || rest.size() - kHead < tlv::read16(rest, 2)) return std::nullopt;
  const Entry entry = {tlv::read16(rest, 0), rest.subspan(kHead, tlv::read16(rest, 2))};
  rest = rest.subspan(kHead + entry.value.size());
  return entry;
}

std::vector<uint8_t> encode(const Table& table, const uint8_t* record) {
  std::vector<uint8_t> out;
  tlv::append16(out, 0);
  tlv::append16(out, static_cast<uint32_t>(table.encoded_size() - kHead));
  for (const tlvu_field_t& field : table.fields()) {
    tlv::append16(out, field.tag);
    tlv::append16(out, static_cast<uint32_t>(length_of(field)));
    const size_t at = out.size();
    out.resize(at + length_of(field));
    swap_elements(field, record + field.offset, &out[at]);
  }
  return out;
}

// Fills `record` from the entries; with null only checks them.
uint32_t decode(const Table& table, Bytes rest, uint8_t* record) {
  while (!rest.empty()) {
    const auto entry = take_entry(rest);
    if (!entry) return kTlvMalformed;
    const tlvu_field_t* field = table.find(entry->tag);
    if (field == nullptr) continue;
    if (entry->value.size() != length_of(*field)) return kTlvMalformed;
    if (record != nullptr) swap_elements(*field, entry->value.data(), record + field->offset);
  }
  return 0;
}

template <class Pointer>
Pointer pointer(uintptr_t word) {
  return std::bit_cast<Pointer>(word);
}

// The caller's iterator block.
struct Iterator {
  Bytes rest;
  const void* table;
  uintptr_t tag;  // 0 = every one
};

}  // namespace
}  // namespace host

using namespace host;

uint32_t tlvu_table_convert_struct_to_tlv(void** tlv, uint32_t* length, const void* table, const void* record,
                                          uintptr_t a, uintptr_t b, uintptr_t c) {
  if (tlv == nullptr || length == nullptr || record == nullptr) return kTlvNoArgument;
  if ((a | b | c) != 0) return kTlvNoSuchOption;
  const auto description = Table::of(table);
  if (!description) return kTlvBadTable;
  const auto encoded = [&]() -> uint32_t {
    const std::vector<uint8_t> bytes = encode(*description, static_cast<const uint8_t*>(record));
    void* block = std::malloc(bytes.size());
    if (block == nullptr) return kNoMemory;
    *tlv = std::memcpy(block, bytes.data(), bytes.size());
    *length = static_cast<uint32_t>(bytes.size());
    return 0;
  };
  return guarded(encoded, [] { return kNoMemory; });
}

uint32_t tlvu_table_convert_tlv_to_struct(void** record, const void* tlv, uintptr_t a, const void* table, uintptr_t b) {
  if (record == nullptr || tlv == nullptr) return kTlvNoArgument;
  if ((a | b) != 0) return kTlvNoSuchOption;
  const auto description = Table::of(table);
  const auto body = body_of(tlv);
  if (!description) return kTlvBadTable;
  if (!body) return kTlvMalformed;
  void* block = std::calloc(1, description->struct_size());
  if (block == nullptr) return kNoMemory;
  const uint32_t status = decode(*description, *body, static_cast<uint8_t*>(block));
  if (status != 0) {
    std::free(block);
    return status;
  }
  *record = block;
  return 0;
}

uint32_t tlvu_table_get_struct_size_from_tlv(uint32_t* size, const void* tlv, uintptr_t zero, const void* table) {
  if (size == nullptr || tlv == nullptr) return kTlvNoArgument;
  if (zero != 0) return kTlvNoSuchOption;
  const auto description = Table::of(table);
  const auto body = body_of(tlv);
  if (!description) return kTlvBadTable;
  const uint32_t status = body ? decode(*description, *body, nullptr) : kTlvMalformed;
  if (status == 0) *size = description->struct_size();
  return status;
}

// 0 when the table cannot be used.
uint32_t tlvu_table_size(const void* table, const void*) {
  const auto description = Table::of(table);
  return description ? static_cast<uint32_t>(description->encoded_size()) : 0;
}

// a: the encoded record; b: the tag; c: where the value goes, in host order; d: bytes there; e: where the number of
// bytes written goes (a uint32_t), or 0.
uint32_t tlvu_get_field(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e, const void* table) {
  if (a == 0 || c == 0) return kTlvNoArgument;
  const auto description = Table::of(table);
  auto body = body_of(pointer<const void*>(a));
  if (!description) return kTlvBadTable;
  if (!body || decode(*description, *body, nullptr) != 0) return kTlvMalformed;
  const tlvu_field_t* field = description->find(b);
  const uint8_t* value = nullptr;
  while (field != nullptr && !body->empty()) {
    const auto entry = take_entry(*body);
    if (entry->tag == field->tag) value = entry->value.data();
  }
  if (value == nullptr) return kTlvNoSuchField;
  if (length_of(*field) > d) return kTlvNoRoom;
  swap_elements(*field, value, pointer<uint8_t*>(c));
  if (e != 0) *pointer<uint32_t*>(e) = static_cast<uint32_t>(length_of(*field));
  return 0;
}

// a: the iterator, a block of the caller; b: the encoded record, which must outlive it; c: bytes of the block, 64 are
// enough; d: 0; e: the one tag to visit, 0 for all that the table has.
uint32_t tlvu_field_itr_init(uintptr_t a, uintptr_t b, uintptr_t c, const void* table, uintptr_t d, uint16_t e) {
  static_assert(sizeof(Iterator) <= 64);
  if (a == 0 || b == 0) return kTlvNoArgument;
  if (d != 0) return kTlvNoSuchOption;
  if (c < sizeof(Iterator)) return kTlvNoRoom;
  const auto description = Table::of(table);
  const auto body = body_of(pointer<const void*>(b));
  if (!description) return kTlvBadTable;
  if (!body || decode(*description, *body, nullptr) != 0) return kTlvMalformed;
  const Iterator iterator = {*body, table, e};
  std::memcpy(pointer<void*>(a), &iterator, sizeof iterator);
  return 0;
}

// itr: the iterator; a: where the tag of the next field goes (a uint32_t). kTlvEnd behind the last one.
uint32_t tlvu_field_itr_get_next(uintptr_t itr, uintptr_t a) {
  if (itr == 0 || a == 0) return kTlvNoArgument;
  Iterator iterator;
  std::memcpy(&iterator, pointer<const void*>(itr), sizeof iterator);
  const auto description = Table::of(iterator.table);
  if (!description) return kTlvBadTable;
  while (const auto entry = take_entry(iterator.rest)) {
    const bool wanted = iterator.tag == 0 ? description->find(entry->tag) != nullptr : entry->tag == iterator.tag;
    if (!wanted) continue;
    std::memcpy(pointer<void*>(itr), &iterator, sizeof iterator);
    *pointer<uint32_t*>(a) = entry->tag;
    return 0;
  }
  return kTlvEnd;
}

void tlvu_error_print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
}

// Of `one` encoded records that lie behind each other; 0 without a record.
uint32_t tlv_array_size_get(const void* tlv, uint32_t one) {
  uint32_t sum = 0;
  for (uint32_t i = 0; tlv != nullptr && i < one; ++i) {
    const Bytes head(static_cast<const uint8_t*>(tlv) + sum, kHead);
    sum += static_cast<uint32_t>(kHead) + tlv::read16(head, 2);
  }
  return sum;
}
