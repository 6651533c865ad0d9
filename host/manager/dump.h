// The manager's debug output: functions that are asked for by name, with a small record.
#ifndef HOST_MANAGER_DUMP_H
#define HOST_MANAGER_DUMP_H

#include <cstdint>
#include <span>
#include <string_view>

#include "host/manager/history.h"
#include "host/manager/manager.h"

namespace manager {

Dump run_dump(const Switch& on, const History& history, std::string_view function, std::span<const uint8_t> record);

}  // namespace manager

#endif
