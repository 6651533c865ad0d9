// The set of 4096 VSANs and its range text.
#ifndef LIBSPAN_INTERNAL_VSAN_SET_H
#define LIBSPAN_INTERNAL_VSAN_SET_H

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "internal/bytes.h"
#include "libspan.h"

namespace libspan {

constexpr uint32_t kNoVsan = 0xFFFFFFFF;

using VsanBits = uint8_t[SPAN_VSAN_BYTES];

// A view of 512 bytes in which VSAN v is bit 0x80 >> v % 8 of byte v / 8.
class VsanSet {
 public:
  explicit VsanSet(const VsanBits& bits) : bits_(bits) {}

  bool contains(uint32_t vsan) const { return (bits_[vsan / 8] & 0x80 >> vsan % 8) != 0; }

  bool empty() const { return next(0) == kNoVsan; }

  uint32_t count() const {
    uint32_t sum = 0;
    for (uint32_t i = 0; i < kWords; ++i) sum += static_cast<uint32_t>(std::popcount(word(i)));
    return sum;
  }

  // The first member at or after `from`, or kNoVsan.
  uint32_t next(uint32_t from) const {
    Word mask = ~Word{0} >> from % kWordBits;
    for (uint32_t i = from / kWordBits; i < kWords; ++i, mask = ~Word{0}) {
      const Word hits = word(i) & mask;
      if (hits != 0) return kWordBits * i + first_bit(hits);
    }
    return kNoVsan;
  }

  // Calls visit(first, last) for each run of members, ascending, in one pass over the words: a run starts and ends
  // where a bit differs from the one before.
  template <class Visit>
  void for_each_run(Visit visit) const {
    uint32_t first = kNoVsan;  // of the run that is open
    Word before = 0;           // the last bit of the word before
    for (uint32_t i = 0; i < kWords; ++i) {
      const Word bits = word(i);
      for (Word edges = bits ^ (bits >> 1 | before << (kWordBits - 1)); edges != 0;) {
        const uint32_t bit = first_bit(edges);
        edges ^= kTopBit >> bit;
        const uint32_t vsan = kWordBits * i + bit;
        if (first == kNoVsan) {
          first = vsan;
        } else {
          visit(first, vsan - 1);
          first = kNoVsan;
        }
      }
      before = bits & 1;
    }
    if (first != kNoVsan) visit(first, SPAN_VSANS - 1u);
  }

 private:
  using Word = uintptr_t;
  static constexpr uint32_t kWordBits = 8 * sizeof(Word);
  static constexpr uint32_t kWords = SPAN_VSANS / kWordBits;
  static constexpr Word kTopBit = Word{1} << (kWordBits - 1);

  static uint32_t first_bit(Word bits) { return static_cast<uint32_t>(std::countl_zero(bits)); }

  Word word(uint32_t i) const {
    Word bytes;
    std::memcpy(&bytes, bits_ + sizeof(Word) * i, sizeof bytes);
    if constexpr (std::endian::native == std::endian::big) return bytes;
    return sizeof(Word) == 8 ? static_cast<Word>(__builtin_bswap64(bytes))
                             : __builtin_bswap32(static_cast<uint32_t>(bytes));
  }

  const uint8_t* bits_;
};

// The VSANs of a span_vsan_holder_t, which may lie at any address.
inline const VsanBits& vsans_of(const void* holder) {
  struct Holder {
    span_host32_t length;
    VsanBits bits;
  };
  static_assert(sizeof(Holder) == sizeof(span_vsan_holder_t) && alignof(Holder) == 1);
  return view<Holder>(holder).bits;
}

inline void add_vsan(VsanBits& bits, uint32_t vsan) {
  bits[vsan / 8] = static_cast<uint8_t>(bits[vsan / 8] | 0x80 >> vsan % 8);
}

// Adds first to last; VSANs that do not exist are skipped.
inline void add_vsan_range(VsanBits& bits, uint32_t first, uint32_t last) {
  for (uint32_t vsan = first; vsan <= last && vsan < SPAN_VSANS; ++vsan) add_vsan(bits, vsan);
}

// ---- Text -----------------------------------------------------------------------------------------------------------

// Decimal digits of a VSAN, without a NUL. Returns the end.
inline char* put_vsan(char* text, uint32_t vsan) {
  static constexpr auto kPairs = [] {
    std::array<char, 200> pairs{};
    for (uint32_t i = 0; i < 100; ++i) {
      pairs[2 * i] = static_cast<char>('0' + i / 10);
      pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
  }();
  const uint32_t high = vsan / 100;
  const char* const low_pair = &kPairs[2 * (vsan % 100)];
  if (high >= 10) {
    std::memcpy(text, &kPairs[2 * high], 2);
    text += 2;
  } else if (high > 0) {
    *text++ = static_cast<char>('0' + high);
  } else if (vsan < 10) {
    *text++ = low_pair[1];
    return text;
  }
  std::memcpy(text, low_pair, 2);
  return text + 2;
}

// Room for the longest range text, all runs being pairs, and its NUL.
constexpr uint32_t kRangeTextSize = 12913 + 1;

// The set as ranges, "1-3,7,4095", without a NUL. Returns the end; an empty set writes nothing.
inline char* put_ranges(char* text, const VsanSet& vsans) {
  char* end = text;
  vsans.for_each_run([&](uint32_t first, uint32_t last) {
    if (end != text) *end++ = ',';
    end = put_vsan(end, first);
    if (last == first) return;
    *end++ = '-';
    end = put_vsan(end, last);
  });
  return end;
}

}  // namespace libspan

#endif
