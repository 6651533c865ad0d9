// The allocator of the tests. Linking with --wrap=malloc,--wrap=calloc,--wrap=realloc,--wrap=free sends every call of
// the code under test through it: blocks are counted, new ones are filled with 0xA5, and any request can be made to
// fail. A request for no bytes gets no block, as it may. Operator new is not affected: it lives in a shared library.
#ifndef TESTS_SUPPORT_HEAP_H
#define TESTS_SUPPORT_HEAP_H

#include <cstddef>
#include <string>

#include "tests/support/bytes.h"

namespace testkit::heap {

constexpr uint8_t kFill = 0xA5;

// The n-th request from now on fails, once. 0: none does.
void fail_nth(size_t n);

// Requests since the last begin(), failed ones included; blocks that fakes hand out are none.
size_t requests();

// Blocks that nobody has freed.
size_t live();

// Starts a test: forgets every block, count and plan.
void begin();

// A block that the platform hands to the code under test, which has to free it.
void* hand_out(const Bytes& content, const std::string& origin);

// Releases what is still live and tells it, one block a line; empty when there is none.
std::string sweep();

}  // namespace testkit::heap

#endif
