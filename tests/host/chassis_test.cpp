#include "host/chassis/chassis.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

using chassis::Chassis;
using chassis::IfType;
using chassis::Interface;

const std::string kSmall = R"(name = "test"
vsans = "1-10,20"
fcip = "1-2"
down = ["fc1/4"]

[[module]]
number = 1
name = "card"
software-id = 43
fc-ports = "1-6"
iscsi-ports = 3

[[module]]
number = 2
name = "supervisor"
supervisor = true
inband = 0

[[port-channel]]
number = 3
members = ["fc1/2", "fc1/1"]

[[svc]]
module = 1
port = 1
initiator = 201
management = 203

[[rspan-tunnel]]
number = 1
ports = ["fc1/6"]

[[role]]
name = "admin"
interfaces = "all"
vsans = "all"

[[role]]
name = "few"
interfaces = ["svc 1/1", "fc1/3-4"]
vsans = "2-3"
)";

Chassis parse(const std::string& text) {
  std::string error;
  const auto chassis = Chassis::parse(text, "test.toml", error);
  EXPECT_TRUE(chassis) << error;
  return chassis.value_or(Chassis());
}

std::string error_of(const std::string& text) {
  std::string error = "nothing is wrong";
  EXPECT_FALSE(Chassis::parse(text, "f", error));
  return error;
}

// The small description with one piece of it replaced, or with a piece more.
std::string with(const std::string& piece, const std::string& other) {
  const size_t at = kSmall.find(piece);
  EXPECT_NE(at, std::string::npos) << piece;
  return std::string(kSmall).replace(at, piece.size(), other);
}

const Interface& named(const Chassis& chassis, const char* name) {
  static const Interface kNone = {};
  const Interface* found = chassis.find(std::string_view(name));
  EXPECT_NE(found, nullptr) << name;
  return found != nullptr ? *found : kNone;
}

// ---- What is read ----------------------------------------------------------------------------------------------------

TEST(ChassisFile, ListsInterfacesInTheOrderOfTheirIndexes) {
  const Chassis chassis = parse(kSmall);
  std::string names;
  uint32_t before = 0;
  for (const Interface& each : chassis.interfaces()) {
    EXPECT_LT(before, each.if_index);
    before = each.if_index;
    names += each.name + ",";
  }
  EXPECT_EQ(names,
            "fc1/1,fc1/2,fc1/3,fc1/4,fc1/5,fc1/6,port-channel 3,port-channel 201,port-channel 203,sup-fc0,fcip 1,"
            "fcip 2,iscsi 1/3,svc 1/1,rspan-tunnel 1,");
}

TEST(ChassisFile, NumbersInterfacesByTypeModuleAndPort) {
  const Chassis chassis = parse(kSmall);
  EXPECT_EQ(named(chassis, "fc1/5").if_index, 0x01010005u);
  EXPECT_EQ(named(chassis, "port-channel 201").if_index, 0x040000C9u);
  EXPECT_EQ(named(chassis, "sup-fc0").if_index, 0x06000000u);
  EXPECT_EQ(named(chassis, "fcip 2").if_index, 0x0A000002u);
  EXPECT_EQ(named(chassis, "iscsi 1/3").if_index, 0x0B010003u);
  EXPECT_EQ(named(chassis, "svc 1/1").if_index, 0x0C010001u);
  EXPECT_EQ(named(chassis, "rspan-tunnel 1").if_index, 0x0F000001u);
}

TEST(ChassisFile, FindsByIndexAndByName) {
  const Chassis chassis = parse(kSmall);
  ASSERT_NE(chassis.find(0x01010005u), nullptr);
  EXPECT_EQ(chassis.find(0x01010005u)->name, "fc1/5");
  EXPECT_EQ(chassis.find(0x01010007u), nullptr);
  EXPECT_EQ(chassis.find(0u), nullptr);
  EXPECT_EQ(chassis.find(0xFFFFFFFFu), nullptr);
  EXPECT_EQ(chassis.find("fc1/7"), nullptr);
  EXPECT_EQ(chassis.find("fc1/"), nullptr);
  EXPECT_EQ(chassis.find_role("nobody"), nullptr);
}

