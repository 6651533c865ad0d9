#include "platform/bounded.h"

#include <algorithm>
#include <cstring>

void* __memcpy_to_buf(uint32_t size, void* to, const void* from, uint32_t count) {
  const uint32_t room = std::min(size, count);
  if (room != 0 && to != nullptr && from != nullptr) std::memcpy(to, from, room);
  return to;
}

void* __memset_to_buf(uint32_t size, void* to, int byte, uint32_t count) {
  const uint32_t room = std::min(size, count);
  if (room != 0 && to != nullptr) std::memset(to, byte, room);
  return to;
}

// A text without an end inside its block has no room; it is left as it is.
char* __strcat_to_buf(uint32_t size, char* to, const char* piece) {
  if (to == nullptr || piece == nullptr) return to;
  const size_t used = strnlen(to, size);
  if (used == size) return to;
  const size_t length = strnlen(piece, size - used - 1);
  std::memcpy(to + used, piece, length);
  to[used + length] = '\0';
  return to;
}
