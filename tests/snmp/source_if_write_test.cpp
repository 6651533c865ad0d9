// Creation and removal of rows of the source interface table.
#include <gtest/gtest.h>

#include "tests/snmp/snmp_test.h"

namespace testkit {
namespace {

constexpr uint32_t kPort = 0x1000000;
constexpr uint32_t kAccepted[] = {1, 10, 11};
constexpr char kSend[] = "vex_req_resp(2002, 3, [632 bytes], null, null, 68, 7, 35)";

class SourceIfWrite : public SnmpTest {
 protected:
  void SetUp() override {
    SnmpTest::SetUp();
    know(kPort, 1, "fc1/1");
  }

  uint32_t check(uint32_t if_index) { return ask(span_snmp_check_if_index_src, if_index); }

  uint32_t change(uint32_t session, uint32_t if_index, int32_t direction, int32_t add) {
    return ask(span_snmp_source_if, static_cast<uint8_t>(session), if_index, direction, add);
  }

  void expect_change(const Results& results, uint32_t overall = 0) {
    fake.expect_exchange(2002).gives(SourceConfigResult{.result = overall, .interfaces = results}.response());
  }

  // Adds the interface to session 3, which the manager accepts, and returns what was sent.
  Bytes added(uint32_t if_index) {
    expect_change({{if_index, 0}});
    EXPECT_EQ(ask(span_snmp_source_if_create, 3, if_index, 1), kOk);
    return fake.exchange().payload;
  }

  // The steps of `fc1/1` up to the request and with it.
  static Steps sends(const std::string& direction, const std::string& change) {
    return {"if_index_get_type(0x1000000)",
            "span_snmp_check_if_index_src: check src if_index [1000000]\n",
            "span_snmp_source_if: config received " + direction + "\n",
            "span_snmp_source_if: session " + change + " 1000000\n",
            "if_index_get_type(0x1000000)",
            "if_index_get_type(0x1000000)",
            kSend};
  }

  static Steps reads(const std::string& count) {
    return {"span_snmp_get_src_config_info_res_if: Number of ports: [" + count + "]\n"};
  }

  // The texts at the end, once for the answer and once for the handler.
  static Steps ends_with(const std::string& digits) {
    return {"syserr2str(" + (digits == "0" ? "0" : "0x" + digits) + ")",
            "span_snmp_source_if: status 0x" + digits + "\n",
            "syserr2str(" + (digits == "0" ? "0" : "0x" + digits) + ")",
            "span_snmp_source_if: status 0x" + digits + " result[" + digits + "]\n"};
  }
};

// ---- The source check ------------------------------------------------------------------------------------------------

TEST_F(SourceIfWrite, AcceptsTypes1And10And11AndNoOther) {
  fake.inband_interface = 0x77;
  for (uint32_t type = 0; type < 256; ++type) {
    know(kPort, type);
    const bool accepted = std::count(std::begin(kAccepted), std::end(kAccepted), type) != 0;
    EXPECT_EQ(check(kPort), accepted ? kOk : kWrongSource) << type;
  }
}

TEST_F(SourceIfWrite, AsksForAnUnknownInterfaceOnceAndTracesNothing) {
  in_each_trace_mode([&] {
    EXPECT_EQ(check(0xabc), kWrongIf);
    EXPECT_EQ(steps(), Steps{"if_index_get_type(2748)"});
  });
}

TEST_F(SourceIfWrite, TracesTheInterfaceItChecks) {
  in_each_trace_mode([&] {
    for (const uint32_t type : {0u, 1u, 10u, 11u, 12u, 15u}) {
      know(kPort, type);
      check(kPort);
      EXPECT_EQ(steps(), (Steps{"if_index_get_type(0x1000000)",
                                "span_snmp_check_if_index_src: check src if_index [1000000]\n"}));
    }
  });
}

TEST_F(SourceIfWrite, AsksForTheSubtypesOfAPortChannelInOrder) {
  const Steps once = {"if_index_get_type(0x1000000)", "if_index_port_channel_get_subtype(0x1000000)"};
  const Steps head = {"if_index_get_type(0x1000000)", "span_snmp_check_if_index_src: check src if_index [1000000]\n"};
  in_each_trace_mode([&] {
    const std::vector<std::pair<uint8_t, Steps>> subtypes = {
        {uint8_t{0}, once}, {uint8_t{1}, once + once}, {uint8_t{2}, once + once + once}};
    for (const auto& [subtype, questions] : subtypes) {
      know(kPort, 4, "po1", subtype);
      EXPECT_EQ(check(kPort), kOk);
      EXPECT_EQ(steps(), head + questions);
    }
    for (const std::optional<uint8_t> subtype : {std::optional<uint8_t>{3}, std::optional<uint8_t>{}}) {
      know(kPort, 4, "po1", subtype);
      EXPECT_EQ(check(kPort), kWrongSource);
      EXPECT_EQ(steps(), head + once + once + once);
    }
  });
}

TEST_F(SourceIfWrite, AcceptsTheInbandInterfaceOfTheActiveSupervisorAlone) {
  know(0x3000, 6);
  in_each_trace_mode([&] {
    for (const uint32_t inband : {0x3000u, 0x3001u, 0u}) {
      fake.inband_interface = inband;
      EXPECT_EQ(check(0x3000), inband == 0x3000 ? kOk : kWrongSource);
      EXPECT_EQ(steps(), (Steps{"if_index_get_type(12288)", "span_snmp_check_if_index_src: check src if_index [3000]\n",
                                "if_index_inband_get_active_sup_priority_hi()"}));
    }
  });
}

// ---- Requests --------------------------------------------------------------------------------------------------------

TEST_F(SourceIfWrite, SendsOneInterfaceToAdd) {
  EXPECT_TRUE(same_bytes(added(kPort), hex("00*100 02 01 04 01 00 02 00 00 00*512 00 00 00 01"
                                           " 5b a5 a5 5a 5b a5 a5 5a")));
  EXPECT_EQ(fake.exchanges.size(), 1u);
}

TEST_F(SourceIfWrite, SendsOneInterfaceToRemove) {
  expect_change({{kPort, 0}});
  EXPECT_EQ(ask(span_snmp_source_if_destroy, 16, kPort, 2), kOk);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("00*100 0f 02 08 01 00 02 00 00 00*512 00 00 00 01"
                                                      " 5b a5 a5 5a 5b a5 a5 5a")));
}

