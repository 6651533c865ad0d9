// A fuzzer's bytes, as the decisions of a generator. Behind their end every decision is 0.
#ifndef TESTS_FUZZ_INPUT_H
#define TESTS_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace fuzz {

using Bytes = std::vector<uint8_t>;

class Input {
 public:
  Input(const uint8_t* data, size_t size) : rest_(data, size) {}

  bool empty() const { return rest_.empty(); }

  uint8_t byte() {
    if (rest_.empty()) return 0;
    const uint8_t first = rest_.front();
    rest_ = rest_.subspan(1);
    return first;
  }

  bool flip() { return (byte() & 1) != 0; }
  bool rarely() { return byte() >= 0xF0; }
  uint32_t word() {
    const uint32_t low = uint32_t{byte()} | uint32_t{byte()} << 8;
    return low | uint32_t{byte()} << 16 | uint32_t{byte()} << 24;
  }
  uint32_t below(uint32_t bound) { return (bound <= 0x100 ? byte() : word()) % bound; }

  // Mostly what is common, any number else.
  uint32_t number() { return flip() ? word() : byte(); }

  // Exactly the next `count` bytes, fewer at the end.
  Bytes take(size_t count) {
    const std::span<const uint8_t> piece = rest_.first(count < rest_.size() ? count : rest_.size());
    rest_ = rest_.subspan(piece.size());
    return {piece.begin(), piece.end()};
  }

  // A block of one byte all over, changed in a few places.
  Bytes sparse(size_t size) {
    Bytes bytes(size, byte());
    for (uint32_t changes = below(12); changes > 0 && size > 0; --changes) {
      bytes[below(static_cast<uint32_t>(size))] = byte();
    }
    return bytes;
  }

  std::string text(size_t longest) {
    const Bytes bytes = take(below(static_cast<uint32_t>(longest) + 1));
    return {bytes.begin(), bytes.end()};
  }

 private:
  std::span<const uint8_t> rest_;
};

}  // namespace fuzz

#endif
