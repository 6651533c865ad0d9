// What the operator asks the manager to dump: the ids that travel in debug dump requests. Those of keywords are the ids
// of the shell's tokens.
#ifndef HOST_MANAGER_DUMP_IDS_H
#define HOST_MANAGER_DUMP_IDS_H

#include <cstdint>

namespace manager {

// Objects, byte 0 of a request. No keyword at all is 0 and means what the first keyword of the list means.
constexpr uint32_t kNoKeyword = 0;
constexpr uint32_t kInterfaceObject = 1;
constexpr uint32_t kSessionObject = 6;
constexpr uint32_t kTestObject = 16;
constexpr uint32_t kGlobalKeyword = 20;

// Lists of the event history.
constexpr uint32_t kStatsKeyword = 21;
constexpr uint32_t kMsgsKeyword = 22;
constexpr uint32_t kErrorsKeyword = 23;

// Memory statistics in full; any other keyword, or none, asks for the short form.
constexpr uint32_t kMemoryDetailKeyword = 8;

constexpr uint32_t kFirstTest = 1;
constexpr uint32_t kLastTest = 5;

}  // namespace manager

#endif
