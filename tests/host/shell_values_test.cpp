// Values of commands as an operator types them.
#include "host/shell/values.h"

#include "tests/host/shell_support.h"

namespace shell {
namespace {

class ShellValues : public ShellTest {
 protected:
  // The value in words, or "column: what is wrong". What stands behind the value shows as " + rest".
  std::string read(Kind kind, std::string_view text) {
    Cursor at(text);
    Problem problem;
    const std::optional<Value> value = reader_.read(kind, at, problem);
    if (!value) return std::to_string(problem.column) + ": " + problem.text;
    return in_words(kind, *value) + (at.at_end() ? "" : " + " + std::string(text.substr(at.column())));
  }

  std::string in_words(Kind kind, const Value& value) {
    if (const uint32_t* number = std::get_if<uint32_t>(&value)) {
      return kind == Kind::kInterface ? name(*number) : std::to_string(*number);
    }
    if (const VsanRange* vsans = std::get_if<VsanRange>(&value)) {
      return std::to_string((*vsans)[0]) + "-" + std::to_string((*vsans)[1]);
    }
    if (const std::string* text = std::get_if<std::string>(&value)) return *text;
    return describe(std::get<span_if_range_list_t>(value));
  }

  std::string session(std::string_view text) { return read(Kind::kSession, text); }
  std::string vsans(std::string_view text) { return read(Kind::kVsanRange, text); }
  std::string interface(std::string_view text) { return read(Kind::kInterface, text); }
  std::string interfaces(std::string_view text) { return read(Kind::kInterfaceRanges, text); }

