#include "host/linecard/traffic.h"

#include <algorithm>
#include <vector>

#include "host/manager/sessions.h"

namespace linecard {
namespace {

using chassis::IfType;
using chassis::Interface;
using manager::Session;
using manager::Switch;
using manager::Vsans;

constexpr uint64_t kThousandths = 1000;

// What is copied of the frames in one direction: VSANs by interface.
using Copied = std::map<uint32_t, Vsans>;

Vsans through(const Vsans& filter, const Vsans& vsans) { return filter.none() ? vsans : vsans & filter; }

// The interfaces that frames of a source pass: the members of a port channel, or the SVC interface behind it.
std::vector<uint32_t> passed(const Interface& source) {
  if (source.service_interface != 0) return {source.service_interface};
  if (source.type == IfType::kPortChannel) return source.members;
  return {source.if_index};
}

// Whether frames of hosts and disks pass the interface, in all VSANs of the switch.
bool is_open_port(const Switch& on, const Interface& interface) {
  return (interface.type == IfType::kFc || interface.type == IfType::kIscsi) && interface.up &&
         manager::port_mode(on.config, interface.if_index) == chassis::PortMode::kNormal;
}

void copy_sources(Copied& copied, const Switch& on, const Session& session, const manager::Sources& sources) {
  for (const auto& [if_index, filter] : sources) {
    const Interface* const source = on.chassis.find(if_index);
    if (source == nullptr) continue;
    const Vsans vsans = through(session.filter, through(filter, on.chassis.vsans()));
    for (const uint32_t each : passed(*source)) {
      const Interface* const interface = on.chassis.find(each);
      if (interface != nullptr && interface->up) copied[each] |= vsans;
    }
  }
}

void copy_vsans(Copied& copied, const Switch& on, const Session& session) {
  if (session.source_vsans.none()) return;
  const Vsans vsans = through(session.filter, session.source_vsans) & on.chassis.vsans();
  for (const Interface& interface : on.chassis.interfaces()) {
    if (is_open_port(on, interface)) copied[interface.if_index] |= vsans;
  }
}

// The traffic of an interface is spread evenly over the VSANs of the switch.
void count(CopyRates& rates, const chassis::Chassis& chassis, const Copied& copied) {
  for (const auto& [if_index, vsans] : copied) {
    const chassis::Module* const module = chassis.find_module(chassis::module_of(if_index));
    if (module != nullptr) rates[module->number] += module->traffic * vsans.count() / chassis.vsans().count();
  }
}

}  // namespace

CopyRates copy_rates(const Switch& on) {
  CopyRates rates;
  for (const Session& session : on.config.sessions) {
    if (!session.configured || manager::oper_state(on, session) != manager::OperState::kActive) continue;
    Copied received, sent;
    copy_sources(received, on, session, session.sources[SPAN_RX - 1]);
    copy_vsans(received, on, session);
    copy_sources(sent, on, session, session.sources[SPAN_TX - 1]);
    count(rates, on.chassis, received);
    count(rates, on.chassis, sent);
  }
  return rates;
}

void Traffic::Card::drop_beyond(uint64_t limit) {
  if (queued <= limit) return;
  dropped += queued - limit;
  queued = limit;
}

void Traffic::Card::pass(uint64_t milliseconds, uint64_t rate, uint64_t limit) {
  drop_beyond(limit);  // the threshold may have come down
  queued += rate * milliseconds;
  queued -= std::min(queued, kCopiesPerSecond * milliseconds);
  drop_beyond(limit);
}

void Traffic::pass(uint64_t now, const CopyRates& rates, uint32_t threshold) {
  const uint64_t milliseconds = now > now_ ? now - now_ : 0;
  now_ = now;
  if (milliseconds == 0) return;
  for (const auto& [module, rate] : rates) cards_.try_emplace(module);
  for (auto& [module, card] : cards_) {
    const auto rate = rates.find(module);
    card.pass(milliseconds, rate == rates.end() ? 0 : rate->second, threshold * kThousandths);
  }
}

uint32_t Traffic::drops(uint32_t module) const {
  const auto card = cards_.find(module);
  return card == cards_.end() ? 0 : static_cast<uint32_t>(card->second.dropped / kThousandths);
}

}  // namespace linecard
