#include "platform/inventory.h"

#include <cstring>

#include "host/linecard/modules.h"
#include "host/platform/state.h"
#include "host/platform/status.h"
#include "platform/quill.h"

namespace host {
namespace {

constexpr size_t kPlatformInfoSize = 16;
constexpr uint32_t kMaxModule = 232;

bool is_present(const chassis::Module* module) {
  return module != nullptr && module->state != chassis::ModuleState::kAbsent;
}

// An empty slot of the chassis has nothing to tell. Slots beyond its last one are not there for anyone to miss.
bool has_information(const chassis::Chassis& chassis, uint32_t number) {
  if (number == 0 || number > kMaxModule) return false;
  return number > chassis.slots() || is_present(chassis.find_module(number));
}

}  // namespace
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
    entry.present = is_present(&each);
    entry.node_address = each.number;
    entry.online = each.runs();
    std::memcpy(static_cast<uint8_t*>(table) + (each.number - 1u) * sizeof entry, &entry, sizeof entry);
  }
  return 0;
}

int wren_get_module_info(uint32_t queue, void* message, uint32_t module) {
  if (running() == nullptr) return static_cast<int>(kNotStarted);
  if (!has_information(running()->chassis, module)) return static_cast<int>(kNoSuchModule);
  const auto number = static_cast<uint8_t>(module);
  return quill_send(queue, kSupervisorAddress, linecard::kInformationService, linecard::kInformationOpcode, &number,
                    sizeof number, message, 0, 0);
}