TEST_F(SourceIfWrite, KeepsItsOwnOperationsForEveryType) {
  fake.inband_interface = kPort;
  for (const uint32_t type : {1u, 4u, 6u, 10u, 11u}) {
    know(kPort, type, "x", uint8_t{0});
    expect_change({});
    EXPECT_EQ(ask(span_snmp_source_if_create, 1, kPort, 1), kOk);
    EXPECT_EQ(fake.exchange().payload.at(102), 4);
    expect_change({});
    EXPECT_EQ(ask(span_snmp_source_if_destroy, 1, kPort, 1), kOk);
    EXPECT_EQ(fake.exchange().payload.at(102), 8);
  }
}

TEST_F(SourceIfWrite, NamesTheSourceTypeByTheInterface) {
  for (const uint32_t type : kAccepted) {
    know(kPort, type);
    EXPECT_EQ(added(kPort).at(103), 1) << type;
  }
  fake.inband_interface = kPort;
  know(kPort, 6);
  EXPECT_EQ(added(kPort).at(103), 7);
}

TEST_F(SourceIfWrite, NamesAPortChannelOnlyWhenItsSubtypeIs0) {
  for (const auto& [subtype, source_type] : Results{{0, 2}, {1, 1}, {2, 1}}) {
    know(kPort, 4, "po1", static_cast<uint8_t>(subtype));
    EXPECT_EQ(added(kPort).at(103), source_type) << subtype;
  }
}

TEST_F(SourceIfWrite, TakesAnyAddFlagButZeroForAdding) {
  for (const auto& [add, operation] : Results{{0, 8}, {1, 4}, {2, 4}, {0x100, 4}, {0xFFFFFFFF, 4}}) {
    expect_change({});
    EXPECT_EQ(change(1, kPort, 1, static_cast<int32_t>(add)), kOk);
    EXPECT_EQ(fake.exchange().payload.at(102), operation);
  }
}

TEST_F(SourceIfWrite, SendsEachSessionLessOne) {
  for (uint32_t session = 1; session <= 16; ++session) {
    expect_change({});
    EXPECT_EQ(change(session, kPort, 1, 1), kOk);
    EXPECT_EQ(fake.exchange().payload.at(100), session - 1);
  }
}

