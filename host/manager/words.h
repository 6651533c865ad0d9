// What a request asks for, in words: for audits.
#ifndef HOST_MANAGER_WORDS_H
#define HOST_MANAGER_WORDS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "host/chassis/chassis.h"

namespace manager {

constexpr size_t kMaxWords = 400;  // a longer text is cut short, and ends in "..."

// A change, such as "session 1: source fc1/3-4 both filter vsan 1-20". One that makes no sense is told by its numbers.
std::string describe(const chassis::Chassis& chassis, uint32_t opcode, std::span<const uint8_t> payload);

}  // namespace manager

#endif
