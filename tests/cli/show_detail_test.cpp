// Sessions in detail.
#include <algorithm>

#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

// Interfaces fc1/1 to fc1/48.
constexpr uint32_t fc(uint32_t port) { return 0x01000000 + 0x1000 * (port - 1); }

std::vector<uint32_t> fc_list(uint32_t count) {
  std::vector<uint32_t> list;
  for (uint32_t port = 1; port <= count; ++port) list.push_back(fc(port));
  return list;
}

// Where a line starts, 0 being the first.
size_t line_start(const std::string& screen, size_t line) {
  size_t at = 0;
  for (; line != 0 && at < screen.size(); --line) at = std::min(screen.find('\n', at), screen.size() - 1) + 1;
  return at;
}

// The lines `first` to `end`, the latter not included.
std::string lines(const std::string& screen, size_t first, size_t end = 100) {
  const size_t start = line_start(screen, first);
  return screen.substr(start, line_start(screen, end) - start);
}

class ShowDetail : public CliTest {
 protected:
  ShowDetail() {
    for (uint32_t port = 1; port <= 48; ++port) {
      fake.interfaces[fc(port)] = {.type = 1, .name = "fc1/" + std::to_string(port), .subtype = {}};
    }
  }

  void answer(const SessionRecord& session) { fake.expect_exchange(2001).gives(session.response()); }

  void answer_if(const SourceInterface& source) { fake.expect_exchange(2010).gives(source.response()); }

  void answer_ifs(const std::vector<uint32_t>& list) {
    for (const uint32_t if_index : list) answer_if({.if_index = if_index});
  }

  // The screen of one session.
  std::string screen(const SessionRecord& session, const Command& command) {
    const Bytes record = session.bytes();
    run([&] { span_print_get_session_info(command, 0, record.data(), 0); });
    return printed();
  }

  std::string screen(const SessionRecord& session) { return screen(session, Command()); }
};

TEST_F(ShowDetail, AWholeSession) {
  Command command;
  command.keyword(1).number(3);
  answer({.session = 3,
          .destination = fc(9),
          .has_destination = 1,
          .filter_vsans = {{1, 5}, {7, 7}, {10, 12}},
          .rx_vsans = {{20, 21}, {4093, 4093}},
          .rx = {fc(1), kPortChannel},
          .tx = {fc(2)}});
  answer_if({.if_index = fc(1), .rx_filter = 1, .vsans = {{1, 10}}});
  answer_if({.if_index = kPortChannel});
  answer_if({.if_index = fc(2), .tx_filter = 1, .vsans = {{4, 4}}});
  EXPECT_EQ(call(span_cli_show_session_info, command), 0u);
  EXPECT_EQ(printed(),
            "Session 3 (active)\n"
            "   Destination is fc1/9\n"
            "   Session filter vsans are 1-5,7,10-12\n"
            "   Ingress (rx) sources are \n"
            "      vsans 20-21,4093\n"
            "     fc1/1 (vsan 1-10), port-channel 3, \n"
            "   Egress (tx) sources are \n"
            "     fc1/2 (vsan 4), \n"
            "\n");
}

