// The description of a switch: modules, interfaces, VSANs, operator roles. Read from a TOML file, fixed afterwards.
#ifndef HOST_CHASSIS_CHASSIS_H
#define HOST_CHASSIS_CHASSIS_H

#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace chassis {

// Types of interface; the numbers are those of platform/if_index.h.
enum class IfType : uint8_t {
  kFc = 1,
  kPortChannel = 4,
  kInband = 6,
  kFcip = 10,
  kIscsi = 11,
  kSvc = 12,
  kRspanTunnel = 15,
};

// What a port is for. The numbers travel as the value of the port mode configuration entry.
enum class PortMode : uint32_t { kNormal = 0, kSpanDestination = 1, kTunnelSource = 2 };

// An interface index: type in bits 31 to 24, module in bits 23 to 16, port or number in bits 15 to 0.
constexpr uint32_t make_if_index(IfType type, uint32_t module, uint32_t port) {
  return uint32_t{static_cast<uint8_t>(type)} << 24 | module << 16 | port;
}

constexpr uint32_t module_of(uint32_t if_index) { return if_index >> 16 & 0xFF; }

struct Interface {
  uint32_t if_index;
  std::string
      name;  // as printed: "fc1/1", "port-channel 3", "fcip 1", "iscsi 1/3", "svc 2/1", "sup-fc0", "rspan-tunnel 1"
  IfType type;
  uint8_t subtype = 0;                // of a port channel
  bool up = true;                     // administrative fact of the chassis: the link is there
  uint32_t port_channel = 0;          // FC interface: the port channel that it is a member of, 0 = none
  std::vector<uint32_t> members;      // port channel: its members, ascending
  uint32_t service_channels[3] = {};  // SVC: its port channels by traffic type (0 initiator, 1 target, 2 management)
  uint32_t service_interface = 0;     // port channel of subtype 2: the SVC interface whose traffic it carries
  uint32_t rspan_tunnel = 0;          // port in tunnel-source mode: its tunnel, 0 = none
};

enum class ModuleState : uint8_t {
  kOnline,
  kSilent,  // runs, but the services on it do not answer
  kPoweredDown,
  kAbsent,
};

struct Module {
  uint8_t number;  // 1 ..
  std::string name;
  bool supervisor;
  ModuleState state;
  uint16_t software_id;
  uint32_t traffic;  // packets a second through each of its interfaces, in each direction

  bool runs() const { return state == ModuleState::kOnline || state == ModuleState::kSilent; }
};

// What an operator may see. A VSAN or interface that is not listed is hidden; the port channels of an SVC interface go
// with it.
struct Role {
  std::string name;
  bool all_interfaces;
  std::vector<uint32_t> interfaces;  // ascending
  std::bitset<4096> vsans;
};

class Chassis {
 public:
  // Reads a description. On failure nothing is returned and `error` holds one line, "FILE:LINE:COLUMN: what is wrong",
  // or "FILE: why" when the file cannot be read.
  static std::optional<Chassis> load(const std::string& path, std::string& error);
  static std::optional<Chassis> parse(std::string_view toml, const std::string& path, std::string& error);

  const std::string& name() const { return name_; }
  const std::vector<Module>& modules() const { return modules_; }           // ascending by number
  const std::vector<Interface>& interfaces() const { return interfaces_; }  // ascending by if_index
  const std::bitset<4096>& vsans() const { return vsans_; }
  const std::vector<Role>& roles() const { return roles_; }

  uint32_t slots() const { return modules_.empty() ? 0 : modules_.back().number; }  // up to the last one described

  const Module* find_module(uint32_t number) const;
  const Interface* find(uint32_t if_index) const;
  const Interface* find(std::string_view name) const;
  const Role* find_role(std::string_view name) const;
  uint32_t inband() const { return inband_; }  // in-band interface of the active supervisor, 0 = none

 private:
  friend class Reader;

  std::string name_;
  std::vector<Module> modules_;
  std::vector<Interface> interfaces_;
  std::bitset<4096> vsans_;
  std::vector<Role> roles_;
  uint32_t inband_ = 0;
};

// The text of a description, from a file or a pipe. Nothing, and one line "FILE: why" in `error`, when it cannot be
// read.
std::optional<std::string> read_description(const std::string& path, std::string& error);

// Path of the description that comes with the switch: the installed one, share/libspan/default.toml beside the running
// program's bin/, or else that of the source tree, HOST_DEFAULT_CHASSIS.
std::string default_description();

}  // namespace chassis

#endif
