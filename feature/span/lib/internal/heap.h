// Owners of malloc'd blocks.
#ifndef LIBSPAN_INTERNAL_HEAP_H
#define LIBSPAN_INTERNAL_HEAP_H

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace libspan {

// A block from malloc that is freed with its owner.
template <class T>
class Owned {
 public:
  Owned() = default;
  explicit Owned(T* block) : block_(block) {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() { std::free(block_); }

  T* get() const { return block_; }
  T* operator->() const { return block_; }
  explicit operator bool() const { return block_ != nullptr; }

  // For functions that hand out a block; nothing is owned before.
  T** out() { return &block_; }

  void reset(T* block) {
    std::free(block_);
    block_ = block;
  }

  T* release() {
    T* const block = block_;
    block_ = nullptr;
    return block;
  }

 private:
  T* block_ = nullptr;
};

// `fixed` bytes and `count` elements of `size` bytes in one block, or null; the sum cannot wrap. Never empty. Not
// inlined, or the compiler would make calloc of a malloc that is cleared, past whoever counts or fails the mallocs of a
// process.
[[gnu::noinline]] inline void* new_block(size_t fixed, size_t count = 0, size_t size = 0) {
  size_t bytes;
  if (__builtin_mul_overflow(count, size, &bytes) || __builtin_add_overflow(bytes, fixed, &bytes)) return nullptr;
  return std::malloc(bytes != 0 ? bytes : 1);
}

// `count` elements in one block, or null; never empty.
template <class T>
T* new_array(size_t count) {
  return static_cast<T*>(new_block(0, count, sizeof(T)));
}

}  // namespace libspan

#endif