TEST_F(ShowDetail, AsksForTheSessionThenChecksThenAsksForEachInterface) {
  Command command;
  fake.name_pointer(command.parms()->display_ctx, "display_ctx");
  fake.allowed_vsans.emplace();
  command.number(3);
  answer(
      {.session = 5, .destination = fc(9), .has_destination = 1, .rx_vsans = {{6, 6}}, .rx = {fc(1)}, .tx = {fc(2)}});
  answer_ifs({fc(1), fc(2)});
  EXPECT_EQ(call(span_cli_show_session_info, command), 0u);
  EXPECT_EQ(printed(),
            "Session 5 (active)\n"
            "   Destination is fc1/9\n"
            "   No session filters configured\n"
            "   Ingress (rx) sources are \n"
            "      vsans 6\n"
            "     fc1/1, \n"
            "   Egress (tx) sources are \n"
            "     fc1/2, \n"
            "\n");
  EXPECT_EQ(fake.calls(),
            "vex_req_resp(2001, 1, [4 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
            "brio_is_vsan_allowed(display_ctx, 6)\n"
            "brio_is_interface_display_allowed(7, display_ctx, 0x1000000)\n"
            "sprintf_if_index(0x1008000)\n"
            "vex_req_resp(2010, 1, [8 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
            "if_index_get_type(0x1000000)\n"
            "sprintf_if_index(0x1000000)\n"
            "vex_req_resp(2010, 1, [8 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
            "if_index_get_type(0x1001000)\n"
            "sprintf_if_index(0x1001000)\n");
  EXPECT_EQ(fake.exchanges[0].payload[0], 2);
  EXPECT_TRUE(same_bytes(slice(fake.exchanges[1].payload, 0, 6), hex("5b a5 a5 5a 04 01")));
  EXPECT_TRUE(same_bytes(slice(fake.exchanges[2].payload, 0, 6), hex("5b a5 b5 5a 04 02")));
}

