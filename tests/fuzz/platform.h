// The platform that a fuzzer plays: every function of platform/, at link time. What it answers are the decisions of an
// input; each answer is well-formed, in a block of exactly its size.
#ifndef TESTS_FUZZ_PLATFORM_H
#define TESTS_FUZZ_PLATFORM_H

#include <cstdint>

#include "tests/fuzz/input.h"

namespace fuzz {

// Starts to play `input`, which outlives the calls. A `steady` platform says the same of an interface each time.
void play(Input& input, bool steady);

// An interface, as a number that the platform mostly knows.
uint32_t any_if_index(Input& input);

// Whether the platform, a steady one, takes an interface for a plain port channel.
bool is_plain_port_channel(uint32_t if_index);

// The bytes in a malloc block of their size.
void* block_of(const Bytes& bytes);

}  // namespace fuzz

#endif
