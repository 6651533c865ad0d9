#include "platform/inventory.h"

#include <algorithm>
#include <cstring>

#include "host/platform/state.h"
#include "host/platform/status.h"
#include "platform/quill.h"

namespace host {
namespace {

constexpr uint32_t kModuleInformationOpcode = 1;
constexpr size_t kPlatformInfoSize = 16;

// The answer about a module: records of all modules up to it, of which the software identity is told.
constexpr size_t kModuleRecordSize = 458;
constexpr size_t kSoftwareIdOffset = 31;

const chassis::Module* online_module(uint32_t number) {
  const auto& modules = running()->chassis.modules();
  const auto at = std::find_if(modules.begin(), modules.end(), [number](const chassis::Module& each) {
    return each.number == number && each.state == chassis::ModuleState::kOnline;
  });
  return at != modules.end() ? &*at : nullptr;
}

}  // namespace

std::optional<std::vector<uint8_t>> answer_module_information(std::span<const uint8_t> payload) {
  const chassis::Module* asked = payload.size() == 1 ? online_module(payload[0]) : nullptr;
  if (asked == nullptr) return std::nullopt;
  std::vector<uint8_t> records(asked->number * kModuleRecordSize);
  for (const chassis::Module& each : running()->chassis.modules()) {
    if (each.number > asked->number) break;
    uint8_t* const software_id = &records[(each.number - 1u) * kModuleRecordSize + kSoftwareIdOffset];
    software_id[0] = static_cast<uint8_t>(each.software_id >> 8);
    software_id[1] = static_cast<uint8_t>(each.software_id);
  }
  return records;
}

}  // namespace host

using namespace host;

int get_platform_info(void* record) {
  if (record == nullptr || running() == nullptr) return -1;
  uint8_t info[kPlatformInfoSize] = {};
  size_t count = 0;
  for (const chassis::Module& each : running()->chassis.modules()) {
    if (each.supervisor && count < 2) info[count++] = each.number;
  }
  std::memcpy(record, info, sizeof info);
  return 0;
}

int rook_get_all_modules_in_chassis(uint32_t, void* table, uint32_t entries) {
  if (table == nullptr || running() == nullptr) return -1;
  std::memset(table, 0, entries * sizeof(rook_module_t));
  for (const chassis::Module& each : running()->chassis.modules()) {
    if (each.number > entries) break;
    rook_module_t entry = {};
    entry.present = each.state != chassis::ModuleState::kAbsent;
    entry.node_address = each.number;
    entry.online = each.state == chassis::ModuleState::kOnline;
    std::memcpy(static_cast<uint8_t*>(table) + (each.number - 1u) * sizeof entry, &entry, sizeof entry);
  }
  return 0;
}

int wren_get_module_info(uint32_t queue, void* message, uint32_t module) {
  const auto number = static_cast<uint8_t>(module);
  if (running() == nullptr) return static_cast<int>(kNotStarted);
  if (online_module(module) == nullptr) return static_cast<int>(kNoSuchModule);
  return quill_send(queue, kSupervisorAddress, kModuleInformation, kModuleInformationOpcode, &number, sizeof number,
                    message, 0, 0);
}