TEST_F(ShowDetail, ASessionWithNothing) {
  EXPECT_EQ(screen({.session = 16}),
            "Session 16 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   No ingress (rx) sources\n"
            "   No egress (tx) sources\n"
            "\n");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(ShowDetail, NothingForANullRecord) {
  EXPECT_EQ(run([] { return span_cli_show_session_info(nullptr); }), 0u);
  EXPECT_EQ(printed(), "");
}

// ---- Configured and allowed ------------------------------------------------------------------------------------------

TEST_F(ShowDetail, ASessionThatIsNotConfiguredIsToldWhenItIsTheOnlyOne) {
  Command command;
  command.number(5);
  answer({.session = 5, .configured = 0});
  EXPECT_EQ(call(span_cli_show_session_info, command), 0u);
  EXPECT_EQ(printed(), "Session 5 is not configured\n");
}

TEST_F(ShowDetail, ASessionThatIsNotConfiguredIsLeftOutOfAList) {
  const Bytes record = SessionRecord{.session = 5, .configured = 0, .rx = {fc(1)}}.bytes();
  run([&] { span_print_get_session_info(Command(), 0, record.data(), 1); });
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(ShowDetail, AnyValueButZeroIsConfigured) {
  EXPECT_EQ(lines(screen({.session = 2, .configured = 0x80}), 0, 1), "Session 2 (active)\n");
}

TEST_F(ShowDetail, ASessionThatTheOperatorMayNotSeeIsOmitted) {
  fake.allowed_interfaces.emplace();
  Command command;
  command.number(3);
  answer({.session = 3, .destination = fc(9), .has_destination = 1, .rx = {fc(1)}, .tx = {fc(2)}});
  EXPECT_EQ(call(span_cli_show_session_info, command), 0u);
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls("sprintf"), "");
}

TEST_F(ShowDetail, OneAllowedSourceShowsTheWholeSession) {
  fake.allowed_vsans.emplace();
  fake.allowed_interfaces = {fc(2)};
  answer_ifs({fc(1), fc(2)});
  EXPECT_EQ(screen({.session = 3, .rx_vsans = {{6, 6}}, .rx = {fc(1)}, .tx = {fc(2)}}),
            "Session 3 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   Ingress (rx) sources are \n"
            "      vsans 6\n"
            "     fc1/1, \n"
            "   Egress (tx) sources are \n"
            "     fc1/2, \n"
            "\n");
}

TEST_F(ShowDetail, AllSessionsAreThoseThatAreConfiguredAndMayBeSeen) {
  fake.allowed_interfaces = {fc(1)};
  for (uint8_t number = 1; number <= 16; ++number) {
    const uint8_t configured = number == 2 || number == 5 || number == 16;
    answer({.session = number, .configured = configured, .oper_state = 2, .tx = {number == 5 ? fc(2) : fc(1)}});
    if (configured != 0 && number != 5) answer_ifs({fc(1)});
  }
  EXPECT_EQ(call(span_cli_show_session_info, Command()), 0u);
  EXPECT_EQ(printed(),
            "Session 2 (inactive as destination is down)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   No ingress (rx) sources\n"
            "   Egress (tx) sources are \n"
            "     fc1/1, \n"
            "\n"
            "Session 16 (inactive as destination is down)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   No ingress (rx) sources\n"
            "   Egress (tx) sources are \n"
            "     fc1/1, \n"
            "\n");
}

// ---- State -----------------------------------------------------------------------------------------------------------

TEST_F(ShowDetail, TheOperationalStateIsTold) {
  struct Case {
    uint8_t oper_state;
    const char* line;
  };
  for (const auto& [oper_state, line] : {
           Case{0, "Session 1 (active)\n"},
           Case{1, "Session 1 (inactive as no active sources)\n"},
           Case{2, "Session 1 (inactive as destination is down)\n"},
           Case{3, "Session 1 (inactive as no active sources)\n"},
           Case{4, "Session 1 (inactive as no destination)\n"},
           Case{5, "Session 1 (inactive as no active sources)\n"},
           Case{255, "Session 1 (inactive as no active sources)\n"},
       }) {
    EXPECT_EQ(lines(screen({.session = 1, .oper_state = oper_state}), 0, 1), line) << int{oper_state};
  }
}

TEST_F(ShowDetail, SuspensionGoesBeforeEveryOtherReason) {
  for (const uint8_t oper_state : Bytes{1, 2, 3, 4, 255}) {
    for (const uint32_t suspended : {1u, 0x01000000u, 0x00000100u}) {
      EXPECT_EQ(lines(screen({.session = 1, .oper_state = oper_state, .suspended = suspended}), 0, 1),
                "Session 1 (admin suspended)\n")
          << int{oper_state} << " " << suspended;
    }
  }
}

TEST_F(ShowDetail, KeepsActiveAlthoughSuspended) {
  EXPECT_EQ(lines(screen({.session = 1, .oper_state = 0, .suspended = 1}), 0, 1), "Session 1 (active)\n");
}

TEST_F(ShowDetail, TheDestinationIsShownOnlyWhenItIsConfigured) {
  EXPECT_EQ(screen({.session = 1, .destination = fc(1), .has_destination = 0}),
            "Session 1 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   No ingress (rx) sources\n"
            "   No egress (tx) sources\n"
            "\n");
  EXPECT_EQ(lines(screen({.session = 1, .destination = fc(1), .has_destination = 0x0100}), 1, 2),
            "   Destination is fc1/1\n");
  EXPECT_EQ(fake.calls(), "sprintf_if_index(0x1000000)\n");
}

TEST_F(ShowDetail, ALongNameIsPrintedWhole) {
  const std::string name(127, 'n');
  fake.interfaces[fc(1)].name = name;
  EXPECT_EQ(lines(screen({.session = 1, .destination = fc(1), .has_destination = 1}), 1, 2),
            "   Destination is " + name + "\n");
}

// ---- VSANs -----------------------------------------------------------------------------------------------------------

TEST_F(ShowDetail, All4096VsansAreOneRange) {
  EXPECT_EQ(screen({.session = 1, .filter_vsans = {{0, 4095}}, .rx_vsans = {{0, 4095}}}),
            "Session 1 (active)\n"
            "   Destination is not configured\n"
            "   Session filter vsans are 0-4095\n"
            "   Ingress (rx) sources are \n"
            "      vsans 0-4095\n"
            "   No egress (tx) sources\n"
            "\n");
}

TEST_F(ShowDetail, TheLengthWordsOfTheVsansAreNotRead) {
  EXPECT_EQ(lines(screen({.session = 1, .filter_length = 0, .filter_vsans = {{4095, 4095}}}), 2, 3),
            "   Session filter vsans are 4095\n");
  EXPECT_EQ(lines(screen({.session = 1, .rx_vsans_length = 0, .rx_vsans = {{0, 0}}}), 3, 5),
            "   Ingress (rx) sources are \n"
            "      vsans 0\n");
}

TEST_F(ShowDetail, TheLongestRangeTextsArePrintedWhole) {
  Vsans vsans;
  std::string ranges;
  for (uint32_t vsan = 0; vsan < 4095; vsan += 3) {
    vsans.push_back({vsan, vsan + 1});
    ranges += std::to_string(vsan) + "-" + std::to_string(vsan + 1) + ",";
  }
  vsans.push_back({4095, 4095});
  ranges += "4095";
  const std::string whole = screen({.session = 1, .filter_vsans = vsans, .rx_vsans = vsans});
  EXPECT_EQ(lines(whole, 2, 3), "   Session filter vsans are " + ranges + "\n");
  EXPECT_EQ(lines(whole, 3, 4), "   Ingress (rx) sources are \n");
  EXPECT_EQ(lines(whole, 4, 5), "      vsans " + ranges + "\n");
  EXPECT_EQ(lines(whole, 5),
            "   No egress (tx) sources\n"
            "\n");
  EXPECT_EQ(heap::requests(), 0u);
}

// ---- Interface lists -------------------------------------------------------------------------------------------------

TEST_F(ShowDetail, IngressInterfacesWithoutVsansHaveTheHeadlineOnce) {
  answer_ifs({fc(1)});
  EXPECT_EQ(screen({.session = 1, .rx = {fc(1)}}),
            "Session 1 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   Ingress (rx) sources are \n"
            "     fc1/1, \n"
            "   No egress (tx) sources\n"
            "\n");
}

TEST_F(ShowDetail, EgressInterfacesAlone) {
  answer_ifs({fc(1), fc(2)});
  EXPECT_EQ(screen({.session = 1, .tx = {fc(1), fc(2)}}),
            "Session 1 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   No ingress (rx) sources\n"
            "   Egress (tx) sources are \n"
            "     fc1/1, fc1/2, \n"
            "\n");
}

TEST_F(ShowDetail, KeepsTheSeparatorBehindTheLastInterface) {
  answer_ifs({fc(1), fc(2), fc(3)});
  EXPECT_EQ(lines(screen({.session = 1, .tx = fc_list(3)}), 5),
            "     fc1/1, fc1/2, fc1/3, \n"
            "\n");
}

TEST_F(ShowDetail, WrapsAfterTheEntryThatReachesColumn51) {
  answer_ifs(fc_list(12));
  answer_ifs(fc_list(12));
  EXPECT_EQ(screen({.session = 1, .rx = fc_list(12), .tx = fc_list(12)}),
            "Session 1 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   Ingress (rx) sources are \n"
            "     fc1/1, fc1/2, fc1/3, fc1/4, fc1/5, fc1/6, fc1/7, fc1/8, \n"
            "     fc1/9, fc1/10, fc1/11, fc1/12, \n"
            "   Egress (tx) sources are \n"
            "     fc1/1, fc1/2, fc1/3, fc1/4, fc1/5, fc1/6, fc1/7, fc1/8, \n"
            "     fc1/9, fc1/10, fc1/11, fc1/12, \n"
            "\n");
}

TEST_F(ShowDetail, WrapsAsOftenAsNeeded) {
  answer_ifs(fc_list(25));
  EXPECT_EQ(lines(screen({.session = 1, .rx = fc_list(25)}), 4),
            "     fc1/1, fc1/2, fc1/3, fc1/4, fc1/5, fc1/6, fc1/7, fc1/8, \n"
            "     fc1/9, fc1/10, fc1/11, fc1/12, fc1/13, fc1/14, fc1/15, \n"
            "     fc1/16, fc1/17, fc1/18, fc1/19, fc1/20, fc1/21, fc1/22, \n"
            "     fc1/23, fc1/24, fc1/25, \n"
            "   No egress (tx) sources\n"
            "\n");
}

TEST_F(ShowDetail, TheEntryThatReachesColumn50DoesNotWrap) {
  fake.interfaces[fc(1)].name = "123456789_123456789_123456789_123456789_12345678";
  answer_ifs(fc_list(2));
  EXPECT_EQ(lines(screen({.session = 1, .tx = fc_list(2)}), 5),
            "     123456789_123456789_123456789_123456789_12345678, fc1/2, \n"
            "     \n"
            "\n");
}

TEST_F(ShowDetail, KeepsAContinuationLineBehindALastEntryThatWraps) {
  fake.interfaces[fc(1)].name = "123456789_123456789_123456789_123456789_123456789";
  answer_ifs(fc_list(1));
  EXPECT_EQ(lines(screen({.session = 1, .tx = fc_list(1)}), 5),
            "     123456789_123456789_123456789_123456789_123456789, \n"
            "     \n"
            "\n");
}

TEST_F(ShowDetail, AVsanFilterCountsAsWidth) {
  for (uint32_t port = 1; port <= 3; ++port) answer_if({.if_index = fc(port), .rx_filter = 1, .vsans = {{1, 10}}});
  answer_ifs({fc(4)});
  EXPECT_EQ(lines(screen({.session = 1, .rx = fc_list(4)}), 4),
            "     fc1/1 (vsan 1-10), fc1/2 (vsan 1-10), fc1/3 (vsan 1-10), \n"
            "     fc1/4, \n"
            "   No egress (tx) sources\n"
            "\n");
}

TEST_F(ShowDetail, PortChannelsOfSubtype2ShowTheirMemberAndTraffic) {
  answer_if({.if_index = kPortChannel2,
             .rx_filter = 1,
             .rx_traffic_type = 1,
             .member = kSvc,
             .service = true,
             .target = 1,
             .initiator = 1,
             .service_vsans = {{2, 3}}});
  answer_if({.if_index = kPortChannel2, .member = kSvc, .service = true, .mgmt = 1});
  EXPECT_EQ(screen({.session = 1, .rx = {kPortChannel2}, .tx = {kPortChannel2}}),
            "Session 1 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   Ingress (rx) sources are \n"
            "     svc2/1 (target (initiator, vsan 2-3), \n"
            "   Egress (tx) sources are \n"
            "     svc2/1, \n"
            "\n");
}

TEST_F(ShowDetail, AFailedInterfaceQueryStandsInPlaceOfTheInterface) {
  answer_ifs({fc(1)});
  fake.expect_exchange(2010).returns(0xFFFFFFFF);
  answer_ifs({fc(3)});
  fake.expect_exchange(2010).returns(5).gives(SourceInterface{.if_index = fc(4)}.response());
  EXPECT_EQ(screen({.session = 1, .rx = fc_list(3), .tx = {fc(4)}}),
            "Session 1 (active)\n"
            "   Destination is not configured\n"
            "   No session filters configured\n"
            "   Ingress (rx) sources are \n"
            "     fc1/1, err(-1)\n"
            "fc1/3, \n"
            "   Egress (tx) sources are \n"
            "     err(5)\n"
            "\n"
            "\n");
}

TEST_F(ShowDetail, AFailedInterfaceQueryLeavesTheColumn) {
  answer_ifs(fc_list(7));
  fake.expect_exchange(2010).returns(5);
  answer_ifs({fc(9), fc(10)});
  EXPECT_EQ(lines(screen({.session = 1, .tx = fc_list(10)}), 5),
            "     fc1/1, fc1/2, fc1/3, fc1/4, fc1/5, fc1/6, fc1/7, err(5)\n"
            "fc1/9, \n"
            "     fc1/10, \n"
            "\n");
}

TEST_F(ShowDetail, AnInterfaceThatIsNoSourceAnyMoreLeavesNoTrace) {
  answer_ifs({fc(1)});
  answer_if({.if_index = fc(2), .valid = 0});
  answer_ifs({fc(3)});
  EXPECT_EQ(lines(screen({.session = 1, .tx = fc_list(3)}), 5),
            "     fc1/1, fc1/3, \n"
            "\n");
}

}  // namespace
}  // namespace testkit