TEST(ChassisFile, JoinsPortChannelsAndMembers) {
  const Chassis chassis = parse(kSmall);
  const Interface& channel = named(chassis, "port-channel 3");
  EXPECT_EQ(channel.members, (std::vector<uint32_t>{0x01010001, 0x01010002}));
  EXPECT_EQ(channel.subtype, 0);
  EXPECT_EQ(named(chassis, "fc1/1").port_channel, channel.if_index);
  EXPECT_EQ(named(chassis, "fc1/3").port_channel, 0u);
}

TEST(ChassisFile, MakesThePortChannelsOfAnSvcInterface) {
  const Chassis chassis = parse(kSmall);
  const Interface& svc = named(chassis, "svc 1/1");
  EXPECT_EQ(svc.service_channels[0], named(chassis, "port-channel 201").if_index);
  EXPECT_EQ(svc.service_channels[1], 0u);
  EXPECT_EQ(svc.service_channels[2], named(chassis, "port-channel 203").if_index);
  EXPECT_EQ(named(chassis, "port-channel 203").subtype, 2);
  EXPECT_EQ(named(chassis, "port-channel 203").service_interface, svc.if_index);
}

TEST(ChassisFile, JoinsTunnelsAndTheirPorts) {
  const Chassis chassis = parse(kSmall);
  EXPECT_EQ(named(chassis, "fc1/6").rspan_tunnel, named(chassis, "rspan-tunnel 1").if_index);
  EXPECT_EQ(named(chassis, "fc1/5").rspan_tunnel, 0u);
}

TEST(ChassisFile, KnowsVsans) {
  const Chassis chassis = parse(kSmall);
  EXPECT_EQ(chassis.vsans().count(), 11u);
  EXPECT_TRUE(chassis.vsans()[20]);
  EXPECT_FALSE(chassis.vsans()[11]);
}

TEST(ChassisFile, AcceptsBlanksBetweenRanges) {
  EXPECT_EQ(parse(with("\"1-10,20\"", "\" 1-10 , 20 \"")).vsans().count(), 11u);
}

TEST(ChassisFile, GivesRolesWhatTheyMaySee) {
  const Chassis chassis = parse(kSmall);
  const chassis::Role* admin = chassis.find_role("admin");
  ASSERT_NE(admin, nullptr);
  EXPECT_TRUE(admin->all_interfaces);
  EXPECT_TRUE(admin->vsans.all());
  const chassis::Role* few = chassis.find_role("few");
  ASSERT_NE(few, nullptr);
  EXPECT_FALSE(few->all_interfaces);
  EXPECT_EQ(few->interfaces, (std::vector<uint32_t>{0x01010003, 0x01010004, 0x040000C9, 0x040000CB, 0x0C010001}));
  EXPECT_EQ(few->vsans.to_ulong(), 0xCu);
}

// ---- Up and down -----------------------------------------------------------------------------------------------------

TEST(ChassisFile, TakesListedInterfacesDown) {
  const Chassis chassis = parse(kSmall);
  EXPECT_FALSE(named(chassis, "fc1/4").up);
  EXPECT_TRUE(named(chassis, "fc1/5").up);
}

TEST(ChassisFile, TakesAModuleThatIsPoweredDownDownWithItsInterfaces) {
  const Chassis chassis = parse(with("name = \"card\"\n", "name = \"card\"\nstate = \"powered-down\"\n"));
  for (const char* name : {"fc1/1", "iscsi 1/3", "svc 1/1", "port-channel 3", "port-channel 201"}) {
    EXPECT_FALSE(named(chassis, name).up) << name;
  }
  EXPECT_TRUE(named(chassis, "fcip 1").up);
}

