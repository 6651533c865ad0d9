#include "host/shell/show.h"

#include <algorithm>
#include <cstdio>

#include "host/platform/switch.h"

namespace shell {
namespace {

using Vsans = std::bitset<4096>;

constexpr size_t kLineWidth = 76;

const char* text_of(chassis::IfType type) {
  switch (type) {
    case chassis::IfType::kFc:
      return "fc";
    case chassis::IfType::kPortChannel:
      return "port-channel";
    case chassis::IfType::kInband:
      return "in-band";
    case chassis::IfType::kFcip:
      return "fcip";
    case chassis::IfType::kIscsi:
      return "iscsi";
    case chassis::IfType::kSvc:
      return "svc";
    case chassis::IfType::kRspanTunnel:
      return "rspan-tunnel";
  }
  return "-";
}

void show_interface(const chassis::Chassis& chassis, const chassis::Interface& interface, const host::PortRole& role) {
  const chassis::Interface* const channel = chassis.find(interface.port_channel);
  std::printf("%-16s %-12s %-4s %-16s %-16s %s\n", interface.name.c_str(), text_of(interface.type),
              interface.up ? "up" : "down", port_mode_text(role.mode), channel != nullptr ? channel->name.c_str() : "-",
              role.destination ? "destination" : "-");
}

// "1-5" or "7" for the run that starts at `first`, which becomes the first VSAN behind it.
std::string take_run(const Vsans& vsans, size_t& first) {
  size_t end = first;
  while (end < vsans.size() && vsans[end]) ++end;
  std::string run = std::to_string(first);
  if (end - first > 1) run += '-' + std::to_string(end - 1);
  first = end;
  return run;
}

// Ranges on as many lines as they need.
void print_vsans(const Vsans& vsans) {
  std::string line;
  for (size_t vsan = 0; vsan < vsans.size();) {
    if (!vsans[vsan]) {
      ++vsan;
      continue;
    }
    const std::string run = take_run(vsans, vsan);
    if (line.size() + 1 + run.size() > kLineWidth) {
      std::printf("%s,\n", line.c_str());
      line.clear();
    }
    line += (line.empty() ? "  " : ",") + run;
  }
  if (!line.empty()) std::puts(line.c_str());
}

std::string text_of(const chassis::Role& role) {
  if (role.all_interfaces) return "all interfaces";
  return std::to_string(role.interfaces.size()) + " interfaces";
}

}  // namespace

const char* port_mode_text(chassis::PortMode mode) {
  switch (mode) {
    case chassis::PortMode::kNormal:
      return "normal";
    case chassis::PortMode::kSpanDestination:
      return "span-destination";
    case chassis::PortMode::kTunnelSource:
      return "tunnel-source";
  }
  return "-";
}

bool may_see(const chassis::Role& role, const chassis::Interface& interface) {
  return role.all_interfaces || std::ranges::binary_search(role.interfaces, interface.if_index);
}

bool show_interfaces(const chassis::Chassis& chassis, const chassis::Role& role) {
  std::optional<host::PortRoles> roles = host::port_roles();
  if (!roles) return false;
  std::printf("%-16s %-12s %-4s %-16s %-16s %s\n", "Interface", "Type", "Link", "Port mode", "Member of", "SPAN");
  std::puts(std::string(80, '-').c_str());
  for (const chassis::Interface& interface : chassis.interfaces()) {
    if (may_see(role, interface)) show_interface(chassis, interface, (*roles)[interface.if_index]);
  }
  return true;
}

void show_vsans(const chassis::Chassis& chassis, const chassis::Role& role) {
  const Vsans visible = chassis.vsans() & role.vsans;
  std::printf("%zu VSANs\n", visible.count());
  print_vsans(visible);
}

void show_roles(const chassis::Chassis& chassis, const chassis::Role& current) {
  for (const chassis::Role& role : chassis.roles()) {
    std::printf("%c %-20s %s, %zu VSANs\n", role.name == current.name ? '*' : ' ', role.name.c_str(),
                text_of(role).c_str(), (role.vsans & chassis.vsans()).count());
  }
}

void show_events() {
  const std::string events = host::event_history_text();
  std::fputs(events.empty() ? "no events\n" : events.c_str(), stdout);
}

}  // namespace shell
