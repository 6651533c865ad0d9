// The running configuration: whole sections.
#include <string>
#include <vector>

#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr uint32_t kStandby = 0x4034002B;

class RunningConfig : public CliTest {
 protected:
  void expect_session(const SessionRecord& session) { fake.expect_exchange(2001).gives(session.response()); }

  // A session that is not configured; what its record holds otherwise means nothing.
  static SessionRecord absent(uint32_t session) {
    return {.session = static_cast<uint8_t>(session),
            .configured = 0,
            .destination = kFc1,
            .has_destination = 1,
            .suspended = 1,
            .filter_vsans = {{1, 1}},
            .rx_vsans = {{2, 2}},
            .rx = {kFc1},
            .tx = {kFc1}};
  }

  void expect_absent(uint32_t first, uint32_t last) {
    for (uint32_t session = first; session <= last; ++session) expect_session(absent(session));
  }

  void expect_source(const SourceInterface& source) { fake.expect_exchange(2010).gives(source.response()); }

  uint32_t generate() { return call(span_cli_generate_session_config, command_); }

  // What the record of one session prints.
  std::string block(const SessionRecord& session) {
    const Bytes record = session.bytes();
    run([&] { span_show_running_session_info(command_, 0xEE, record.data()); });
    return printed();
  }

  Command command_;
};

// ---- All sessions ----------------------------------------------------------------------------------------------------

