// Byte strings for tests: literals in hex, numbers in a given order, and a comparison that says where two differ.
#ifndef TESTS_SUPPORT_BYTES_H
#define TESTS_SUPPORT_BYTES_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace testkit {

using Bytes = std::vector<uint8_t>;

// VSANs as (first, last) pairs.
using Vsans = std::vector<std::pair<uint32_t, uint32_t>>;

// "07 d0 00*12": bytes in hex, a repeat count in decimal.
Bytes hex(std::string_view digits);

Bytes be16(uint32_t value);
Bytes be32(uint32_t value);
Bytes host32(uint32_t value);

// An interface index as hton_if_index() leaves it in memory. It differs from be32() in every byte: 5a a5 a5 5a is
// added bit by bit.
Bytes net_if(uint32_t if_index);

// 512 bytes in which VSAN v is bit 0x80 >> v % 8 of byte v / 8.
Bytes vsan_bits(const Vsans& vsans);

// A text without its NUL.
Bytes text(std::string_view characters);

Bytes join(std::initializer_list<Bytes> parts);
Bytes copy_of(const void* bytes, size_t size);
Bytes slice(const Bytes& bytes, size_t offset, size_t size);

// "07 d0 00 .."
std::string to_hex(const Bytes& bytes);

// EXPECT_TRUE(same_bytes(actual, expected)) tells the lengths and the first offsets at which both differ.
testing::AssertionResult same_bytes(const Bytes& actual, const Bytes& expected);

}  // namespace testkit

#endif
