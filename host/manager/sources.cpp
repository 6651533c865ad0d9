#include "host/manager/sources.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <vector>

#include "host/manager/reasons.h"
#include "host/manager/sessions.h"

namespace manager {
namespace {

using chassis::IfType;
using chassis::Interface;
using libspan::SourceType;
using libspan::SrcOperation;

// Interfaces that stand or fall together: one, or the port channels that carry the traffic of an SVC interface.
using Carriers = std::vector<const Interface*>;

// Calls `act` with the sources of each direction that is named.
template <class Act>
void for_each_direction(Session& session, uint8_t direction, Act act) {
  if ((direction & SPAN_RX) != 0) act(session.sources[SPAN_RX - 1]);
  if ((direction & SPAN_TX) != 0) act(session.sources[SPAN_TX - 1]);
}

Carriers carriers_of(const chassis::Chassis& chassis, const Interface& interface) {
  if (interface.type != IfType::kSvc) return {&interface};
  Carriers carriers;
  for (const uint32_t channel : interface.service_channels) {
    if (const Interface* carrier = chassis.find(channel); carrier != nullptr) carriers.push_back(carrier);
  }
  return carriers;
}

// Those of the carriers that are sources already.
Carriers present(const Sources& sources, const Carriers& carriers) {
  Carriers found;
  std::ranges::copy_if(carriers, std::back_inserter(found),
                       [&](const Interface* carrier) { return sources.contains(carrier->if_index); });
  return found;
}

uint32_t new_source_refusal(const Switch& on, const Interface& interface) {
  if (interface.port_channel != 0) return kMemberOfPortChannel;
  if (is_destination(on.config, interface.if_index)) return kIsDestination;
  if (port_mode(on.config, interface.if_index) != chassis::PortMode::kNormal) return kPortModeNotNormal;
  if (interface.type == IfType::kInband && interface.if_index != on.chassis.inband()) return kNotActiveInband;
  return 0;
}

// The carriers that an addition touches. A filter for an SVC interface goes to those of its port channels that are
// sources, as long as there is one.
Carriers touched(const Sources& sources, const Carriers& carriers, const SourceChange& change) {
  const Carriers old = present(sources, carriers);
  return change.vsans.any() && !old.empty() ? old : carriers;
}

uint32_t add_refusal(const Switch& on, Session& session, const SourceChange& change, const Carriers& carriers) {
  for (const Interface* carrier : carriers) {
    if (const uint32_t reason = new_source_refusal(on, *carrier); reason != 0) return reason;
  }
  if (unusable_vsans(on, change).any()) return kNoSuchVsan;
  bool room = true;
  for_each_direction(session, change.direction, [&](const Sources& sources) {
    const Carriers all = touched(sources, carriers, change);
    room = room && sources.size() + all.size() - present(sources, all).size() <= kMaxSources;
  });
  return room ? 0 : kTooManySources;
}

uint32_t add_source(const Switch& on, Session& session, const SourceChange& change, const Carriers& carriers) {
  const uint32_t reason = add_refusal(on, session, change, carriers);
  if (reason != 0) return reason;
  for_each_direction(session, change.direction, [&](Sources& sources) {
    for (const Interface* carrier : touched(sources, carriers, change)) sources[carrier->if_index] |= change.vsans;
  });
  return 0;
}

uint32_t remove_source(Session& session, const SourceChange& change, const Carriers& carriers) {
  size_t removed = 0;
  for_each_direction(session, change.direction, [&](Sources& sources) {
    for (const Interface* carrier : carriers) removed += sources.erase(carrier->if_index);
  });
  return removed == 0 ? kNotSource : 0;
}

uint32_t remove_source_filter(Session& session, const SourceChange& change, const Carriers& carriers) {
  bool found = false;
  bool changed = change.vsans.none();
  for_each_direction(session, change.direction, [&](Sources& sources) {
    for (const Interface* carrier : present(sources, carriers)) {
      Vsans& filter = sources[carrier->if_index];
      found = true;
      changed = changed || (filter & change.vsans).any();
      filter &= ~change.vsans;
    }
  });
  if (!found) return kNotSource;
  return changed ? 0 : kNotInFilter;
}

VsanOutcome add_vsans(const Switch& on, const SourceChange& change, Vsans& to, size_t room) {
  VsanOutcome outcome{0, unusable_vsans(on, change)};
  if (outcome.refused.any()) outcome.result = kNoSuchVsan;
  const Vsans wanted = change.vsans & ~outcome.refused;
  for (size_t vsan = 0; vsan < wanted.size(); ++vsan) {
    if (!wanted.test(vsan) || to.test(vsan)) continue;
    if (to.count() < room) {
      to.set(vsan);
    } else {
      outcome.refused.set(vsan);
      if (outcome.result == 0) outcome.result = kTooManySourceVsans;
    }
  }
  return outcome;
}

VsanOutcome remove_vsans(Vsans& from, const Vsans& vsans, uint32_t reason_for_none) {
  const bool idle = vsans.any() && (from & vsans).none();
  from &= ~vsans;
  return {idle ? reason_for_none : 0, {}};
}

bool one_of(SrcOperation operation, std::initializer_list<SrcOperation> operations) {
  return std::ranges::find(operations, operation) != operations.end();
}

}  // namespace

std::optional<SourceType> source_type_of(const Interface& interface) {
  switch (interface.type) {
    case IfType::kFc:
    case IfType::kFcip:
    case IfType::kIscsi:
    case IfType::kSvc:
      return SourceType::kInterface;
    case IfType::kPortChannel:
      return interface.subtype == IF_INDEX_PORT_CHANNEL_PLAIN ? SourceType::kPortChannel : SourceType::kInterface;
    case IfType::kInband:
      return SourceType::kInband;
    default:
      return std::nullopt;
  }
}

uint32_t refusal(const SourceChange& change) {
  using enum SrcOperation;
  const bool of_vsans = change.type == SourceType::kVsan;
  const bool of_filter = change.type == SourceType::kSessionFilter;
  if (!of_vsans && !of_filter && !change.names_interfaces()) return kUnknownSourceType;
  const bool fits = of_vsans    ? one_of(change.operation, {kAdd, kRemove})
                    : of_filter ? one_of(change.operation, {kAddFilter, kRemoveFilter})
                                : one_of(change.operation, {kAddIf, kRemoveIfFilter, kAdd, kRemove});
  if (!fits) return kUnknownOperation;
  if (change.direction < SPAN_RX || change.direction > SPAN_BOTH) return kWrongDirection;
  return of_vsans && change.direction != SPAN_RX ? kWrongDirection : 0;
}

// 0, 4094 and 4095 are reserved, also where the switch has a VSAN of that number.
Vsans unusable_vsans(const Switch& on, const SourceChange& change) {
  Vsans usable = on.chassis.vsans();
  for (const size_t reserved : {0u, 4094u, 4095u}) usable.reset(reserved);
  return change.vsans & ~usable;
}

uint32_t change_source(Switch& on, Session& session, const SourceChange& change, uint32_t if_index) {
  const Interface* interface = on.chassis.find(if_index);
  if (interface == nullptr) return kUnknownInterface;
  const auto type = source_type_of(*interface);
  if (!type) return kCannotBeSource;
  if (*type != change.type) return kOtherSourceType;
  const Carriers carriers = carriers_of(on.chassis, *interface);
  if (carriers.empty()) return kNoServiceChannel;
  switch (change.operation) {
    case SrcOperation::kRemoveIfFilter:
      return remove_source_filter(session, change, carriers);
    case SrcOperation::kRemove:
      return remove_source(session, change, carriers);
    default:
      return add_source(on, session, change, carriers);
  }
}

VsanOutcome change_vsans(const Switch& on, Session& session, const SourceChange& change) {
  switch (change.operation) {
    case SrcOperation::kAdd:
      return add_vsans(on, change, session.source_vsans, kMaxSourceVsans);
    case SrcOperation::kRemove:
      return remove_vsans(session.source_vsans, change.vsans, kNotSourceVsans);
    case SrcOperation::kAddFilter:
      return add_vsans(on, change, session.filter, SPAN_VSANS);
    default:
      return remove_vsans(session.filter, change.vsans, kNotInFilter);
  }
}

}  // namespace manager
