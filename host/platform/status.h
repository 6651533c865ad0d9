// Status words that the platform's own functions return, and what is known of any status word.
#ifndef HOST_PLATFORM_STATUS_H
#define HOST_PLATFORM_STATUS_H

#include <cstdint>
#include <span>

#include "host/manager/reasons.h"

namespace host {

constexpr uint32_t kTlvBadTable = 0x402A0001;
constexpr uint32_t kTlvMalformed = 0x402A0002;
constexpr uint32_t kTlvNoArgument = 0x402A0003;
constexpr uint32_t kTlvNoSuchOption = 0x402A0004;
constexpr uint32_t kTlvNoSuchField = 0x402A0005;
constexpr uint32_t kTlvNoRoom = 0x402A0006;
constexpr uint32_t kTlvEnd = 0x402A0007;
constexpr uint32_t kNotStarted = 0x402A0010;
constexpr uint32_t kBadMapRequest = 0x402A0011;
constexpr uint32_t kNotServiceInterface = 0x402A0012;
constexpr uint32_t kNoDebugDump = 0x402A0013;
constexpr uint32_t kNoSuchModule = 0x402A0014;
constexpr uint32_t kNoMemory = 1;
constexpr uint32_t kTransportFailed = 0xFFFFFFFF;

// Code, name and text; the manager's own are manager::kReasons.
using Status = manager::Reason;

std::span<const Status> platform_statuses();

// Of the platform or of the manager; null when nobody knows the code.
const Status* find_status(uint32_t code);

}  // namespace host

#endif