TEST_F(SourceIfWrite, KeepsOnlyTheLowByteOfTheSession) {
  for (const auto& [session, index] : Results{{257, 0}, {0x110, 15}, {0xFFFFFF03, 2}}) {
    expect_change({});
    EXPECT_EQ(ask(span_snmp_source_if_create, session, kPort, 1), kOk);
    EXPECT_EQ(fake.exchange().payload.at(100), index);
    expect_change({});
    EXPECT_EQ(ask(span_snmp_source_if_destroy, session, kPort, 1), kOk);
    EXPECT_EQ(fake.exchange().payload.at(100), index);
  }
}

TEST_F(SourceIfWrite, SendsWithoutAQueue) {
  queue_ = 0;
  expect_change({});
  EXPECT_EQ(change(1, kPort, 1, 1), kOk);
  EXPECT_EQ(fake.exchange().queue, 0u);
}

// ---- Steps -----------------------------------------------------------------------------------------------------------

TEST_F(SourceIfWrite, KeepsTheBlankBehindIngress) {
  in_each_trace_mode([&] {
    expect_change({{kPort, 0}});
    EXPECT_EQ(ask(span_snmp_source_if_create, 16, kPort, 1), kOk);
    EXPECT_EQ(steps(),
              sends("ingress ", "16, add") + reads("1") + Steps{"sprintf_if_index(0x1000000)"} + ends_with("0"));
  });
}

TEST_F(SourceIfWrite, TracesTheRemovalOfAnEgressSource) {
  in_each_trace_mode([&] {
    expect_change({{kPort, 0}});
    EXPECT_EQ(ask(span_snmp_source_if_destroy, 3, kPort, 2), kOk);
    EXPECT_EQ(steps(),
              sends("egress", "3, delete") + reads("1") + Steps{"sprintf_if_index(0x1000000)"} + ends_with("0"));
  });
}

TEST_F(SourceIfWrite, TracesTheSessionItActsOn) {
  expect_change({});
  EXPECT_EQ(ask(span_snmp_source_if_create, 257, kPort, 2), kOk);
  EXPECT_EQ(steps(), sends("egress", "1, add") + reads("0") + ends_with("0"));
}

TEST_F(SourceIfWrite, KeepsAskingAgainWhatTheInterfaceIs) {
  const Steps type = {"if_index_get_type(0x1000000)"};
  const Steps subtype = type + Steps{"if_index_port_channel_get_subtype(0x1000000)"};
  const Steps config = {"span_snmp_source_if: config received egress\n",
                        "span_snmp_source_if: session 3, add 1000000\n"};
  const Steps head = type + Steps{"span_snmp_check_if_index_src: check src if_index [1000000]\n"};

  know(kPort, 4, "po1", uint8_t{1});
  expect_change({});
  EXPECT_EQ(change(3, kPort, 2, 1), kOk);
  EXPECT_EQ(steps(), head + subtype + subtype + config + type + subtype + Steps{kSend} + reads("0") + ends_with("0"));

  fake.inband_interface = kPort;
  know(kPort, 6, "sup");
  expect_change({});
  EXPECT_EQ(change(3, kPort, 2, 1), kOk);
  EXPECT_EQ(steps(), head + Steps{"if_index_inband_get_active_sup_priority_hi()"} + config + type + type +
                         Steps{kSend} + reads("0") + ends_with("0"));
}

// ---- Refusals --------------------------------------------------------------------------------------------------------

TEST_F(SourceIfWrite, RefusesOtherDirectionsWithoutAskingThePlatform) {
  in_each_trace_mode([&] {
    for (const int32_t direction : {0, 3, 4, 257, 258, -1, INT32_MIN}) {
      for (const uint32_t if_index : {0u, kPort, 0xabcu}) {
        EXPECT_EQ(ask(span_snmp_source_if_create, 17, if_index, direction), kInvalidParam);
        EXPECT_EQ(ask(span_snmp_source_if_destroy, 1, if_index, direction), kInvalidParam);
        EXPECT_EQ(steps(), Steps{});
      }
    }
  });
}

TEST_F(SourceIfWrite, ChecksTheInterfaceBeforeTheSession) {
  in_each_trace_mode([&] {
    for (const uint32_t session : {0u, 3u, 17u}) {
      EXPECT_EQ(change(session, 0xabc, 1, 1), kWrongIf);
      EXPECT_EQ(steps(), (Steps{"if_index_get_type(2748)", "span_snmp_source_if: invalid if_index [abc]\n"}));
    }
  });
}