TEST(ChassisFile, KeepsTheInterfacesOfASilentModuleUp) {
  const Chassis chassis = parse(with("name = \"card\"\n", "name = \"card\"\nstate = \"silent\"\n"));
  EXPECT_TRUE(chassis.modules()[0].runs());
  for (const char* name : {"fc1/1", "iscsi 1/3", "svc 1/1", "port-channel 3"}) EXPECT_TRUE(named(chassis, name).up);
}

TEST(ChassisFile, GivesModulesTheirTraffic) {
  const Chassis chassis = parse(with("software-id = 43", "traffic = 25"));
  EXPECT_EQ(chassis.find_module(1)->traffic, 25u);
  EXPECT_EQ(chassis.find_module(2)->traffic, 1000u);
  EXPECT_EQ(chassis.find_module(3), nullptr);
}

TEST(ChassisFile, KeepsAPortChannelUpWhileAMemberIs) {
  EXPECT_TRUE(named(parse(with("[\"fc1/4\"]", "[\"fc1/1\"]")), "port-channel 3").up);
  EXPECT_FALSE(named(parse(with("[\"fc1/4\"]", "[\"fc1/1-2\"]")), "port-channel 3").up);
  EXPECT_FALSE(named(parse(with("members = [\"fc1/2\", \"fc1/1\"]", "")), "port-channel 3").up);
  EXPECT_FALSE(named(parse(with("[\"fc1/4\"]", "[\"port-channel 3\"]")), "port-channel 3").up);
}

TEST(ChassisFile, FindsTheActiveSupervisor) {
  EXPECT_EQ(parse(kSmall).inband(), 0x06000000u);
  const std::string second = kSmall + "[[module]]\nnumber = 4\nname = \"s\"\nsupervisor = true\ninband = 7\n";
  EXPECT_EQ(parse(second).inband(), 0x06000000u);
  std::string first_is_off = second;
  first_is_off.replace(second.find("inband = 0"), 10, "inband = 0\nstate = \"powered-down\"");
  EXPECT_EQ(parse(first_is_off).inband(), 0x06000007u);
  EXPECT_EQ(parse(with("inband = 0\n", "")).inband(), 0u);
}

TEST(ChassisFile, SortsModules) {
  const Chassis chassis = parse(
      "name = \"a\"\nvsans = 1\n"
      "[[module]]\nnumber = 9\nname = \"nine\"\nsoftware-id = 43\n"
      "[[module]]\nnumber = 2\nname = \"two\"\n"
      "[[role]]\nname = \"r\"\n");
  ASSERT_EQ(chassis.modules().size(), 2u);
  EXPECT_EQ(chassis.modules()[0].name, "two");
  EXPECT_EQ(chassis.modules()[1].number, 9);
  EXPECT_EQ(chassis.modules()[1].software_id, 43);
  EXPECT_EQ(chassis.slots(), 9u);
  EXPECT_EQ(Chassis().slots(), 0u);
}

TEST(ChassisFile, GivesARoleNothingThatItDoesNotList) {
  const Chassis chassis = parse(with("interfaces = [\"svc 1/1\", \"fc1/3-4\"]\nvsans = \"2-3\"\n", ""));
  ASSERT_NE(chassis.find_role("few"), nullptr);
  EXPECT_FALSE(chassis.find_role("few")->all_interfaces);
  EXPECT_TRUE(chassis.find_role("few")->interfaces.empty());
  EXPECT_TRUE(chassis.find_role("few")->vsans.none());
}

// ---- Mistakes --------------------------------------------------------------------------------------------------------

struct Wrong {
  const char* piece;
  const char* instead;
  const char* error;
};

