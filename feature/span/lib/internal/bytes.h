// Fields of byte-order types, read with get() and written with put(); views of received bytes.
#ifndef LIBSPAN_INTERNAL_BYTES_H
#define LIBSPAN_INTERNAL_BYTES_H

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "libspan.h"
#include "platform/if_index.h"

namespace libspan {

// A layout that can lie at any address.
template <class T>
concept Layout = alignof(T) == 1 && std::is_trivially_copyable_v<T>;

// The layout T over bytes that come from outside. This is the library's one way from bytes to a struct.
template <Layout T>
const T& view(const void* bytes) {
  return *static_cast<const T*>(bytes);
}

template <Layout T>
T& view(void* bytes) {
  return *static_cast<T*>(bytes);
}

inline uint16_t get(span_be16_t field) { return static_cast<uint16_t>(field.b[0] << 8 | field.b[1]); }

inline uint32_t get(span_be32_t field) {
  return uint32_t{field.b[0]} << 24 | uint32_t{field.b[1]} << 16 | uint32_t{field.b[2]} << 8 | field.b[3];
}

inline uint32_t get(span_host32_t field) { return std::bit_cast<uint32_t>(field); }

inline uint32_t get(span_net_if_t field) { return ntoh_if_index(std::bit_cast<uint32_t>(field)); }

inline void put(span_be16_t& field, uint16_t value) {
  field = {{static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)}};
}

inline void put(span_be32_t& field, uint32_t value) {
  field = {{static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
            static_cast<uint8_t>(value)}};
}

inline void put(span_host32_t& field, uint32_t value) { field = std::bit_cast<span_host32_t>(value); }

inline void put(span_net_if_t& field, uint32_t if_index) {
  field = std::bit_cast<span_net_if_t>(hton_if_index(if_index));
}

// Walks over layouts that follow each other at moving offsets.
template <class Byte>
class BasicCursor {
 public:
  explicit BasicCursor(Byte* at) : at_(at) {}

  // The layout here; the cursor goes behind `count` of them.
  template <Layout T>
  auto* take(uint32_t count = 1) {
    auto* here = &view<T>(at_);
    at_ += size_t{count} * sizeof(T);
    return here;
  }

  Byte* at() const { return at_; }

 private:
  Byte* at_;
};

using Cursor = BasicCursor<const uint8_t>;
using FillCursor = BasicCursor<uint8_t>;

}  // namespace libspan

#endif
