#include "host/linecard/modules.h"

#include <algorithm>
#include <array>

#include "host/linecard/counter_service.h"
#include "host/tlv/tlv.h"

namespace linecard {
namespace {

constexpr size_t kRecordSize = 458;
constexpr size_t kSoftwareIdOffset = 31;

}  // namespace

// Of a module its software identity is told. That of an empty slot is 0.
Answer module_information(const chassis::Chassis& chassis, uint32_t opcode, Payload payload) {
  if (opcode != kInformationOpcode || payload.size() != 1 || payload[0] == 0) return std::nullopt;
  std::vector<uint8_t> records(payload[0] * kRecordSize);
  for (const chassis::Module& each : chassis.modules()) {
    if (each.number > payload[0]) break;
    if (each.state == chassis::ModuleState::kAbsent) continue;
    uint8_t* const software_id = &records[(each.number - 1u) * kRecordSize + kSoftwareIdOffset];
    software_id[0] = static_cast<uint8_t>(each.software_id >> 8);
    software_id[1] = static_cast<uint8_t>(each.software_id);
  }
  return records;
}

// One that is asked for the counter of another module has none to tell.
Answer drop_counter(uint32_t module, uint32_t drops, uint32_t opcode, Payload payload) {
  const auto request = opcode == kCounterOpcode ? tlv::decode(payload) : std::nullopt;
  if (!request) return std::nullopt;
  const auto asked = std::ranges::find(*request, kModuleIndexTag, &tlv::Field::tag);
  if (asked == request->end()) return std::nullopt;
  if (asked->value != module - 1) return tlv::encode({});
  return tlv::encode(std::to_array<tlv::Field>({{kModuleIndexTag, asked->value}, {kDropCounterTag, drops}}));
}

bool is_whole(uint32_t service, Payload request, Payload answer) {
  if (answer.empty()) return true;
  if (service == kInformationService) return request.size() == 1 && answer.size() == request[0] * kRecordSize;
  return service != kCounterService || tlv::decode(answer).has_value();
}

}  // namespace linecard