constexpr Wrong kWrongInTheFile[] = {
    {"name = \"test\"", "name = 7", "f:1:8: 'name' must be a text"},
    {"name = \"test\"", "", "f:1:1: the file needs the key 'name'"},
    {"\"test\"", "\"\"", "f:1:8: 'name' must be 1 to 64 printable characters"},
    {"\"test\"", "\"a\\nb\"", "f:1:8: 'name' must be 1 to 64 printable characters"},
    {"vsans = \"1-10,20\"", "", "f:1:1: the file needs the key 'vsans'"},
    {"\"1-10,20\"", "[1]", "f:2:9: expected a number or a text of ranges such as \"1-24,30\""},
    {"\"1-10,20\"", "\"1-4096\"", "f:2:9: VSAN 4096 is out of range, 1 to 4095"},
    {"\"1-10,20\"", "4096", "f:2:9: VSAN 4096 is out of range, 1 to 4095"},
    {"\"1-10,20\"", "0", "f:2:9: VSAN 0 is out of range, 1 to 4095"},
    {"\"1-10,20\"", "-1", "f:2:9: VSAN -1 is out of range, 1 to 4095"},
    {"\"1-10,20\"", "\"10-5\"", "f:2:9: the range '10-5' runs backwards"},
    {"\"1-10,20\"", "\"1-10,5\"", "f:2:9: VSAN 5 is listed twice"},
    {"\"1-10,20\"", "\"1-\"", "f:2:9: '1-' is not a number or a range such as \"1-24\""},
    {"\"1-10,20\"", "\"\"", "f:2:9: '' is not a number or a range such as \"1-24\""},
    {"\"1-10,20\"", "\"1,,2\"", "f:2:9: '' is not a number or a range such as \"1-24\""},
    {"\"1-10,20\"", "\"1-2-3\"", "f:2:9: '1-2-3' is not a number or a range such as \"1-24\""},
    {"\"1-10,20\"", "\"99999999999999999999\"",
     "f:2:9: '99999999999999999999' is not a number or a range such as \"1-24\""},
    {"fcip = \"1-2\"", "fcpi = 1",
     "f:3:1: unknown key 'fcpi' in the file; known: name, vsans, down, fcip, module, port-channel, svc, "
     "rspan-tunnel, role"},
    {"[\"fc1/4\"]", "\"fc1/4\"", "f:4:8: expected a list of interfaces such as [\"fc1/1-4\", \"fcip 1\"]"},
    {"[\"fc1/4\"]", "[4]", "f:4:9: the name of an interface must be a text"},
    {"[\"fc1/4\"]", "[\"fc1/4\", \"fc9/1\"]", "f:4:18: unknown interface 'fc9/1'"},
    {"[\"fc1/4\"]", "[\"fc1/4-7\"]", "f:4:9: unknown interface 'fc1/7'"},
    {"[\"fc1/4\"]", "[\"fc1/4-2\"]", "f:4:9: the range 'fc1/4-2' runs backwards"},
    {"[\"fc1/4\"]", "[\"fc1/4\", \"fc1/3-4\"]", "f:4:18: 'fc1/4' is listed twice"},
    {"name = \"card\"", "", "f:6:1: [[module]] needs the key 'name'"},
};

