#include "host/manager/self_test.h"

#include <iterator>

#include "host/manager/dump_ids.h"
#include "host/manager/sessions.h"

namespace manager {
namespace {

using chassis::IfType;
using chassis::Interface;
using Faults = std::vector<std::string>;

std::string session_name(size_t index) { return "session " + std::to_string(index + 1); }

std::string name_of(const Switch& on, uint32_t if_index) {
  const Interface* interface = on.chassis.find(if_index);
  return interface != nullptr ? interface->name : "unknown interface " + std::to_string(if_index);
}

// Calls `check` with each session and its index.
template <class Check>
void for_each_session(const Switch& on, Check check) {
  for (size_t index = 0; index < on.config.sessions.size(); ++index) check(on.config.sessions[index], index);
}

Faults session_faults(const Switch& on) {
  Faults faults;
  for_each_session(on, [&](const Session& session, size_t index) {
    if (!session.configured && session != Session{})
      faults.push_back(session_name(index) + " is not configured, but not empty");
  });
  return faults;
}

Faults destination_faults(const Switch& on) {
  Faults faults;
  std::map<uint32_t, size_t> first_user;
  for_each_session(on, [&](const Session& session, size_t index) {
    if (session.destination == 0) return;
    const std::string what = name_of(on, session.destination) + ", destination of " + session_name(index) + ", ";
    const Interface* interface = on.chassis.find(session.destination);
    const bool fits =
        interface != nullptr && (interface->type == IfType::kFc || interface->type == IfType::kRspanTunnel);
    if (!fits) faults.push_back(what + "cannot be one");
    const auto [user, is_first] = first_user.emplace(session.destination, index);
    if (!is_first) faults.push_back(what + "is that of " + session_name(user->second) + " too");
    if (is_source(on.config, session.destination)) faults.push_back(what + "is a source");
  });
  return faults;
}

Faults source_faults(const Switch& on) {
  Faults faults;
  for_each_session(on, [&](const Session& session, size_t index) {
    for (const Sources& sources : session.sources) {
      if (sources.size() > kMaxSources) faults.push_back(session_name(index) + " has too many sources");
      for (const auto& [if_index, filter] : sources) {
        const std::string what = name_of(on, if_index) + ", source of " + session_name(index) + ", ";
        const Interface* interface = on.chassis.find(if_index);
        if (interface == nullptr || interface->type == IfType::kRspanTunnel) faults.push_back(what + "cannot be one");
        if (port_mode(on.config, if_index) != chassis::PortMode::kNormal) faults.push_back(what + "is in a port mode");
      }
    }
  });
  return faults;
}

Faults vsan_faults(const Switch& on) {
  Faults faults;
  for_each_session(on, [&](const Session& session, size_t index) {
    Vsans used = session.filter | session.source_vsans;
    for (const Sources& sources : session.sources) {
      for (const auto& [if_index, filter] : sources) used |= filter;
    }
    if ((used & ~on.chassis.vsans()).any()) faults.push_back(session_name(index) + " has VSANs that do not exist");
    if (session.source_vsans.count() > kMaxSourceVsans) faults.push_back(session_name(index) + " has too many VSANs");
  });
  return faults;
}

Faults global_faults(const Switch& on) {
  Faults faults;
  for (const auto& [if_index, mode] : on.config.port_modes) {
    const Interface* interface = on.chassis.find(if_index);
    const bool fits = interface != nullptr && interface->type == IfType::kFc && interface->port_channel == 0;
    if (!fits) faults.push_back(name_of(on, if_index) + " cannot be in a port mode");
    if (mode == chassis::PortMode::kNormal) faults.push_back(name_of(on, if_index) + " is listed in the normal mode");
  }
  const uint32_t threshold = on.config.threshold;
  if (threshold < kMinThreshold || threshold > kMaxThreshold) {
    faults.push_back("drop threshold " + std::to_string(threshold) + " is out of range");
  }
  return faults;
}

constexpr SelfTest kSelfTests[] = {
    {"sessions", session_faults},
    {"destinations", destination_faults},
    {"sources", source_faults},
    {"VSANs", vsan_faults},
    {"port modes and drop threshold", global_faults},
};
static_assert(std::size(kSelfTests) == kLastTest - kFirstTest + 1);

}  // namespace

const SelfTest* find_self_test(uint32_t number) {
  return number >= kFirstTest && number <= kLastTest ? &kSelfTests[number - kFirstTest] : nullptr;
}

}  // namespace manager
