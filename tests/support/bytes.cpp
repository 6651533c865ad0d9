#include "tests/support/bytes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace testkit {
namespace {

constexpr int kDifferencesShown = 8;

[[noreturn]] void reject(const std::string& token) {
  std::fprintf(stderr, "hex(): \"%s\" is no byte\n", token.c_str());
  std::abort();
}

std::string two_digits(uint8_t byte) {
  char digits[3];
  std::snprintf(digits, sizeof digits, "%02x", byte);
  return digits;
}

std::string at(const Bytes& bytes, size_t offset) {
  return offset < bytes.size() ? two_digits(bytes[offset]) : "nothing";
}

uint8_t byte_of(uint32_t value, int shift) { return static_cast<uint8_t>(value >> shift); }

}  // namespace

Bytes hex(std::string_view digits) {
  Bytes bytes;
  std::istringstream tokens{std::string(digits)};
  for (std::string token; tokens >> token;) {
    char* end = nullptr;
    const unsigned long value = std::strtoul(token.c_str(), &end, 16);
    size_t count = 1;
    if (*end == '*') count = std::strtoul(end + 1, &end, 10);
    if (*end != '\0' || token.find_first_of(std::string("*") + '\0') == 0 || value > 0xff) reject(token);
    bytes.insert(bytes.end(), count, static_cast<uint8_t>(value));
  }
  return bytes;
}

Bytes be16(uint32_t value) { return {byte_of(value, 8), byte_of(value, 0)}; }

Bytes be32(uint32_t value) { return {byte_of(value, 24), byte_of(value, 16), byte_of(value, 8), byte_of(value, 0)}; }

Bytes host32(uint32_t value) { return copy_of(&value, sizeof value); }

Bytes net_if(uint32_t if_index) { return be32(if_index ^ 0x5aa5a55a); }

Bytes vsan_bits(const Vsans& vsans) {
  Bytes bits(512);
  for (const auto& [first, last] : vsans) {
    for (uint32_t vsan = first; vsan <= last; ++vsan) bits.at(vsan / 8) |= static_cast<uint8_t>(0x80 >> vsan % 8);
  }
  return bits;
}

Bytes text(std::string_view characters) { return Bytes(characters.begin(), characters.end()); }

Bytes join(std::initializer_list<Bytes> parts) {
  Bytes whole;
  for (const Bytes& part : parts) whole.insert(whole.end(), part.begin(), part.end());
  return whole;
}

Bytes copy_of(const void* bytes, size_t size) {
  if (bytes == nullptr) return {};
  const auto* const first = static_cast<const uint8_t*>(bytes);
  return Bytes(first, first + size);
}

Bytes slice(const Bytes& bytes, size_t offset, size_t size) {
  const size_t first = std::min(offset, bytes.size());
  const size_t last = std::min(first + size, bytes.size());
  return copy_of(bytes.data() + first, last - first);
}

std::string to_hex(const Bytes& bytes) {
  std::string digits;
  for (const uint8_t byte : bytes) digits += (digits.empty() ? "" : " ") + two_digits(byte);
  return digits;
}

testing::AssertionResult same_bytes(const Bytes& actual, const Bytes& expected) {
  if (actual == expected) return testing::AssertionSuccess();
  auto result = testing::AssertionFailure();
  result << actual.size() << " bytes, expected " << expected.size();
  int differences = 0;
  for (size_t i = 0; i < std::max(actual.size(), expected.size()); ++i) {
    if (at(actual, i) == at(expected, i)) continue;
    if (++differences <= kDifferencesShown) {
      result << "\n  offset " << i << ": " << at(actual, i) << ", expected " << at(expected, i);
    }
  }
  if (differences > kDifferencesShown) result << "\n  and " << differences - kDifferencesShown << " more";
  return result;
}

}  // namespace testkit
