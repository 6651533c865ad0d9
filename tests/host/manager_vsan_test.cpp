// Source VSANs, the session filter, what is told of a source interface, SVC interfaces.
#include "tests/host/manager_support.h"

namespace manager_test {
namespace {

class ManagerVsan : public ManagerTest {
 protected:
  void SetUp() override { create({0}); }

  SourceResult source_vsans(uint8_t operation, const VsanList& vsans) {
    return sources({.direction = 1, .operation = operation, .type = 3, .vsans = vsans});
  }
  SourceResult filter(uint8_t operation, const VsanList& vsans, uint8_t direction = 3) {
    return sources({.direction = direction, .operation = operation, .type = 6, .vsans = vsans});
  }
};

TEST_F(ManagerVsan, SourcesAreAddedAndRemoved) {
  EXPECT_EQ(source_vsans(4, range(1, 5)).told, 0u);
  EXPECT_EQ(source_vsans(4, {5, 1000}).told, 0u);
  EXPECT_EQ(session(0).vsans, (VsanList{1, 2, 3, 4, 5, 1000}));
  EXPECT_EQ(source_vsans(8, {2, 3, 77}).told, 0u);
  EXPECT_EQ(session(0).vsans, (VsanList{1, 4, 5, 1000}));
  EXPECT_TRUE(session(0).filter.empty());
}

TEST_F(ManagerVsan, SourcesThatDoNotExistAreRefusedAndTheOthersAdded) {
  const SourceResult result = source_vsans(4, {0, 400, 401, 999, 1000, 4093, 4094, 4095});
  EXPECT_EQ(result.refused, (VsanList{0, 401, 999, 4093, 4094, 4095}));
  EXPECT_EQ(result.overall, manager::kNoSuchVsan);
  EXPECT_EQ(result.told, manager::kNoSuchVsan);
  EXPECT_TRUE(result.interfaces.empty());
  EXPECT_EQ(session(0).vsans, (VsanList{400, 1000}));
}

TEST_F(ManagerVsan, RemovingNoneOfTheSourcesIsTold) {
  EXPECT_EQ(source_vsans(4, {1}).told, 0u);
  const SourceResult result = source_vsans(8, {2, 3});
  EXPECT_EQ(result.overall, 0x4034003Cu);
  EXPECT_EQ(result.overall, manager::kNotSourceVsans);
  EXPECT_TRUE(result.refused.empty());
  EXPECT_EQ(session(0).vsans, VsanList{1});
}

TEST_F(ManagerVsan, SessionThatIsNotConfiguredIsToldAlthoughNoVsanIsRefused) {
  for (const uint8_t index : Bytes{1, 16, 255}) {
    for (const auto& [type, operation] : {std::pair{3, 4}, {3, 8}, {6, 16}, {6, 32}}) {
      const SourceResult result = sources({.index = index,
                                           .direction = 1,
                                           .operation = static_cast<uint8_t>(operation),
                                           .type = static_cast<uint8_t>(type),
                                           .vsans = {1}});
      EXPECT_EQ(result.overall, 0x4034003Bu);
      EXPECT_EQ(result.told, manager::kSessionNotConfigured);
      EXPECT_TRUE(result.refused.empty());
    }
  }
}

TEST_F(ManagerVsan, NoVsansAreDone) {
  for (const uint8_t operation : Bytes{4, 8}) EXPECT_EQ(source_vsans(operation, {}).told, 0u);
  for (const uint8_t operation : Bytes{16, 32}) EXPECT_EQ(filter(operation, {}).told, 0u);
}

TEST_F(ManagerVsan, SourcesAreIngressOnly) {
  for (const uint8_t direction : Bytes{0, 2, 3, 4, 255}) {
    EXPECT_EQ(sources({.direction = direction, .operation = 4, .type = 3, .vsans = {1}}).overall,
              manager::kWrongDirection);
  }
  EXPECT_TRUE(session(0).vsans.empty());
}

TEST_F(ManagerVsan, EachSetHasItsOperations) {
  for (const uint8_t operation : Bytes{0, 1, 2, 3, 12, 16, 32, 255}) {
    EXPECT_EQ(source_vsans(operation, {1}).overall, manager::kUnknownOperation);
  }
  for (const uint8_t operation : Bytes{0, 1, 2, 4, 8, 48, 255}) {
    EXPECT_EQ(filter(operation, {1}).overall, manager::kUnknownOperation);
  }
  EXPECT_TRUE(session(0).vsans.empty() && session(0).filter.empty());
}

TEST_F(ManagerVsan, SessionHasRoomFor256Sources) {
  EXPECT_EQ(source_vsans(4, range(1, 250)).told, 0u);
  const SourceResult result = source_vsans(4, range(245, 260));
  EXPECT_EQ(result.overall, manager::kTooManySourceVsans);
  EXPECT_EQ(result.refused, range(257, 260));
  EXPECT_EQ(session(0).vsans, range(1, 256));
  const SourceResult mixed = source_vsans(4, {1, 300, 401});
  EXPECT_EQ(mixed.overall, manager::kNoSuchVsan);
  EXPECT_EQ(mixed.refused, (VsanList{300, 401}));
}

TEST_F(ManagerVsan, FilterIsAddedAndRemoved) {
  EXPECT_EQ(filter(16, range(1, 300)).told, 0u);
  EXPECT_EQ(filter(32, range(4, 300)).told, 0u);
  EXPECT_EQ(session(0).filter, (VsanList{1, 2, 3}));
  EXPECT_TRUE(session(0).vsans.empty());
}

TEST_F(ManagerVsan, FilterVsansThatDoNotExistAreRefusedAndTheOthersAdded) {
  const SourceResult result = filter(16, {1, 401, 4094});
  EXPECT_EQ(result.overall, manager::kNoSuchVsan);
  EXPECT_EQ(result.refused, (VsanList{401, 4094}));
  EXPECT_EQ(session(0).filter, VsanList{1});
}

TEST_F(ManagerVsan, TakingNoneOutOfTheFilterIsTold) {
  EXPECT_EQ(filter(16, {1}).told, 0u);
  const SourceResult result = filter(32, {2});
  EXPECT_EQ(result.overall, manager::kNotInFilter);
  EXPECT_TRUE(result.refused.empty());
}

TEST_F(ManagerVsan, FilterIsOneForBothDirections) {
  for (const uint8_t direction : Bytes{1, 2, 3}) {
    EXPECT_EQ(filter(16, {direction}, direction).told, 0u);
  }
  EXPECT_EQ(session(0).filter, (VsanList{1, 2, 3}));
  for (const uint8_t direction : Bytes{0, 4, 255})
    EXPECT_EQ(filter(16, {5}, direction).overall, manager::kWrongDirection);
}

TEST_F(ManagerVsan, InterfacesOfTheRequestAreNotRead) {
  const SourceResult result =
      sources({.direction = 1, .operation = 4, .type = 3, .vsans = {1}, .ranges = {{fc(9, 9), fc(1, 1)}}});
  EXPECT_EQ(result.told, 0u);
  EXPECT_TRUE(result.interfaces.empty());
}

// ---- Source interface query -----------------------------------------------------------------------------------------

class ManagerSourceInfo : public ManagerTest {
 protected:
  void SetUp() override { create({0, 1}); }
};

TEST_F(ManagerSourceInfo, TellsTheFilterOfTheDirection) {
  EXPECT_EQ(only(sources({.direction = 1, .vsans = {1, 4, 9}, .ranges = {{fc(1, 1), fc(1, 1)}}})), 0u);
  EXPECT_EQ(add_source(0, fc(1, 1), 2), 0u);
  const SourceInfo rx = source_info(fc(1, 1), 0, 1);
  EXPECT_EQ(rx.valid, 1);
  EXPECT_TRUE(rx.filtered);
  EXPECT_FALSE(rx.has_traffic_type);
  EXPECT_EQ(rx.member, 0u);
  EXPECT_EQ(rx.bytes[22], 0x48);  // VSANs 1 and 4
  EXPECT_EQ(rx.bytes[23], 0x40);  // VSAN 9
  EXPECT_EQ(vsans_at(rx.bytes, 22), (VsanList{1, 4, 9}));
  const SourceInfo tx = source_info(fc(1, 1), 0, 2);
  EXPECT_EQ(tx.valid, 1);
  EXPECT_FALSE(tx.filtered);
  EXPECT_TRUE(vsans_at(tx.bytes, 22).empty());
}

TEST_F(ManagerSourceInfo, TellsNothingOfWhatIsNoSource) {
  EXPECT_EQ(add_source(0, fc(1, 1), 1), 0u);
  const std::pair<Bytes, const char*> requests[] = {{source_info_request(fc(1, 1), 0, 2), "direction"},
                                                    {source_info_request(fc(1, 1), 0, 0), "no direction"},
                                                    {source_info_request(fc(1, 1), 0, 3), "both directions"},
                                                    {source_info_request(fc(1, 1), 0, 255), "wrong direction"},
                                                    {source_info_request(fc(1, 1), 1, 1), "session"},
                                                    {source_info_request(fc(1, 1), 2, 1), "absent session"},
                                                    {source_info_request(fc(1, 1), 255, 1), "wrong session"},
                                                    {source_info_request(fc(9, 9), 0, 1), "interface"}};
  for (const auto& [request, name] : requests) {
    const Bytes answer = ask(2010, kQuery, request);
    ASSERT_EQ(answer.size(), 542u) << name;
    EXPECT_EQ(if_at(answer, 0), if_at(request, 0)) << name;
    for (size_t at = 4; at < answer.size(); ++at) ASSERT_EQ(answer[at], 0) << name << " at " << at;
    EXPECT_EQ(last_.result, 0u);
  }
}

// ---- SVC interfaces -------------------------------------------------------------------------------------------------

constexpr uint32_t kInitiator = port_channel(201);
constexpr uint32_t kTarget = port_channel(202);
constexpr uint32_t kManagement = port_channel(203);

class ManagerService : public ManagerTest {
 protected:
  void SetUp() override { create({0}); }

