// What the manager keeps: plain values that can be compared and copied. Nothing derived is stored.
#ifndef HOST_MANAGER_CONFIG_H
#define HOST_MANAGER_CONFIG_H

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <map>

#include "host/chassis/chassis.h"
#include "libspan.h"

namespace manager {

// Limits. docs/manager.md has the table for operators.
constexpr size_t kMaxSources = 64;       // interfaces of a session in one direction
constexpr size_t kMaxSourceVsans = 256;  // of a session
constexpr size_t kMaxRanges = 1024;      // interface ranges of a request
constexpr uint32_t kMinThreshold = 1;    // packets
constexpr uint32_t kMaxThreshold = 65535;
constexpr uint32_t kDefaultThreshold = 1024;

using Vsans = std::bitset<SPAN_VSANS>;

// Source interfaces, each with the VSANs that it is filtered by; none = it is not filtered.
using Sources = std::map<uint32_t, Vsans>;

struct Session {
  bool configured = false;
  bool suspended = false;
  uint32_t destination = 0;  // 0 = none
  Vsans filter;              // none = the session is not filtered
  Vsans source_vsans;
  std::array<Sources, 2> sources;  // by direction: SPAN_RX - 1, SPAN_TX - 1

  bool operator==(const Session&) const = default;
};

struct Config {
  std::array<Session, SPAN_SESSIONS> sessions;
  std::map<uint32_t, chassis::PortMode> port_modes;  // those that are not normal
  uint32_t threshold = kDefaultThreshold;

  bool operator==(const Config&) const = default;
};

// The configuration and the switch that it is for.
struct Switch {
  const chassis::Chassis& chassis;
  Config config;
};

}  // namespace manager

#endif