TEST_F(SourceIfWrite, RefusesAnInterfaceOfTheWrongType) {
  in_each_trace_mode([&] {
    for (const uint32_t type : {0u, 12u, 15u}) {
      know(kPort, type);
      for (const uint32_t session : {0u, 3u}) {
        EXPECT_EQ(change(session, kPort, 2, 0), kWrongSource);
        EXPECT_EQ(steps(),
                  (Steps{"if_index_get_type(0x1000000)", "span_snmp_check_if_index_src: check src if_index [1000000]\n",
                         "span_snmp_source_if: invalid if_index [1000000]\n"}));
      }
    }
  });
}

TEST_F(SourceIfWrite, KeepsRefusingAServiceModuleInterface) {
  know(kPort, 12);
  EXPECT_EQ(change(3, kPort, 1, 1), kWrongSource);
  EXPECT_EQ(fake.calls("ksm"), "");
  EXPECT_EQ(fake.calls("vex"), "");
}

TEST_F(SourceIfWrite, RefusesSessionsOutside) {
  in_each_trace_mode([&] {
    for (const uint32_t session : {0u, 17u, 255u, 256u, 273u}) {
      EXPECT_EQ(ask(span_snmp_source_if_create, session, kPort, 1), kWrongSession);
      EXPECT_EQ(steps(), (Steps{"if_index_get_type(0x1000000)",
                                "span_snmp_check_if_index_src: check src if_index [1000000]\n"}));
    }
  });
}

TEST_F(SourceIfWrite, RefusesInterface0BehindTheSession) {
  know(0, 1);
  in_each_trace_mode([&] {
    EXPECT_EQ(change(3, 0, 1, 1), kInvalidParam);
    EXPECT_EQ(steps(), (Steps{"if_index_get_type(0)", "span_snmp_check_if_index_src: check src if_index [0]\n"}));
    EXPECT_EQ(change(17, 0, 1, 1), kWrongSession);
    EXPECT_EQ(steps(), (Steps{"if_index_get_type(0)", "span_snmp_check_if_index_src: check src if_index [0]\n"}));
  });
}

TEST_F(SourceIfWrite, RefusesInterface0AsAPortChannel) {
  know(0, 4, "po0", uint8_t{0});
  EXPECT_EQ(change(3, 0, 1, 1), kWrongSource);
}

// ---- The manager's answer --------------------------------------------------------------------------------------------

TEST_F(SourceIfWrite, PassesTheResultOfTheInterfaceOn) {
  in_each_trace_mode([&] {
    expect_change({{kPort, 0x40340048}});
    EXPECT_EQ(change(3, kPort, 1, 1), 0x40340048u);
    EXPECT_EQ(steps(), sends("ingress ", "3, add") + reads("1") +
                           (Steps{"sprintf_if_index(0x1000000)", "syserr2str(0x40340048)",
                                  "span_snmp_get_src_config_info_res_if: If[5aa5a55b][fc1/1] "
                                  "status[40340048][status 0x40340048]\n"}) +
                           ends_with("40340048"));
  });
}

TEST_F(SourceIfWrite, KeepsIgnoringTheOverallResult) {
  expect_change({{kPort, 0}}, 0x40340009);
  EXPECT_EQ(change(3, kPort, 1, 1), kOk);
  expect_change({}, 0x40340009);
  EXPECT_EQ(change(3, kPort, 1, 1), kOk);
}

TEST_F(SourceIfWrite, KeepsNamingTheDestinationWhenTheExchangeFails) {
  in_each_trace_mode([&] {
    fake.expect_exchange(2002).returns(kTransportFailed).gives(SourceConfigResult{}.response());
    EXPECT_EQ(change(3, kPort, 1, 1), kFailed);
    EXPECT_EQ(steps(),
              sends("ingress ", "3, add") + (Steps{"dest config failed: \n error: ffffffff\n", "syserr2str(0x40340000)",
                                                   "span_snmp_source_if: status 0x40340000 result[40340000]\n"}));
  });
}

// ---- The results of interfaces ---------------------------------------------------------------------------------------

