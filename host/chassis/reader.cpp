#include <iterator>
#include <map>

#include "host/chassis/chassis.h"
#include "host/chassis/section.h"

namespace chassis {
namespace {

constexpr Limits kModules = {1, 232};
constexpr Limits kPorts = {1, 255};  // and interfaces that are numbered without a module
constexpr Limits kInbands = {0, 255};
constexpr Limits kPortChannels = {1, 256};
constexpr Limits kSubtypes = {0, 1};  // subtype 2 comes with an SVC interface
constexpr Limits kSoftwareIds = {0, 65535};
constexpr Limits kPacketRates = {0, 1000000};  // packets a second
constexpr uint32_t kUsualTraffic = 1000;
constexpr Limits kVsans = {1, 4095};
constexpr int kSupervisors = 2;

std::string name_of(IfType type, uint32_t module, uint32_t port) {
  const std::string number = std::to_string(port);
  const std::string path = std::to_string(module) + "/" + number;
  switch (type) {
    case IfType::kFc:
      return "fc" + path;
    case IfType::kPortChannel:
      return "port-channel " + number;
    case IfType::kInband:
      return "sup-fc" + number;
    case IfType::kFcip:
      return "fcip " + number;
    case IfType::kIscsi:
      return "iscsi " + path;
    case IfType::kSvc:
      return "svc " + path;
    case IfType::kRspanTunnel:
      return "rspan-tunnel " + number;
  }
  return {};
}

ModuleState read_state(const Section& section) {
  if (section.find("state") == nullptr) return ModuleState::kOnline;
  const std::string text = section.text("state");
  if (text == "online") return ModuleState::kOnline;
  if (text == "silent") return ModuleState::kSilent;
  if (text == "powered-down") return ModuleState::kPoweredDown;
  if (text == "absent") return ModuleState::kAbsent;
  throw Mistake{where(section.need("state")),
                "unknown state " + quoted(text) + "; known: online, silent, powered-down, absent"};
}

bool is_all(const toml::node& node) { return node.value<std::string_view>() == "all"; }

}  // namespace

// Builds a chassis from the tables of a file, each kind of entry in turn.
class Reader {
 public:
  Chassis read(const toml::table& root);

 private:
  // An interface that the file names, and where.
  struct Named {
    uint32_t if_index;
    Position at;
  };

  void read_module(const toml::table& table);
  void read_ports(const Section& section, const Module& module);
  void read_inband(const Section& section, const Module& module);
  void read_fcip(const toml::node* numbers);
  void read_port_channel(const toml::table& table);
  void read_svc(const toml::table& table);
  void read_tunnel(const toml::table& table);
  void read_role(const toml::table& table);
  void read_down(const toml::node* down);
  void settle_modules();
  void settle_port_channels();

  Interface& add(Position at, IfType type, uint32_t module, uint32_t port);
  Interface& unused_port(const Named& named);
  const Interface& named(std::string_view name, Position at) const;
  std::vector<Named> named_range(std::string_view text, Position at) const;
  std::vector<Named> named_list(const toml::node& node) const;
  std::vector<uint32_t> role_interfaces(const toml::node& node) const;
  std::bitset<4096> role_vsans(const toml::node& node) const;

