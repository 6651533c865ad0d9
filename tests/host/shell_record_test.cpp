// The command record that each command hands to its handler.
#include <cstring>

#include "host/shell/handlers.h"
#include "tests/host/shell_support.h"

namespace shell {
namespace {

class CommandRecords : public ShellTest {
 protected:
  Command parse(std::string_view line, Mode mode) {
    const std::variant<Command, Problem> parsed = parser_.parse(line, mode);
    if (const Problem* problem = std::get_if<Problem>(&parsed)) ADD_FAILURE() << line << ": " << problem->text;
    return std::get<Command>(parsed);
  }

  // What a command of session 3 becomes.
  void expect_session(std::string_view line, Handler handler, const std::string& tokens, bool negated = false) {
    expect(parse(line, Mode::kSpan), {{kSessionToken}, SPAN_VALUE_NUMBER, 3u}, handler, tokens, negated);
  }

  void expect_interface(std::string_view line, const std::string& tokens, bool negated = false) {
    span_if_range_list_t list{};
    list.count = 1;
    list.ranges[0] = {chassis().find("fc1/1")->if_index, chassis().find("fc1/4")->if_index};
    expect(parse(line, Mode::kInterface), {{SPAN_TOKEN_CONF_INTF}, kInterfaceRangesValue, list},
           span_cli_set_port_config, tokens, negated);
  }

  void expect_plain(std::string_view line, Mode mode, Handler handler, const std::string& tokens,
                    bool negated = false) {
    const Command command = parse(line, mode);
    const CommandRecord record(who_, nullptr, command, 0);
    EXPECT_EQ(std::get<Handler>(command.form->action), handler) << line;
    EXPECT_EQ(describe(*record.get()), tokens) << line;
    EXPECT_EQ(record.get()->negated, negated ? 1u : 0u) << line;
  }

  void expect(const Command& command, const Token& context, Handler handler, const std::string& tokens, bool negated) {
    const CommandRecord record(who_, &context, command, 0);
    EXPECT_EQ(std::get<Handler>(command.form->action), handler) << tokens;
    EXPECT_EQ(describe(*record.get()), tokens);
    EXPECT_EQ(record.get()->negated, negated ? 1u : 0u) << tokens;
  }