// An interface whose type is another one when it is asked for again.
class SourceIfThatChanges : public SourceIfWrite {
 protected:
  void then_type(TypeAnswer second) { fake.interfaces[kPort].type_answers = {{.type = 1}, second}; }

  static constexpr char kMap[] = "ksm_if_to_pch_get_map(7, 7, [01 00 00 00 00 00 00 01 00 00 00 01])";
};

TEST_F(SourceIfThatChanges, GoesOutAsThePortChannelsOfAllTraffic) {
  then_type({.type = 12});
  fake.expect("ksm_if_to_pch_get_map").gives(map_reply({{.port_channels = {0x41, 0, 0x43}}}));
  const Bytes payload = added(kPort);
  EXPECT_TRUE(
      same_bytes(slice(payload, 620, 10000), join({be32(2), net_if(0x41), net_if(0x41), net_if(0x43), net_if(0x43)})));
  EXPECT_EQ(payload[103], 1);
  EXPECT_EQ(fake.calls("ksm"), std::string(kMap) + "\n");
}

TEST_F(SourceIfThatChanges, ReturnsTheFailureOfTheMap) {
  then_type({.type = 12});
  fake.expect("ksm_if_to_pch_get_map").returns(0x40340099);
  EXPECT_EQ(change(3, kPort, 1, 1), 0x40340099u);
  EXPECT_EQ(printed(),
            "Error in getting inforamation for kestrel interfaces\n"
            "Error in getting information about interfaces\n");
  EXPECT_EQ(steps().back(), kMap);
}

TEST_F(SourceIfThatChanges, KeepsTheTypeOfAFailedSecondQuestion) {
  then_type({.type = 6, .result = 1});
  EXPECT_EQ(added(kPort)[103], 7);
}

class SourceIfResult : public SourceIfWrite {
 protected:
  uint32_t read(const Results& results) {
    const Bytes response = SourceConfigResult{.interfaces = results}.response();
    return run([&] { return span_snmp_get_src_config_info_res_if(response.data()); });
  }
};

TEST_F(SourceIfResult, OfNoInterfaceIs0) {
  in_each_trace_mode([&] {
    EXPECT_EQ(read({}), kOk);
    EXPECT_EQ(steps(), reads("0"));
  });
}

TEST_F(SourceIfResult, IsTheFirstThatIsNot0) {
  know(0x2000, 1, "fc1/2");
  in_each_trace_mode([&] {
    EXPECT_EQ(read({{kPort, 0}, {0x2000, 7}, {kPort, 8}}), 7u);
    EXPECT_EQ(steps(), reads("3") + (Steps{"sprintf_if_index(0x1000000)", "sprintf_if_index(8192)", "syserr2str(7)",
                                           "span_snmp_get_src_config_info_res_if: If[5a85a55a][fc1/2] "
                                           "status[7][status 0x7]\n"}));
  });
}

TEST_F(SourceIfResult, Is0WhenAllAre0) {
  in_each_trace_mode([&] {
    EXPECT_EQ(read(Results(17, {kPort, 0})), kOk);
    EXPECT_EQ(steps(), reads("11") + Steps(17, "sprintf_if_index(0x1000000)"));
  });
}

TEST_F(SourceIfResult, KeepsShowingTheInterfaceAsItTravelled) {
  know(0x01020304, 1, "");
  EXPECT_EQ(read({{0x01020304, 0xFFFFFFFF}}), 0xFFFFFFFFu);
  EXPECT_EQ(steps().back(),
            "span_snmp_get_src_config_info_res_if: If[5ea6a75b][] status[ffffffff][status 0xffffffff]\n");
}

TEST_F(SourceIfResult, HasNoNameOfAnInterfaceThatIsNotThere) {
  EXPECT_EQ(read({{0x01020304, 7}}), 7u);
  EXPECT_EQ(steps().back(), "span_snmp_get_src_config_info_res_if: If[5ea6a75b][] status[7][status 0x7]\n");
}

TEST_F(SourceIfResult, HasRoomForTheLongestName) {
  const std::string name(127, 'n');
  know(kPort, 1, name);
  EXPECT_EQ(read({{kPort, 7}}), 7u);
  EXPECT_EQ(steps().back(), "span_snmp_get_src_config_info_res_if: If[5aa5a55b][" + name + "] status[7][status 0x7]\n");
}

}  // namespace
}  // namespace testkit
