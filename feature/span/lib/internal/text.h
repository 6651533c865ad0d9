// Output of many pieces, handed to stdio in one write.
#ifndef LIBSPAN_INTERNAL_TEXT_H
#define LIBSPAN_INTERNAL_TEXT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "internal/vsan_set.h"
#include "libspan.h"
#include "platform/if_index.h"

namespace libspan {

// Text on its way to standard output. It goes out when its owner ends, earlier only where it fills the buffer. Whoever
// calls something that prints flushes before.
class Text {
 public:
  Text() = default;
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  ~Text() { flush(); }

  void flush() {
    std::fwrite(text_, 1, used(), stdout);
    end_ = text_;
  }

  // Each add returns the number of characters added.
  uint32_t add(const char* piece, size_t length) {
    if (length > room()) flush();
    if (length > room()) {
      std::fwrite(piece, 1, length, stdout);
    } else {
      std::memcpy(end_, piece, length);
      end_ += length;
    }
    return static_cast<uint32_t>(length);
  }

  uint32_t add(const char* piece) { return add(piece, std::strlen(piece)); }

  uint32_t add_number(uint32_t number) {
    char digits[11];
    return add(digits, static_cast<size_t>(std::snprintf(digits, sizeof digits, "%u", number)));
  }

  // A blank, the VSAN, and the end of the line.
  void add_vsan_line_end(uint32_t vsan) {
    if (room() < 6) flush();
    *end_++ = ' ';
    end_ = put_vsan(end_, vsan);
    *end_++ = '\n';
  }

  uint32_t add_ranges(const VsanSet& vsans) {
    if (room() < kRangeTextSize) flush();
    char* const start = end_;
    end_ = put_ranges(end_, vsans);
    return static_cast<uint32_t>(end_ - start);
  }

  uint32_t add_if_name(uint32_t if_index) {
    char name[IF_INDEX_NAME_SIZE] = "";
    sprintf_if_index(name, if_index);
    return add(name);
  }

  // Blanks up to column `width` behind a piece of `length` characters; none when the piece is longer.
  void pad(uint32_t length, uint32_t width) {
    static constexpr char kBlanks[] = "                ";
    static_assert(sizeof kBlanks > 16);
    if (length < width) add(kBlanks, std::min<size_t>(width - length, sizeof kBlanks - 1));
  }

 private:
  size_t used() const { return static_cast<size_t>(end_ - text_); }
  size_t room() const { return sizeof text_ - used(); }

  char text_[16384];
  char* end_ = text_;
};

}  // namespace libspan

#endif