TEST_F(RunningConfig, WithoutAConfiguredSessionIsEmpty) {
  expect_absent(1, 16);
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(RunningConfig, AsksForSessions1To16InOrder) {
  expect_absent(1, 16);
  EXPECT_EQ(generate(), 0u);
  std::string calls;
  for (size_t i = 0; i < 16; ++i) {
    calls += "vex_req_resp(2001, 1, [4 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n";
    EXPECT_EQ(fake.exchanges.at(i).payload.at(0), i);
  }
  EXPECT_EQ(fake.calls(), calls);
}

TEST_F(RunningConfig, OfSession2WithADestinationAFilterVsanAndAnIngressInterface) {
  expect_absent(1, 1);
  expect_session({.session = 2, .destination = kFc2, .has_destination = 1, .filter_vsans = {{10, 10}}, .rx = {kFc1}});
  expect_source({.if_index = kFc1});
  expect_absent(3, 16);
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(printed(),
            "span session 2\n"
            "destination interface fc1/2\n"
            "source filter vsan  10\n"
            "\n"
            "source interface fc1/1 rx \n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, OfASessionWithEverything) {
  expect_session({.session = 1,
                  .oper_state = 2,
                  .destination = kFc2,
                  .has_destination = 1,
                  .suspended = 1,
                  .filter_vsans = {{5, 6}, {4093, 4093}},
                  .rx_vsans = {{1, 1}, {100, 101}},
                  .rx = {kFc1, kPortChannel2, kInband},
                  .tx = {kPortChannel, kFc1}});
  expect_source({.if_index = kFc1, .rx_filter = 1, .vsans = {{1, 1}, {3, 3}}});
  expect_source({.if_index = kPortChannel2, .rx_traffic_type = 1, .member = kSvc, .service = true, .initiator = 1});
  expect_source({.if_index = kInband});
  expect_source({.if_index = kPortChannel, .tx_filter = 1, .vsans = {{7, 8}}});
  expect_source({.if_index = kFc1});
  expect_absent(2, 16);
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(printed(),
            "span session 1\n"
            "destination interface fc1/2\n"
            "suspend\n"
            "source filter vsan  5\n"
            "source filter vsan  6\n"
            "source filter vsan  4093\n"
            "\n"
            "source vsan  1\n"
            "source vsan  100\n"
            "source vsan  101\n"
            "\n"
            "source interface fc1/1 rx filter vsan  1\n"
            "source interface fc1/1 rx filter vsan  3\n"
            "source interface fc1/1 rx filter vsan \n"
            "\n"
            "source interface svc2/1 rx traffic-type initiator\n"
            "\n"
            "source interface sup-fc0 rx \n"
            "\n"
            "source interface port-channel 3 tx filter vsan  7\n"
            "source interface port-channel 3 tx filter vsan  8\n"
            "source interface port-channel 3 tx filter vsan \n"
            "\n"
            "source interface fc1/1 tx \n"
            "\n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, OfSeveralSessionsFollowsTheirNumbers) {
  expect_session({.session = 1, .tx = {kFc2}});
  expect_source({.if_index = kFc2});
  expect_absent(2, 8);
  expect_session({.session = 9, .suspended = 1});
  expect_absent(10, 15);
  expect_session({.session = 16, .destination = kFc1, .has_destination = 1, .rx_vsans = {{0, 0}}});
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(printed(),
            "span session 1\n"
            "source interface fc1/2 tx \n"
            "\n"
            "\n"
            "\n"
            "span session 9\n"
            "suspend\n"
            "\n"
            "span session 16\n"
            "destination interface fc1/1\n"
            "source vsan  0\n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, TheNumberOfASessionIsThatOfItsRecord) {
  expect_absent(1, 4);
  expect_session({.session = 12});
  expect_absent(6, 16);
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(printed(),
            "span session 12\n"
            "\n");
}

TEST_F(RunningConfig, KeepsTheManagersStatusUnread) {
  fake.expect_exchange(2001).gives(SessionRecord{.session = 1}.response(kStandby));
  fake.expect_exchange(2001).gives(SessionRecord{.session = 2}.response(1));
  expect_absent(3, 16);
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(printed(),
            "span session 1\n"
            "\n"
            "span session 2\n"
            "\n");
  EXPECT_EQ(fake.calls("syserr2str"), "");
}

TEST_F(RunningConfig, ShowsSessionsThatTheOperatorMayNotSee) {
  fake.allowed_vsans = fake.allowed_interfaces = std::set<uint32_t>{};
  expect_session({.session = 1, .rx_vsans = {{3, 3}}});
  expect_absent(2, 16);
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(printed(),
            "span session 1\n"
            "source vsan  3\n"
            "\n"
            "\n");
  EXPECT_EQ(fake.calls("brio"), "");
}

TEST_F(RunningConfig, EachResponseIsReleasedBeforeTheNextQuery) {
  for (uint32_t session = 1; session <= 16; ++session) {
    fake.expect_exchange(2001).gives(absent(session).response()).does([] { EXPECT_EQ(heap::live(), 1u); });
  }
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(heap::live(), 0u);
}

// ---- Failures --------------------------------------------------------------------------------------------------------

TEST_F(RunningConfig, AFailedQueryEndsItWithTheTransportsError) {
  fake.quill_errno = 113;
  expect_session({.session = 1, .suspended = 1});
  expect_absent(2, 4);
  fake.expect_exchange(2001).returns(0xFFFFFFFF);
  fake.expect("brio_print_quill_error_message(2, 113)");
  EXPECT_EQ(generate(), 1u);
  EXPECT_EQ(printed(),
            "span session 1\n"
            "suspend\n"
            "\n");
  EXPECT_EQ(fake.calls("quill"), "quill_errno_get(7)\n");
  EXPECT_EQ(fake.exchanges.size(), 5u);
}

TEST_F(RunningConfig, AnyResultOfAFailedQueryIsATransportError) {
  fake.quill_errno = 0;
  for (const uint32_t result : {1u, 0x40340008u, 0x40340015u, kStandby}) {
    fake.expect_exchange(2001).returns(result);
    fake.expect("brio_print_quill_error_message(2, 0)");
    EXPECT_EQ(generate(), 1u);
    EXPECT_EQ(printed(), "");
  }
}

TEST_F(RunningConfig, TheResponseOfAFailedQueryIsReleasedAndNotShown) {
  fake.quill_errno = 5;
  fake.expect_exchange(2001).returns(1).gives(SessionRecord{.session = 1}.response());
  fake.expect("brio_print_quill_error_message(2, 5)");
  EXPECT_EQ(generate(), 1u);
  EXPECT_EQ(heap::live(), 0u);
}

TEST_F(RunningConfig, TheLastQueryMayFailToo) {
  fake.quill_errno = 5;
  expect_absent(1, 15);
  fake.expect_exchange(2001).returns(1);
  fake.expect("brio_print_quill_error_message(2, 5)");
  EXPECT_EQ(generate(), 1u);
}

TEST_F(RunningConfig, WithoutAQueueNothingIsSent) {
  fake.quill_errno = 9;
  command_.queue(0);
  fake.expect("brio_print_quill_error_message(2, 9)");
  EXPECT_EQ(generate(), 1u);
  EXPECT_EQ(printed(), "Invalid param\n");
  EXPECT_EQ(fake.calls(),
            "quill_errno_get(0)\n"
            "brio_print_quill_error_message(2, 9)\n");
}

TEST_F(RunningConfig, EndsAtTheFirstRequestThatFindsNoMemory) {
  fake.quill_errno = 12;
  for (uint32_t n = 1; n <= 16; ++n) {
    heap::begin();
    heap::fail_nth(n);
    for (uint32_t session = 1; session < n; ++session) expect_session({.session = static_cast<uint8_t>(session)});
    fake.expect("brio_print_quill_error_message(2, 12)");
    EXPECT_EQ(generate(), 1u);
    std::string text;
    for (uint32_t session = 1; session < n; ++session) text += "span session " + std::to_string(session) + "\n\n";
    EXPECT_EQ(printed(), text + "Malloc error in res payload.\n");
    EXPECT_EQ(heap::live(), 0u);
  }
}

TEST_F(RunningConfig, AsksForMemoryOnlyForItsQueries) {
  expect_session({.session = 1,
                  .destination = kFc2,
                  .has_destination = 1,
                  .filter_vsans = {{0, 4095}},
                  .rx_vsans = {{0, 4095}},
                  .rx = {kFc1}});
  expect_source({.if_index = kFc1, .rx_filter = 1, .vsans = {{0, 4095}}});
  expect_absent(2, 16);
  EXPECT_EQ(generate(), 0u);
  EXPECT_EQ(heap::requests(), 16u);
  EXPECT_GT(printed().size(), 4096u * 3);
}

// ---- Head of a session -----------------------------------------------------------------------------------------------

TEST_F(RunningConfig, WithoutARecordNothingIsPrinted) {
  run([&] { span_show_running_session_info(command_, 0, nullptr); });
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(RunningConfig, ASessionThatIsNotConfiguredPrintsNothing) {
  EXPECT_EQ(block(absent(3)), "");
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(RunningConfig, AnyNonzeroByteMeansConfigured) {
  for (const uint8_t configured : Bytes{1, 2, 0x80, 255}) {
    EXPECT_EQ(block({.session = 3, .configured = configured}),
              "span session 3\n"
              "\n");
  }
}

TEST_F(RunningConfig, TheSessionNumberIsTheIndexAnd1) {
  EXPECT_EQ(block({.session = 1}), "span session 1\n\n");
  EXPECT_EQ(block({.session = 16}), "span session 16\n\n");
  EXPECT_EQ(block({.session = 0}), "span session 256\n\n");
}

TEST_F(RunningConfig, TheDestinationIsShownWhenItIsConfigured) {
  for (const uint32_t has_destination : {1u, 2u, 0x01000000u, 0x80000000u}) {
    EXPECT_EQ(block({.session = 4, .destination = kPortChannel, .has_destination = has_destination}),
              "span session 4\n"
              "destination interface port-channel 3\n"
              "\n");
  }
  EXPECT_EQ(block({.session = 4, .destination = kPortChannel}),
            "span session 4\n"
            "\n");
}

TEST_F(RunningConfig, ADestinationWithoutANameKeepsItsLine) {
  EXPECT_EQ(block({.session = 4, .destination = kUnknownIf, .has_destination = 1}),
            "span session 4\n"
            "destination interface \n"
            "\n");
}

TEST_F(RunningConfig, TheLongestNameOfADestinationIsPrintedWhole) {
  const std::string name(127, 'n');
  fake.interfaces[kFc1].name = name;
  EXPECT_EQ(block({.session = 4, .destination = kFc1, .has_destination = 1}),
            "span session 4\n"
            "destination interface " +
                name +
                "\n"
                "\n");
}

TEST_F(RunningConfig, SuspendStandsRightBehindTheDestination) {
  for (const uint32_t suspended : {1u, 2u, 0x01000000u}) {
    EXPECT_EQ(block({.session = 5,
                     .destination = kFc2,
                     .has_destination = 1,
                     .suspended = suspended,
                     .filter_vsans = {{1, 1}},
                     .rx_vsans = {{2, 2}}}),
              "span session 5\n"
              "destination interface fc1/2\n"
              "suspend\n"
              "source filter vsan  1\n"
              "\n"
              "source vsan  2\n"
              "\n"
              "\n");
  }
}

TEST_F(RunningConfig, TheOperationalStateDoesNotMatter) {
  for (const uint8_t state : Bytes{0, 1, 2, 4, 255}) {
    EXPECT_EQ(block({.session = 5, .oper_state = state, .suspended = 1}),
              "span session 5\n"
              "suspend\n"
              "\n");
  }
}

// ---- VSANs -----------------------------------------------------------------------------------------------------------

TEST_F(RunningConfig, KeepsTwoBlanksBeforeAVsanAndAnEmptyLineBehindTheLast) {
  EXPECT_EQ(block({.session = 6, .filter_vsans = {{0, 0}, {31, 32}, {4095, 4095}}}),
            "span session 6\n"
            "source filter vsan  0\n"
            "source filter vsan  31\n"
            "source filter vsan  32\n"
            "source filter vsan  4095\n"
            "\n"
            "\n");
  EXPECT_EQ(block({.session = 6, .rx_vsans = {{0, 0}, {31, 32}, {4095, 4095}}}),
            "span session 6\n"
            "source vsan  0\n"
            "source vsan  31\n"
            "source vsan  32\n"
            "source vsan  4095\n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, TheLengthsOfTheVsanSetsAreNotRead) {
  EXPECT_EQ(block({.session = 6,
                   .filter_length = 0,
                   .filter_vsans = {{4095, 4095}},
                   .rx_vsans_length = 0,
                   .rx_vsans = {{4094, 4094}}}),
            "span session 6\n"
            "source filter vsan  4095\n"
            "\n"
            "source vsan  4094\n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, All4096VsansHaveTheirLine) {
  std::string filters, sources;
  for (int vsan = 0; vsan < 4096; ++vsan) {
    filters += "source filter vsan  " + std::to_string(vsan) + "\n";
    sources += "source vsan  " + std::to_string(vsan) + "\n";
  }
  EXPECT_EQ(block({.session = 6, .filter_vsans = {{0, 4095}}, .rx_vsans = {{0, 4095}}}),
            "span session 6\n" + filters + "\n" + sources + "\n\n");
}

// ---- Source interfaces -----------------------------------------------------------------------------------------------

TEST_F(RunningConfig, KeepsAnEmptyLineBehindEachIngressInterfaceAndOneMore) {
  expect_source({.if_index = kFc1});
  expect_source({.if_index = kFc2});
  EXPECT_EQ(block({.session = 7, .rx = {kFc1, kFc2}}),
            "span session 7\n"
            "source interface fc1/1 rx \n"
            "\n"
            "source interface fc1/2 rx \n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, KeepsThreeEmptyLinesBehindTheLastEgressInterface) {
  expect_source({.if_index = kFc1});
  expect_source({.if_index = kFc2});
  expect_source({.if_index = kFc1});
  EXPECT_EQ(block({.session = 7, .rx = {kFc1}, .tx = {kFc2, kFc1}}),
            "span session 7\n"
            "source interface fc1/1 rx \n"
            "\n"
            "source interface fc1/2 tx \n"
            "\n"
            "source interface fc1/1 tx \n"
            "\n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, InterfacesKeepTheOrderOfTheirList) {
  expect_source({.if_index = kFc2});
  expect_source({.if_index = kFc1});
  expect_source({.if_index = kFc2});
  EXPECT_EQ(block({.session = 7, .tx = {kFc2, kFc1, kFc2}}),
            "span session 7\n"
            "source interface fc1/2 tx \n"
            "\n"
            "source interface fc1/1 tx \n"
            "\n"
            "source interface fc1/2 tx \n"
            "\n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, EachInterfaceIsAskedForInItsSessionAndDirection) {
  expect_source({.if_index = kFc1});
  expect_source({.if_index = kPortChannel});
  EXPECT_EQ(block({.session = 16, .destination = kFc2, .has_destination = 1, .rx = {kFc1}, .tx = {kPortChannel}}),
            "span session 16\n"
            "destination interface fc1/2\n"
            "source interface fc1/1 rx \n"
            "\n"
            "source interface port-channel 3 tx \n"
            "\n"
            "\n"
            "\n");
  ASSERT_EQ(fake.exchanges.size(), 2u);
  EXPECT_TRUE(same_bytes(slice(fake.exchanges[0].payload, 0, 6), hex("5b a5 a5 5a 0f 01")));
  EXPECT_TRUE(same_bytes(slice(fake.exchanges[1].payload, 0, 6), hex("5e a5 a5 59 0f 02")));
  EXPECT_EQ(fake.calls(),
            "sprintf_if_index(0x1001000)\n"
            "vex_req_resp(2010, 1, [8 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
            "if_index_get_type(0x1000000)\n"
            "sprintf_if_index(0x1000000)\n"
            "vex_req_resp(2010, 1, [8 bytes], \"operator\", \"vty 1\", 68, 7, 35)\n"
            "if_index_get_type(0x4000003)\n"
            "if_index_port_channel_get_subtype(0x4000003)\n"
            "sprintf_if_index(0x4000003)\n");
}

TEST_F(RunningConfig, AFailedInterfaceQueryStandsInPlaceOfItsLine) {
  expect_source({.if_index = kFc1});
  fake.expect_exchange(2010).returns(0x40340008);
  fake.expect_exchange(2010).returns(0xFFFFFFFF);
  expect_source({.if_index = kFc2});
  EXPECT_EQ(block({.session = 7, .rx = {kFc1, kFc2}, .tx = {kFc1, kFc2}}),
            "span session 7\n"
            "source interface fc1/1 rx \n"
            "\n"
            "err(1077149704)\n"
            "\n"
            "err(-1)\n"
            "\n"
            "source interface fc1/2 tx \n"
            "\n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, AnInterfaceThatIsNoSourceLeavesItsEmptyLine) {
  expect_source({.if_index = kFc1, .valid = 0});
  expect_source({.if_index = kFc2, .valid = 2});
  EXPECT_EQ(block({.session = 7, .rx = {kFc1}, .tx = {kFc2}}),
            "span session 7\n"
            "\n"
            "\n"
            "\n"
            "\n");
}

TEST_F(RunningConfig, AllInterfacesOfALongListArePrinted) {
  std::vector<uint32_t> list;
  std::string lines;
  for (uint32_t i = 0; i < 300; ++i) {
    fake.interfaces[kFc1 + i] = {.type = 1, .name = "fc" + std::to_string(i), .subtype = {}};
    list.push_back(kFc1 + i);
    expect_source({.if_index = kFc1 + i});
    lines += "source interface fc" + std::to_string(i) + " rx \n\n";
  }
  EXPECT_EQ(block({.session = 7, .rx = list}), "span session 7\n" + lines + "\n");
}

}  // namespace
}  // namespace testkit