constexpr Wrong kWrongInEntries[] = {
    {"number = 1\n", "number = 233\n", "f:7:10: 'number' 233 is out of range, 1 to 232"},
    {"number = 1\n", "number = \"1\"\n", "f:7:10: 'number' must be a number"},
    {"number = 1\n", "number = 2\n", "f:14:10: module 2 is there twice"},
    {"software-id = 43", "software-id = 65536", "f:9:15: 'software-id' 65536 is out of range, 0 to 65535"},
    {"software-id = 43", "state = \"on\"", "f:9:9: unknown state 'on'; known: online, silent, powered-down, absent"},
    {"software-id = 43", "traffic = 1000001", "f:9:11: 'traffic' 1000001 is out of range, 0 to 1000000"},
    {"software-id = 43", "state = \"absent\"", "f:10:12: an absent module has no interfaces"},
    {"software-id = 43", "supervisor = 1", "f:9:14: 'supervisor' must be true or false"},
    {"software-id = 43", "inband = 3", "f:9:10: only a supervisor has an in-band interface"},
    {"\"1-6\"", "\"1-256\"", "f:10:12: port 256 is out of range, 1 to 255"},
    {"inband = 0", "inband = 256", "f:17:10: 'inband' 256 is out of range, 0 to 255"},
    {"number = 3", "number = 257", "f:20:10: 'number' 257 is out of range, 1 to 256"},
    {"number = 3", "number = 3\nsubtype = 2", "f:21:11: 'subtype' 2 is out of range, 0 to 1"},
    {"number = 3", "number = 201", "f:26:13: interface 'port-channel 201' is there twice"},
    {"[\"fc1/2\", \"fc1/1\"]", "[\"iscsi 1/3\"]", "f:21:12: 'iscsi 1/3' is not a Fibre Channel interface"},
    {"[\"fc1/2\", \"fc1/1\"]", "[\"fc1/2\", \"fc1/6\"]", "f:31:10: 'fc1/6' belongs to 'port-channel 3' already"},
    {"[\"fc1/6\"]", "[\"fc1/6\"]\n[[rspan-tunnel]]\nnumber = 2\nports = [\"fc1/6\"]",
     "f:34:10: 'fc1/6' belongs to 'rspan-tunnel 1' already"},
    {"management = 203", "management = 201", "f:27:14: interface 'port-channel 201' is there twice"},
    {"module = 1\n", "module = 8\n", "f:24:10: there is no module 8"},
    {"[[svc]]", "[svc]", "f:23:1: 'svc' must be entries, each under a line [[svc]]"},
    {"[[role]]\nname = \"few\"", "[[role]]\nname = \"admin\"", "f:39:8: role 'admin' is there twice"},
    {"[\"svc 1/1\", \"fc1/3-4\"]", "[\"svc 1/1\", \"fc2/1\"]", "f:40:26: unknown interface 'fc2/1'"},
    {"[\"svc 1/1\", \"fc1/3-4\"]", "\"every\"",
     "f:40:14: expected a list of interfaces such as [\"fc1/1-4\", \"fcip 1\"]"},
    {"\"2-3\"", "\"2-3,11\"", "f:41:9: VSAN 11 does not exist"},
    {"\"2-3\"", "\"every\"", "f:41:9: 'every' is not a number or a range such as \"1-24\""},
};

TEST(ChassisMistakes, AreToldInOneLineWithTheirPlace) {
  for (const auto& [piece, instead, error] : kWrongInTheFile) EXPECT_EQ(error_of(with(piece, instead)), error);
  for (const auto& [piece, instead, error] : kWrongInEntries) EXPECT_EQ(error_of(with(piece, instead)), error);
}

TEST(ChassisMistakes, AThirdSupervisor) {
  const std::string two = "[[module]]\nnumber = 3\nname = \"s\"\nsupervisor = true\n";
  EXPECT_EQ(error_of(kSmall + two + "[[module]]\nnumber = 4\nname = \"s\"\nsupervisor = true\n"),
            "f:46:1: a switch has two supervisors at most");
}

TEST(ChassisMistakes, NoModulesOrRoles) {
  EXPECT_EQ(error_of("name = \"a\"\nvsans = 1\n"), "f:1:1: the file needs the key 'module'");
  EXPECT_EQ(error_of("name = \"a\"\nvsans = 1\n[[module]]\nnumber = 1\nname = \"m\"\n"),
            "f:1:1: the file needs the key 'role'");
  EXPECT_EQ(error_of("name = \"a\"\nvsans = 1\nmodule = []\n"), "f:3:10: 'module' needs at least one entry");
  EXPECT_EQ(error_of("name = \"a\"\nvsans = 1\nrole = []\n[[module]]\nnumber = 1\nname = \"m\"\n"),
            "f:3:8: 'role' needs at least one entry");
}