  const Parser parser_{chassis()};
  const Operator who_{"ann", role("operator")};
};

TEST_F(CommandRecords, FieldsOfEveryRecord) {
  const Command command = parse("span session 7", Mode::kConfig);
  const CommandRecord record(who_, nullptr, command, 0);
  const span_cli_parms_t& parms = *record.get();
  EXPECT_EQ(parms.token_count, 1);
  EXPECT_EQ(parms.negated, 0u);
  EXPECT_EQ(parms.skip, 0u);
  EXPECT_EQ(parms.queue, host::switch_queue());
  EXPECT_STREQ(parms.requester1, "ann");
  EXPECT_STREQ(parms.requester2, "spansh");
  EXPECT_EQ(parms.tokens[0], nullptr);
  EXPECT_EQ(parms.tokens[2], nullptr);
  for (const uint32_t word : parms.unused3) EXPECT_EQ(word, 0u);
  for (const uint32_t word : parms.tokens[1]->unused) EXPECT_EQ(word, 0u);
}

TEST_F(CommandRecords, DisplayContextIsThatOfTheRole) {
  const Command command = parse("show span session", Mode::kExec);
  const CommandRecord record({"ann", role("guest")}, nullptr, command, 0);
  uintptr_t wanted[8] = {};
  host::set_display_role(wanted, *role("guest"));
  EXPECT_EQ(std::memcmp(record.get()->display_ctx, wanted, sizeof wanted), 0);
}

TEST_F(CommandRecords, LongUserNamesEndInsideTheirField) {
  const Command command = parse("show span session", Mode::kExec);
  const CommandRecord record({std::string(200, 'u'), role("operator")}, nullptr, command, 0);
  EXPECT_EQ(record.get()->requester1, std::string(63, 'u'));
  EXPECT_STREQ(record.get()->requester2, "spansh");
}

TEST_F(CommandRecords, CreateAndDeleteSession) {
  expect_plain("span session 7", Mode::kConfig, span_cli_create_session_id, "100:7");
  expect_plain("no span session 7", Mode::kConfig, span_cli_create_session_id, "100:7", true);
  expect_plain("span session 16", Mode::kSpan, span_cli_create_session_id, "100:16");
}

TEST_F(CommandRecords, Destination) {
  expect_session("destination interface fc1/2", span_cli_set_dest_config, "100:3 | 101:fc1/2");
  expect_session("no destination interface port-channel 3", span_cli_set_dest_config, "100:3 | 101:port-channel 3",
                 true);
}

TEST_F(CommandRecords, Suspend) {
  expect_session("suspend", span_cli_set_session_state, "100:3");
  expect_session("no suspend", span_cli_set_session_state, "100:3", true);
}

TEST_F(CommandRecords, SourceVsans) {
  expect_session("source vsan 10", span_cli_set_src_config_vsan, "100:3 | 102:10-10");
  expect_session("no source vsan 1-4095", span_cli_set_src_config_vsan, "100:3 | 102:1-4095", true);
}

TEST_F(CommandRecords, SessionFilter) {
  expect_session("source filter vsan 1-10", span_cli_set_src_config_ssn_filter, "100:3 | 6:1-10");
  expect_session("no source filter vsan 0", span_cli_set_src_config_ssn_filter, "100:3 | 6:0-0", true);
}

TEST_F(CommandRecords, KeepsDirectionsAsIdsOfTheSessionFilter) {
  expect_session("source filter vsan 5 rx", span_cli_set_src_config_ssn_filter, "100:3 | 6:5-5 | 1:-");
  expect_session("source filter vsan 5 tx", span_cli_set_src_config_ssn_filter, "100:3 | 6:5-5 | 2:-");
}

TEST_F(CommandRecords, SourceInterfaces) {
  expect_session("source interface fc1/1", span_cli_set_src_config_if, "100:3 | 1:fc1/1..fc1/1");
  expect_session("source interface fc1/1-4, fc2/1 rx", span_cli_set_src_config_if_dir,
                 "100:3 | 1:fc1/1..fc1/4, fc2/1..fc2/1 | 2:-");
  expect_session("no source interface port-channel 3 tx", span_cli_set_src_config_if_dir,
                 "100:3 | 1:port-channel 3..port-channel 3 | 3:-", true);
}

TEST_F(CommandRecords, TrafficTypes) {
  const Handler handler = span_cli_set_src_config_if_dir_traffic_type;
  expect_session("source interface svc 2/1 traffic-type mgmt", handler, "100:3 | 1:svc 2/1..svc 2/1 | 104:- | 17:-");
  expect_session("source interface svc 2/1 rx traffic-type initiator", handler,
                 "100:3 | 1:svc 2/1..svc 2/1 | 2:- | 104:- | 18:-");
  expect_session("no source interface svc 2/1 tx traffic-type target", handler,
                 "100:3 | 1:svc 2/1..svc 2/1 | 3:- | 104:- | 19:-", true);
}

TEST_F(CommandRecords, FilterOfSourceInterfaces) {
  const Handler handler = span_cli_set_src_config_if_dir_filter;
  expect_session("source interface fc1/1 filter vsan 1-10", handler, "100:3 | 1:fc1/1..fc1/1 | 104:- | 102:1-10");
  expect_session("source interface fc1/1 rx filter vsan 5", handler, "100:3 | 1:fc1/1..fc1/1 | 2:- | 104:- | 102:5-5");
  expect_session("no source interface fc1/1 tx filter vsan 5", handler,
                 "100:3 | 1:fc1/1..fc1/1 | 3:- | 104:- | 102:5-5", true);
}

TEST_F(CommandRecords, PortModes) {
  const std::string start = std::to_string(SPAN_TOKEN_CONF_INTF) + ":fc1/1..fc1/4 | 12:-";
  expect_interface("port mode normal", start + " | 103:0");
  expect_interface("port mode span-destination", start + " | 103:1");
  expect_interface("port mode tunnel-source", start + " | 103:2");
  expect_interface("no port mode tunnel-source", start + " | 103:2", true);
  expect_interface("no port mode", start, true);
}

// The handlers look for the number at the last place and at the one before it.
TEST_F(CommandRecords, ShowSessions) {
  for (const Mode mode : {Mode::kExec, Mode::kConfig, Mode::kSpan, Mode::kInterface}) {
    expect_plain("show span session", mode, span_cli_show_session_info, "104:-");
    expect_plain("show span session 5", mode, span_cli_show_session_info, "104:- | 100:5");
    expect_plain("show span session brief", mode, span_cli_show_session_info_brief, "104:- | 104:-");
    expect_plain("show span session 5 brief", mode, span_cli_show_session_info_brief, "104:- | 100:5 | 104:-");
  }
}

TEST_F(CommandRecords, DropThreshold) {
  const Handler handler = span_cli_set_drop_threshold;
  expect_plain("span max-queued-packets 512", Mode::kConfig, handler, "105:512");
  expect_plain("no span max-queued-packets 512", Mode::kConfig, handler, "105:512", true);
  expect_plain("no span max-queued-packets", Mode::kInterface, handler, "", true);
  expect_plain("show span max-queued-packets", Mode::kSpan, span_cli_get_drop_threshold, "");
}

TEST_F(CommandRecords, RunningConfigurationAndCounters) {
  expect_plain("show running-config span", Mode::kExec, span_cli_generate_session_config, "");
  expect_plain("show span drop-counters", Mode::kExec, span_cli_get_drop_counters, "");
}

// Byte 0 of what is sent is the id of the last keyword, and the manager knows these numbers.
TEST_F(CommandRecords, Dumps) {
  expect_plain("show span internal info session 3", Mode::kExec, span_cli_dump_session, "100:3");
  expect_plain("show span internal info interface fc1/2", Mode::kExec, span_cli_dump_if, "101:fc1/2");
  expect_plain("show span internal info", Mode::kExec, span_cli_dump_global_info, "");
  expect_plain("show span internal info global", Mode::kExec, span_cli_dump_global_info, "20:-");
  expect_plain("show span internal event-history session 16", Mode::kExec, span_cli_eventlog_session, "100:16");
  expect_plain("show span internal event-history interface svc 2/1", Mode::kExec, span_cli_eventlog_if, "101:svc 2/1");
  expect_plain("show span internal event-history", Mode::kExec, span_cli_eventlog_stats, "");
  expect_plain("show span internal event-history stats", Mode::kExec, span_cli_eventlog_stats, "21:-");
  expect_plain("show span internal event-history msgs", Mode::kExec, span_cli_eventlog_stats, "22:-");
  expect_plain("show span internal event-history errors", Mode::kExec, span_cli_eventlog_stats, "23:-");
}

// The library tells this one keyword from all others by its id.
TEST_F(CommandRecords, KeepsTheIdOfMemoryInDetail) {
  expect_plain("show span internal memory", Mode::kExec, span_cli_dump_memstats, "104:-");
  expect_plain("show span internal memory detail", Mode::kExec, span_cli_dump_memstats, "104:- | 8:-");
}

TEST_F(CommandRecords, ScriptsOfDumps) {
  expect_plain("show span internal all session 3", Mode::kExec, span_cli_int_all_session, "100:3");
  expect_plain("show span internal all interface fc1/2", Mode::kExec, span_cli_int_all_if, "101:fc1/2");
}

TEST_F(CommandRecords, TestsAndTunnels) {
  expect_plain("test span 5", Mode::kSpan, run_test, "106:5");
  expect_plain("show rspan-tunnel interface fc1/2", Mode::kExec, show_rspan_tunnel, "101:fc1/2");
}

TEST_F(CommandRecords, CopyTakesTheNameAsItIs) {
  const Command command = parse("copy running-config  ../Switch-1.span ", Mode::kExec);
  const CommandRecord record(who_, nullptr, command, 0);
  EXPECT_EQ(std::get<Builtin>(command.form->action), Builtin::kCopyRunningConfig);
  EXPECT_EQ(describe(*record.get()), "107:../Switch-1.span");
}

TEST_F(CommandRecords, SixtyFourRangesFit) {
  std::string line = "source interface fc2/1";
  for (int port = 3; port <= 127; port += 2) line += ",fc2/" + std::to_string(port);
  const Command command = parse(line, Mode::kSpan);
  EXPECT_EQ(std::get<span_if_range_list_t>(command.tokens[0].value).count, 64u);
}

// ---- Lines of a running configuration -------------------------------------------------------------------------------

TEST_F(CommandRecords, KeepsDoubledBlanksOfRunningConfigurations) {
  expect_session("source filter vsan  10", span_cli_set_src_config_ssn_filter, "100:3 | 6:10-10");
  expect_session("source vsan  5", span_cli_set_src_config_vsan, "100:3 | 102:5-5");
  expect_session("source interface fc1/1 rx filter vsan  5", span_cli_set_src_config_if_dir_filter,
                 "100:3 | 1:fc1/1..fc1/1 | 2:- | 104:- | 102:5-5");
}

TEST_F(CommandRecords, KeepsEmptyFiltersOfRunningConfigurations) {
  const std::string source = "100:3 | 1:fc1/1..fc1/1 | 2:-";
  expect_session("source interface fc1/1 rx ", span_cli_set_src_config_if_dir, source);
  expect_session("source interface fc1/1 rx filter vsan ", span_cli_set_src_config_if_dir, source);
  expect_session("source interface fc1/1 rx traffic-type ", span_cli_set_src_config_if_dir, source);
  expect_session("source interface fc1/1 rx filter vsan traffic-type ", span_cli_set_src_config_if_dir, source);
  expect_session("source interface svc 2/1 rx filter vsan traffic-type target",
                 span_cli_set_src_config_if_dir_traffic_type, "100:3 | 1:svc 2/1..svc 2/1 | 2:- | 104:- | 19:-");
}

TEST_F(CommandRecords, KeepsTrafficTypesWrittenTogether) {
  const struct {
    const char* text;
    std::vector<std::string> types;
  } cases[] = {
      {"target", {"19"}},
      {"targetinitiator", {"19", "18"}},
      {"targetmgmt", {"19", "17"}},
      {"initiatormgmt", {"18", "17"}},
      {"targetinitiatormgmt", {"19", "18", "17"}},
  };
  const Token context{{kSessionToken}, SPAN_VALUE_NUMBER, 3u};
  for (const auto& [text, types] : cases) {
    const Command command = parse(std::string("source interface svc 2/1 tx traffic-type ") + text, Mode::kSpan);
    ASSERT_EQ(count_runs(command), types.size()) << text;
    for (size_t run = 0; run < types.size(); ++run) {
      const CommandRecord record(who_, &context, command, run);
      EXPECT_EQ(describe(*record.get()), "100:3 | 1:svc 2/1..svc 2/1 | 3:- | 104:- | " + types[run] + ":-") << text;
    }
  }
}

TEST_F(CommandRecords, OneRunWithoutTrafficTypes) {
  EXPECT_EQ(count_runs(parse("show span session", Mode::kExec)), 1u);
  EXPECT_EQ(count_runs(parse("suspend", Mode::kSpan)), 1u);
}

}  // namespace
}  // namespace shell