  uint32_t change(uint8_t operation, uint8_t direction, uint32_t if_index, const VsanList& vsans = {}) {
    return only(
        sources({.direction = direction, .operation = operation, .vsans = vsans, .ranges = {{if_index, if_index}}}));
  }
  std::vector<uint32_t> rx() { return session(0).rx; }
};

TEST_F(ManagerService, PortChannelTellsItsTrafficAndItsInterface) {
  const std::pair<uint32_t, size_t> kinds[] = {{kTarget, 22}, {kManagement, 23}, {kInitiator, 24}};
  for (const uint8_t direction : Bytes{1, 2}) {
    for (const auto& [channel, flag] : kinds) {
      EXPECT_EQ(change(1, direction, channel), 0u);
      const SourceInfo info = source_info(channel, 0, direction);
      EXPECT_EQ(info.valid, 1);
      EXPECT_TRUE(info.has_traffic_type);
      EXPECT_EQ(info.member, svc(2, 1));
      for (size_t at = 22; at < 542; ++at) EXPECT_EQ(info.bytes[at], at == flag) << at;
    }
  }
}

TEST_F(ManagerService, FilterOfAPortChannelLiesBehindItsNames) {
  EXPECT_EQ(change(1, 1, kTarget, {1, 400, 1000}), 0u);
  const SourceInfo info = source_info(kTarget, 0, 1);
  EXPECT_TRUE(info.filtered);
  EXPECT_EQ(Bytes(info.bytes.begin() + 22, info.bytes.begin() + 30), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(vsans_at(info.bytes, 30), (VsanList{1, 400, 1000}));
}

TEST_F(ManagerService, OtherPortChannelsCarryNoTrafficType) {
  EXPECT_EQ(add_source(0, port_channel(1), 1, 2), 0u);
  EXPECT_EQ(add_source(0, port_channel(2), 1, 1), 0u);
  for (const uint32_t channel : {port_channel(1), port_channel(2)}) {
    const SourceInfo info = source_info(channel, 0, 1);
    EXPECT_EQ(info.valid, 1);
    EXPECT_FALSE(info.has_traffic_type);
    EXPECT_EQ(info.member, 0u);
  }
}

TEST_F(ManagerService, InterfaceStandsForItsPortChannels) {
  EXPECT_EQ(change(1, 1, svc(2, 1)), 0u);
  EXPECT_EQ(change(4, 1, svc(2, 2)), 0u);
  EXPECT_EQ(rx(), (std::vector{kInitiator, kTarget, kManagement, port_channel(204)}));
  EXPECT_EQ(change(8, 1, kTarget), 0u);
  EXPECT_EQ(change(8, 3, svc(2, 1)), 0u);
  EXPECT_EQ(rx(), (std::vector{port_channel(204)}));
  EXPECT_EQ(change(8, 3, svc(2, 1)), manager::kNotSource);
}

TEST_F(ManagerService, FilterGoesToThePortChannelsThatAreSources) {
  EXPECT_EQ(change(1, 1, kTarget), 0u);
  EXPECT_EQ(change(1, 1, svc(2, 1), {5, 6}), 0u);
  EXPECT_EQ(rx(), (std::vector{kTarget}));
  EXPECT_EQ(filter_of(kTarget, 0, 1), (VsanList{5, 6}));
  EXPECT_EQ(change(2, 1, svc(2, 1), {6}), 0u);
  EXPECT_EQ(filter_of(kTarget, 0, 1), VsanList{5});
  EXPECT_EQ(change(2, 1, svc(2, 1), {7}), manager::kNotInFilter);
  EXPECT_EQ(change(2, 2, svc(2, 1), {5}), manager::kNotSource);
}

TEST_F(ManagerService, FilterMakesAllPortChannelsSourcesWhenNoneIs) {
  EXPECT_EQ(change(1, 1, svc(2, 1), {5}), 0u);
  EXPECT_EQ(rx(), (std::vector{kInitiator, kTarget, kManagement}));
  for (const uint32_t channel : rx()) EXPECT_EQ(filter_of(channel, 0, 1), VsanList{5});
}

TEST_F(ManagerService, PortChannelsOfAnInterfaceGetRoomTogetherOrNotAtAll) {
  EXPECT_EQ(sources({.direction = 1, .ranges = {{fc(1, 1), fc(1, 44)}, {fc(2, 1), fc(2, 18)}}}).told, 0u);
  EXPECT_EQ(change(1, 1, svc(2, 1)), manager::kTooManySources);
  EXPECT_EQ(rx().size(), 62u);
  EXPECT_EQ(change(1, 1, kTarget), 0u);
  EXPECT_EQ(change(1, 1, svc(2, 1)), manager::kTooManySources);
  EXPECT_EQ(change(1, 1, fc(2, 19)), 0u);
  EXPECT_EQ(change(1, 1, svc(2, 1), {5}), 0u);  // only the one that is there
  EXPECT_EQ(rx().size(), 64u);
}

TEST_F(ManagerService, StateFollowsTheLinkOfThePortChannel) {
  make_destination_port(fc(1, 1));
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(change(1, 1, kTarget), 0u);
  EXPECT_EQ(session(0).oper_state, 0);
}

}  // namespace
}  // namespace manager_test