  const ValueReader reader_{chassis()};
};

constexpr char kBadSession[] = "0: a session number is 1 to 16";
constexpr char kBadVsan[] = "0: a VSAN is 0 to 4095";
constexpr char kNoName[] = "0: expected an interface name, like fc1/1 or port-channel 3";

TEST_F(ShellValues, SessionNumbers) {
  EXPECT_EQ(session("1"), "1");
  EXPECT_EQ(session("16 brief"), "16 +  brief");
  for (const char* wrong : {"0", "17", "4294967299", "99999999999999999999", "-1", "+1", "x", "3x", "1-2", ""}) {
    EXPECT_EQ(session(wrong), kBadSession) << wrong;
  }
}

TEST_F(ShellValues, Thresholds) {
  EXPECT_EQ(read(Kind::kPackets, "1"), "1");
  EXPECT_EQ(read(Kind::kPackets, "65535"), "65535");
  for (const char* wrong : {"0", "65536", "4294967295", "-1", "1-2", "x", ""}) {
    EXPECT_EQ(read(Kind::kPackets, wrong), "0: a number of packets is 1 to 65535") << wrong;
  }
}

TEST_F(ShellValues, Tests) {
  EXPECT_EQ(read(Kind::kTest, "0"), "0");
  EXPECT_EQ(read(Kind::kTest, "5"), "5");
  for (const char* wrong : {"6", "-1", "4294967296", "x", ""}) {
    EXPECT_EQ(read(Kind::kTest, wrong), "0: a test is 0 to 5") << wrong;
  }
}

TEST_F(ShellValues, Files) {
  EXPECT_EQ(read(Kind::kFile, "a/b.span now"), "a/b.span +  now");
  EXPECT_EQ(read(Kind::kFile, ""), "0: expected the name of a file");
}

TEST_F(ShellValues, Vsans) {
  EXPECT_EQ(vsans("0"), "0-0");
  EXPECT_EQ(vsans("4095"), "4095-4095");
  EXPECT_EQ(vsans("10-20"), "10-20");
  EXPECT_EQ(vsans("7-7"), "7-7");
  EXPECT_EQ(vsans("10 - 20 rx"), "10-20 +  rx");
  for (const char* wrong : {"4096", "x", "-5", "4294967297", ""}) EXPECT_EQ(vsans(wrong), kBadVsan) << wrong;
}

TEST_F(ShellValues, WrongEndsOfVsanRanges) {
  EXPECT_EQ(vsans("10-5"), "3: the range ends before it begins");
  EXPECT_EQ(vsans("10-4096"), "3: a VSAN is 0 to 4095");
  EXPECT_EQ(vsans("10-"), "3: a VSAN is 0 to 4095");
  EXPECT_EQ(vsans("10 - x"), "5: a VSAN is 0 to 4095");
}

TEST_F(ShellValues, InterfaceNames) {
  for (const char* name :
       {"fc1/1", "fc2/130", "port-channel 3", "fcip 2", "iscsi 1/3", "svc 2/1", "sup-fc0", "port-channel 201"}) {
    EXPECT_EQ(interface(name), name);
  }
}

TEST_F(ShellValues, BlanksBeforeTheNumberAreFree) {
  EXPECT_EQ(interface("port-channel3"), "port-channel 3");
  EXPECT_EQ(interface("port-channel   3 rx"), "port-channel 3 +  rx");
  EXPECT_EQ(interface("fc 1/1"), "fc1/1");
}

TEST_F(ShellValues, StemsMayBeShort) {
  EXPECT_EQ(interface("po 3"), "port-channel 3");
  EXPECT_EQ(interface("i 1/2"), "iscsi 1/2");
  EXPECT_EQ(interface("fci 1"), "fcip 1");
  EXPECT_EQ(interface("su0"), "sup-fc0");
}

TEST_F(ShellValues, StemsMustBeClear) {
  EXPECT_EQ(interface("f 1/1"), "0: this may be fc or fcip");
  EXPECT_EQ(interface("s 2/1"), "0: this may be sup-fc or svc");
}

TEST_F(ShellValues, InterfacesThatAreNotThere) {
  for (const char* wrong :
       {"fc9/99", "fc1/13", "fc1", "fc1/1/1", "port-channel 5", "eth 1/1", "fc1/99999999999999", "fc01/01"}) {
    EXPECT_EQ(interface(wrong), "0: there is no interface " + std::string(wrong));
  }
}

TEST_F(ShellValues, NoInterfaceNameAtAll) {
  for (const char* wrong : {"", "1", "/", "-", "fc", "port-channel", "port-channel x", ","}) {
    EXPECT_EQ(interface(wrong), kNoName) << wrong;
  }
}

TEST_F(ShellValues, Ranges) {
  EXPECT_EQ(interfaces("fc1/1"), "fc1/1..fc1/1");
  EXPECT_EQ(interfaces("fc1/1-4"), "fc1/1..fc1/4");
  EXPECT_EQ(interfaces("fc1/1 - fc1/4"), "fc1/1..fc1/4");
  EXPECT_EQ(interfaces("fc1/1-fc1/4 rx"), "fc1/1..fc1/4 +  rx");
  EXPECT_EQ(interfaces("fc1/1 - 4"), "fc1/1..fc1/4");
  EXPECT_EQ(interfaces("iscsi 1/1-3"), "iscsi 1/1..iscsi 1/3");
  EXPECT_EQ(interfaces("port-channel 3-4"), "port-channel 3..port-channel 4");
  EXPECT_EQ(interfaces("port-channel 3 - port-channel 4"), "port-channel 3..port-channel 4");
}

TEST_F(ShellValues, Lists) {
  EXPECT_EQ(interfaces("fc1/1-4, fc2/1"), "fc1/1..fc1/4, fc2/1..fc2/1");
  EXPECT_EQ(interfaces("fc1/1,fc2/1 , port-channel 3  tx"),
            "fc1/1..fc1/1, fc2/1..fc2/1, port-channel 3..port-channel 3 +   tx");
}

TEST_F(ShellValues, WrongRanges) {
  EXPECT_EQ(interfaces("fc1/1-fc2/3"), "6: a range stays on one module and one type of interface");
  EXPECT_EQ(interfaces("fc1/1-iscsi 1/3"), "6: a range stays on one module and one type of interface");
  EXPECT_EQ(interfaces("port-channel 3 - fcip 1"), "17: a range stays on one module and one type of interface");
  EXPECT_EQ(interfaces("fc1/4-1"), "6: the range ends before it begins");
  EXPECT_EQ(interfaces("fc1/1-13"), "6: there is no interface fc1/13");
  EXPECT_EQ(interfaces("fc1/1-"), "6: expected an interface name, like fc1/1 or port-channel 3");
  EXPECT_EQ(interfaces("fc1/1, "), "7: expected an interface name, like fc1/1 or port-channel 3");
  EXPECT_EQ(interfaces("fc1/1,,fc1/2"), "6: expected an interface name, like fc1/1 or port-channel 3");
  EXPECT_EQ(interfaces("fc1/1, fc9/99"), "7: there is no interface fc9/99");
}

TEST_F(ShellValues, AtMost64Ranges) {
  std::string list = "fc2/1";
  for (int port = 2; port <= 64; ++port) list += ",fc2/" + std::to_string(port);
  EXPECT_EQ(interfaces(list).find(':'), std::string::npos);
  const std::string column = std::to_string(list.size() + 1);
  EXPECT_EQ(interfaces(list + ",fc2/65"), column + ": a list has at most 64 ranges");
}

}  // namespace
}  // namespace shell