TEST(ChassisMistakes, TomlItself) {
  const std::string error = error_of("name = \"a\"\nvsans = = 1\n");
  EXPECT_EQ(error.substr(0, 6), "f:2:9:") << error;
  EXPECT_EQ(error.find('\n'), std::string::npos);
  EXPECT_EQ(error_of("a = tru\n"), "f:1:8: Error while parsing boolean: expected 'true', saw 'tru?'");
  EXPECT_EQ(error_of("name = \"a\"\nname = \"b\"\n").substr(0, 4), "f:2:");
  for (const char* text : {"[", "[\n", "[]", "[[]]", "[=", "a.", "\"", "'''", "\xFF", "{", "[[a].b]"}) {
    EXPECT_EQ(error_of(text).substr(0, 4), "f:1:") << text;
  }
}

// ---- Files -----------------------------------------------------------------------------------------------------------

TEST(ChassisFile, ThatCannotBeReadIsToldWithTheReason) {
  std::string error;
  EXPECT_FALSE(Chassis::load("/nonexistent/chassis.toml", error));
  EXPECT_EQ(error, "/nonexistent/chassis.toml: No such file or directory");
  EXPECT_FALSE(Chassis::load("/", error));
  EXPECT_EQ(error, "/: Is a directory");
  EXPECT_FALSE(Chassis::load("/dev/zero", error));
  EXPECT_EQ(error, "/dev/zero: Is a device or a socket");
}

TEST(ChassisFile, MayBeAPipeThatEnds) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], kSmall.data(), kSmall.size()), static_cast<ssize_t>(kSmall.size()));
  close(ends[1]);
  std::string error;
  const auto chassis = Chassis::load("/dev/fd/" + std::to_string(ends[0]), error);
  close(ends[0]);
  ASSERT_TRUE(chassis) << error;
  EXPECT_EQ(chassis->name(), "test");
}

TEST(ChassisFile, IsNotReadBeyondItsBound) {
  const std::string path = testing::TempDir() + "chassis_test_" + std::to_string(getpid());
  std::ofstream(path) << kSmall << std::string(1 << 20, '#');
  std::string error;
  EXPECT_FALSE(Chassis::load(path, error));
  std::remove(path.c_str());
  EXPECT_EQ(error, path + ": longer than a description can be, 1 MiB");
}

TEST(ChassisFile, IsLoadedFromDisk) {
  const std::string path = testing::TempDir() + "chassis_test.toml";
  std::ofstream(path) << kSmall;
  std::string error;
  const auto chassis = Chassis::load(path, error);
  std::remove(path.c_str());
  ASSERT_TRUE(chassis) << error;
  EXPECT_EQ(chassis->name(), "test");
}

TEST(DefaultChassis, HasWhatASwitchNeeds) {
  std::string error;
  const auto chassis = Chassis::load(chassis::default_description(), error);
  ASSERT_TRUE(chassis) << error;
  size_t fc_ports = 0, down = 0, tunnel_sources = 0;
  for (const Interface& each : chassis->interfaces()) {
    fc_ports += each.type == IfType::kFc;
    down += each.type == IfType::kFc && !each.up;
    tunnel_sources += each.rspan_tunnel != 0;
  }
  EXPECT_EQ(fc_ports, 48u);
  EXPECT_GT(down, 0u);
  EXPECT_EQ(tunnel_sources, 1u);
  EXPECT_NE(chassis->inband(), 0u);
  EXPECT_NE(chassis->find("fcip 1"), nullptr);
  EXPECT_NE(chassis->find("iscsi 1/3"), nullptr);
  EXPECT_FALSE(named(*chassis, "port-channel 3").members.empty());
  for (const uint32_t channel : named(*chassis, "svc 2/1").service_channels)
    EXPECT_EQ(chassis->find(channel)->subtype, 2);
  for (const char* role : {"network-admin", "network-operator", "san-a"}) EXPECT_NE(chassis->find_role(role), nullptr);
}

}  // namespace
