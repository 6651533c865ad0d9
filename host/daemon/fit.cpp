#include "host/daemon/fit.h"

#include <cstdio>

#include "host/manager/reasons.h"
#include "host/manager/sessions.h"
#include "host/manager/sources.h"
#include "host/manager/vsan_text.h"
#include "platform/syserr.h"

namespace spand {
namespace {

using libspan::SourceType;
using libspan::SrcOperation;
using manager::Config;
using manager::Session;
using manager::SourceChange;
using manager::Vsans;

// Makes the configuration anew, request by request.
class Fitter {
 public:
  explicit Fitter(const chassis::Chassis& chassis) : on_{chassis, {}} {}

  Fit fit(const Config& config);

 private:
  // Notes the misfit unless there is no reason for one.
  bool fits(const std::string& what, uint32_t reason);
  std::string name_of(uint32_t if_index) const;

  void port_modes(const Config& config);
  void session(uint8_t index, const Session& from);
  void source(Session& to, const std::string& who, uint8_t direction, uint32_t if_index, const Vsans& filter);
  Vsans usable(const std::string& what, const Vsans& vsans);
  void vsans(Session& to, const std::string& who, const Session& from);

  manager::Switch on_;
  std::vector<std::string> misfits_;
};

bool Fitter::fits(const std::string& what, uint32_t reason) {
  if (reason != 0) misfits_.push_back(what + ": " + syserr2str(reason));
  return reason == 0;
}

std::string Fitter::name_of(uint32_t if_index) const {
  const chassis::Interface* interface = on_.chassis.find(if_index);
  if (interface != nullptr) return interface->name;
  char text[32];
  std::snprintf(text, sizeof text, "interface 0x%08x", if_index);
  return text;
}

void Fitter::port_modes(const Config& config) {
  for (const auto& [if_index, mode] : config.port_modes) {
    fits("port mode of " + name_of(if_index), manager::set_port_mode(on_, if_index, mode));
  }
}

Vsans Fitter::usable(const std::string& what, const Vsans& vsans) {
  const Vsans unusable = manager::unusable_vsans(on_, {SourceType::kVsan, SrcOperation::kAdd, SPAN_RX, vsans});
  if (unusable.any()) fits(what + " vsan " + manager::vsan_text(unusable), manager::kNoSuchVsan);
  return vsans & ~unusable;
}

void Fitter::source(Session& to, const std::string& who, uint8_t direction, uint32_t if_index, const Vsans& filter) {
  const std::string what = who + "source " + name_of(if_index) + (direction == SPAN_RX ? " rx" : " tx");
  const chassis::Interface* interface = on_.chassis.find(if_index);
  const auto type = interface == nullptr ? std::nullopt : manager::source_type_of(*interface);
  if (!type) {
    fits(what, interface == nullptr ? manager::kUnknownInterface : manager::kCannotBeSource);
    return;
  }
  const Vsans rest = usable(what + " filter", filter);
  if (filter.any() && rest.none()) return;
  const SourceChange change{*type, SrcOperation::kAddIf, direction, rest};
  fits(what, manager::change_source(on_, to, change, if_index));
}

void Fitter::vsans(Session& to, const std::string& who, const Session& from) {
  to.filter = usable(who + "filter", from.filter);
  if (from.filter.any() && to.filter.none()) to.suspended = true;
  const SourceChange change{SourceType::kVsan, SrcOperation::kAdd, SPAN_RX, usable(who + "source", from.source_vsans)};
  fits(who + "source vsans", manager::change_vsans(on_, to, change).result);
}

void Fitter::session(uint8_t index, const Session& from) {
  const std::string who = "session " + std::to_string(index + 1) + ": ";
  manager::create_session(on_.config, index);
  Session& to = on_.config.sessions[index];
  to.suspended = from.suspended;
  if (from.destination != 0) {
    fits(who + "destination " + name_of(from.destination), manager::set_destination(on_, to, from.destination));
  }
  for (const uint8_t direction : {SPAN_RX, SPAN_TX}) {
    for (const auto& [if_index, filter] : from.sources[direction - 1u]) source(to, who, direction, if_index, filter);
  }
  vsans(to, who, from);
}

Fit Fitter::fit(const Config& config) {
  if (config.threshold >= manager::kMinThreshold && config.threshold <= manager::kMaxThreshold) {
    on_.config.threshold = config.threshold;
  } else {
    fits("drop threshold " + std::to_string(config.threshold), manager::kBadThreshold);
  }
  port_modes(config);
  for (uint8_t index = 0; index < SPAN_SESSIONS; ++index) {
    if (config.sessions[index].configured) session(index, config.sessions[index]);
  }
  return {on_.config, misfits_};
}

}  // namespace

Fit fit(const chassis::Chassis& chassis, const Config& config) { return Fitter(chassis).fit(config); }

}  // namespace spand
