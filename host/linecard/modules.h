// Answers of the simulated modules to single messages. Nothing = no answer.
#ifndef HOST_LINECARD_MODULES_H
#define HOST_LINECARD_MODULES_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "host/chassis/chassis.h"

namespace linecard {

using Answer = std::optional<std::vector<uint8_t>>;
using Payload = std::span<const uint8_t>;

// Addresses of the processes on a module, and of those on the active supervisor.
constexpr uint32_t kSupervisorAddress = 2;
constexpr uint32_t address_of(uint32_t module) { return module << 8 | kSupervisorAddress; }

// The supervisor that knows the modules. One byte asks for the records of all modules up to that number.
constexpr uint32_t kInformationService = 100;
constexpr uint32_t kInformationOpcode = 1;
Answer module_information(const chassis::Chassis& chassis, uint32_t opcode, Payload payload);

// The counter service of a module.
Answer drop_counter(uint32_t module, uint32_t drops, uint32_t opcode, Payload payload);

// Whether bytes that came as the answer of one of these services are one, or none at all. The library is handed an
// answer without its length.
bool is_whole(uint32_t service, Payload request, Payload answer);

}  // namespace linecard

#endif
