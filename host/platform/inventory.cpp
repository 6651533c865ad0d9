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

// Slots behind the last one of the chassis are not there for anyone to miss: nobody is asked about them.
bool is_beyond(const chassis::Chassis& chassis, uint32_t number) {
  return number > chassis.slots() && number <= kMaxModule;
}

// What the supervisor would answer, from the description of the switch.
int answer_at_once(const chassis::Chassis& chassis, void* message, uint8_t module) {
  const auto answer = [&] {
    prepare_answer(message, linecard::module_information(chassis, linecard::kInformationOpcode, {&module, 1}).value());
    return 0;
  };
  return guarded(answer, [] { return static_cast<int>(kNoMemory); });
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
  const chassis::Chassis& chassis = running()->chassis;
  const auto number = static_cast<uint8_t>(module);
  if (message != nullptr && is_beyond(chassis, module)) return answer_at_once(chassis, message, number);
  if (!is_present(chassis.find_module(module))) return static_cast<int>(kNoSuchModule);
  const int sent = quill_send(queue, kSupervisorAddress, linecard::kInformationService, linecard::kInformationOpcode,
                              &number, sizeof number, message, 0, 0);
  if (sent != 0) running()->module_error = running()->transport_error;
  return sent;
}