  Chassis chassis_;
  std::map<uint32_t, Interface> interfaces_;  // by if_index
  std::map<uint32_t, uint32_t> inbands_;      // by the number of the supervisor
};

Chassis Reader::read(const toml::table& root) {
  const Section file(root, "the file",
                     {"name", "vsans", "down", "fcip", "module", "port-channel", "svc", "rspan-tunnel", "role"});
  chassis_.name_ = file.text("name");
  for (const uint32_t vsan : to_numbers(file.need("vsans"), kVsans, "VSAN")) chassis_.vsans_.set(vsan);
  for (const char* needed : {"module", "role"}) {
    const toml::node& node = file.need(needed);
    if (entries(root, needed).empty()) throw Mistake{where(node), quoted(needed) + " needs at least one entry"};
  }
  for (const auto* table : entries(root, "module")) read_module(*table);
  settle_modules();
  read_fcip(file.find("fcip"));
  for (const auto* table : entries(root, "port-channel")) read_port_channel(*table);
  for (const auto* table : entries(root, "svc")) read_svc(*table);
  for (const auto* table : entries(root, "rspan-tunnel")) read_tunnel(*table);
  for (const auto* table : entries(root, "role")) read_role(*table);
  read_down(file.find("down"));
  settle_port_channels();
  for (auto& [if_index, interface] : interfaces_) chassis_.interfaces_.push_back(std::move(interface));
  return std::move(chassis_);
}

// ---- Modules ---------------------------------------------------------------------------------------------------------

void Reader::read_module(const toml::table& table) {
  const Section section(
      table, "[[module]]",
      {"number", "name", "state", "supervisor", "software-id", "traffic", "fc-ports", "iscsi-ports", "inband"});
  const uint32_t number = section.number("number", kModules);
  if (chassis_.find_module(number) != nullptr) {
    throw Mistake{where(section.need("number")), "module " + std::to_string(number) + " is there twice"};
  }
  const Module module = {.number = static_cast<uint8_t>(number),
                         .name = section.text("name"),
                         .supervisor = section.flag("supervisor"),
                         .state = read_state(section),
                         .software_id = static_cast<uint16_t>(section.number("software-id", kSoftwareIds, 0)),
                         .traffic = section.number("traffic", kPacketRates, kUsualTraffic)};
  chassis_.modules_.push_back(module);
  const auto supervisors = std::count_if(chassis_.modules_.begin(), chassis_.modules_.end(),
                                         [](const Module& each) { return each.supervisor; });
  if (supervisors > kSupervisors) throw Mistake{section.at(), "a switch has two supervisors at most"};
  read_ports(section, module);
  read_inband(section, module);
}

void Reader::read_ports(const Section& section, const Module& module) {
  static constexpr std::pair<const char*, IfType> kKinds[] = {{"fc-ports", IfType::kFc},
                                                              {"iscsi-ports", IfType::kIscsi}};
  for (const auto& [key, type] : kKinds) {
    const toml::node* node = section.find(key);
    if (node == nullptr) continue;
    for (const uint32_t port : to_numbers(*node, kPorts, "port")) add(where(*node), type, module.number, port);
  }
}

void Reader::read_inband(const Section& section, const Module& module) {
  const toml::node* node = section.find("inband");
  if (node == nullptr) return;
  if (!module.supervisor) throw Mistake{where(*node), "only a supervisor has an in-band interface"};
  if (module.state == ModuleState::kAbsent) throw Mistake{where(*node), "an absent module has no interfaces"};
  Interface& inband = add(where(*node), IfType::kInband, 0, section.number("inband", kInbands));
  inband.up = module.runs();
  inbands_[module.number] = inband.if_index;
}

// Puts the modules in order and finds the active supervisor: the first that is online.
void Reader::settle_modules() {
  auto& modules = chassis_.modules_;
  std::sort(modules.begin(), modules.end(), [](const Module& a, const Module& b) { return a.number < b.number; });
  const auto active =
      std::find_if(modules.begin(), modules.end(), [](const Module& each) { return each.supervisor && each.runs(); });
  if (active != modules.end() && inbands_.contains(active->number)) chassis_.inband_ = inbands_[active->number];
}

// ---- Interfaces ------------------------------------------------------------------------------------------------------

Interface& Reader::add(Position at, IfType type, uint32_t module, uint32_t port) {
  Interface interface = {};
  interface.if_index = make_if_index(type, module, port);
  interface.name = name_of(type, module, port);
  interface.type = type;
  if (module != 0) {
    const Module* home = chassis_.find_module(module);
    if (home == nullptr) throw Mistake{at, "there is no module " + std::to_string(module)};
    if (home->state == ModuleState::kAbsent) throw Mistake{at, "an absent module has no interfaces"};
    interface.up = home->runs();
  }
  const auto [added, is_new] = interfaces_.emplace(interface.if_index, interface);
  if (!is_new) throw Mistake{at, "interface " + quoted(interface.name) + " is there twice"};
  return added->second;
}

void Reader::read_fcip(const toml::node* numbers) {
  if (numbers == nullptr) return;
  for (const uint32_t number : to_numbers(*numbers, kPorts, "fcip")) add(where(*numbers), IfType::kFcip, 0, number);
}

void Reader::read_port_channel(const toml::table& table) {
  const Section section(table, "[[port-channel]]", {"number", "subtype", "members"});
  const uint32_t number = section.number("number", kPortChannels);
  Interface& channel = add(where(section.need("number")), IfType::kPortChannel, 0, number);
  channel.subtype = static_cast<uint8_t>(section.number("subtype", kSubtypes, 0));
  const toml::node* members = section.find("members");
  if (members == nullptr) return;
  for (const Named& member : named_list(*members)) {
    unused_port(member).port_channel = channel.if_index;
    channel.members.push_back(member.if_index);
  }
  std::sort(channel.members.begin(), channel.members.end());
}

void Reader::read_svc(const toml::table& table) {
  const Section section(table, "[[svc]]", {"module", "port", "initiator", "target", "management"});
  const uint32_t module = section.number("module", kModules);
  Interface& svc = add(where(section.need("module")), IfType::kSvc, module, section.number("port", kPorts));
  static constexpr const char* kTraffic[] = {"initiator", "target", "management"};
  for (size_t i = 0; i < std::size(kTraffic); ++i) {
    const toml::node* node = section.find(kTraffic[i]);
    if (node == nullptr) continue;
    Interface& channel = add(where(*node), IfType::kPortChannel, 0, section.number(kTraffic[i], kPortChannels));
    channel.subtype = 2;
    channel.service_interface = svc.if_index;
    svc.service_channels[i] = channel.if_index;
  }
}

void Reader::read_tunnel(const toml::table& table) {
  const Section section(table, "[[rspan-tunnel]]", {"number", "ports"});
  const uint32_t number = section.number("number", kPorts);
  const Interface& tunnel = add(where(section.need("number")), IfType::kRspanTunnel, 0, number);
  const toml::node* ports = section.find("ports");
  if (ports == nullptr) return;
  for (const Named& port : named_list(*ports)) unused_port(port).rspan_tunnel = tunnel.if_index;
}

void Reader::read_down(const toml::node* down) {
  if (down == nullptr) return;
  for (const Named& each : named_list(*down)) interfaces_.at(each.if_index).up = false;
}

// A port channel is up with a member that is up; one that carries the traffic of an SVC interface goes with that one.
void Reader::settle_port_channels() {
  const auto is_up = [this](uint32_t if_index) { return interfaces_.at(if_index).up; };
  for (auto& [if_index, channel] : interfaces_) {
    if (channel.type != IfType::kPortChannel) continue;
    const bool carries = channel.service_interface != 0
                             ? is_up(channel.service_interface)
                             : std::any_of(channel.members.begin(), channel.members.end(), is_up);
    channel.up = channel.up && carries;
  }
}

// ---- Interfaces by name ----------------------------------------------------------------------------------------------

// A port that may become a member of a port channel, or a tunnel source.
Interface& Reader::unused_port(const Named& named) {
  Interface& port = interfaces_.at(named.if_index);
  if (port.type != IfType::kFc) throw Mistake{named.at, quoted(port.name) + " is not a Fibre Channel interface"};
  for (const uint32_t use : {port.port_channel, port.rspan_tunnel}) {
    if (use == 0) continue;
    throw Mistake{named.at, quoted(port.name) + " belongs to " + quoted(interfaces_.at(use).name) + " already"};
  }
  return port;
}

const Interface& Reader::named(std::string_view name, Position at) const {
  for (const auto& [if_index, interface] : interfaces_) {
    if (interface.name == name) return interface;
  }
  throw Mistake{at, "unknown interface " + quoted(name)};
}

// "fc1/1", or "fc1/1-4" for four of them.
std::vector<Reader::Named> Reader::named_range(std::string_view text, Position at) const {
  const size_t dash = text.rfind('-');
  const auto last = dash == std::string_view::npos ? std::nullopt : to_number(text.substr(dash + 1));
  if (!last) return {{named(text, at).if_index, at}};
  const Interface& first = named(text.substr(0, dash), at);
  const uint32_t module = module_of(first.if_index);
  std::vector<Named> out;
  for (uint32_t port = first.if_index & 0xFFFF; port <= *last; ++port) {
    out.push_back({named(name_of(first.type, module, port), at).if_index, at});
  }
  if (out.empty()) throw Mistake{at, "the range " + quoted(text) + " runs backwards"};
  return out;
}

std::vector<Reader::Named> Reader::named_list(const toml::node& node) const {
  const toml::array* list = node.as_array();
  if (list == nullptr) throw Mistake{where(node), "expected a list of interfaces such as [\"fc1/1-4\", \"fcip 1\"]"};
  std::vector<Named> out;
  std::set<uint32_t> seen;
  for (const toml::node& element : *list) {
    const auto* text = element.as_string();
    if (text == nullptr) throw Mistake{where(element), "the name of an interface must be a text"};
    for (const Named& each : named_range(text->get(), where(element))) {
      const std::string& name = interfaces_.at(each.if_index).name;
      if (!seen.insert(each.if_index).second) throw Mistake{each.at, quoted(name) + " is listed twice"};
      out.push_back(each);
    }
  }
  return out;
}

// ---- Roles -----------------------------------------------------------------------------------------------------------

void Reader::read_role(const toml::table& table) {
  const Section section(table, "[[role]]", {"name", "interfaces", "vsans"});
  Role role = {section.text("name"), false, {}, {}};
  if (chassis_.find_role(role.name) != nullptr) {
    throw Mistake{where(section.need("name")), "role " + quoted(role.name) + " is there twice"};
  }
  if (const toml::node* node = section.find("interfaces")) {
    role.all_interfaces = is_all(*node);
    if (!role.all_interfaces) role.interfaces = role_interfaces(*node);
  }
  if (const toml::node* node = section.find("vsans")) role.vsans = role_vsans(*node);
  chassis_.roles_.push_back(std::move(role));
}

std::vector<uint32_t> Reader::role_interfaces(const toml::node& node) const {
  std::set<uint32_t> out;
  for (const Named& each : named_list(node)) {
    out.insert(each.if_index);
    for (const uint32_t channel : interfaces_.at(each.if_index).service_channels) out.insert(channel);
  }
  out.erase(0);
  return {out.begin(), out.end()};
}

std::bitset<4096> Reader::role_vsans(const toml::node& node) const {
  std::bitset<4096> out;
  if (is_all(node)) return out.set();
  for (const uint32_t vsan : to_numbers(node, kVsans, "VSAN")) {
    if (!chassis_.vsans_[vsan]) throw Mistake{where(node), "VSAN " + std::to_string(vsan) + " does not exist"};
    out.set(vsan);
  }
  return out;
}

// ---- Entry -----------------------------------------------------------------------------------------------------------

std::optional<Chassis> Chassis::parse(std::string_view toml, const std::string& path, std::string& error) {
  const auto mistake = [&](const Position& at, std::string_view text) {
    error = path + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": " + one_line(std::string(text));
  };
  try {
    return Reader().read(toml::parse(toml, path));
  } catch (const toml::parse_error& wrong) {
    mistake(wrong.source().begin, wrong.description());
  } catch (const Mistake& wrong) {
    mistake(wrong.at, wrong.text);
  } catch (const std::exception& wrong) {
    error = path + ": " + wrong.what();
  }
  return std::nullopt;
}

}  // namespace chassis
