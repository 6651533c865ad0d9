// Destinations, port modes and tunnels.
#include "tests/host/manager_support.h"

namespace manager_test {
namespace {

class ManagerDestination : public ManagerTest {
 protected:
  void SetUp() override { create({0, 1}); }
};

TEST_F(ManagerDestination, IsSetAndRemoved) {
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(session(0).destination, fc(1, 1));
  EXPECT_TRUE(manager_.is_destination(fc(1, 1)));
  EXPECT_EQ(remove_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(session(0).destination, 0u);
  EXPECT_FALSE(manager_.is_destination(fc(1, 1)));
  EXPECT_FALSE(manager_.is_destination(0));
}

TEST_F(ManagerDestination, AnotherOneReplacesIt) {
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(set_destination(0, fc(1, 2)), 0u);
  EXPECT_EQ(session(0).destination, fc(1, 2));
  EXPECT_EQ(set_destination(1, fc(1, 1)), 0u);
}

TEST_F(ManagerDestination, SessionMustBeConfigured) {
  for (const uint8_t index : Bytes{2, 16, 255}) {
    EXPECT_EQ(set_destination(index, fc(1, 1)), manager::kSessionNotConfigured);
    EXPECT_EQ(remove_destination(index, fc(1, 1)), manager::kSessionNotConfigured);
  }
}

TEST_F(ManagerDestination, InterfaceMustExist) {
  for (const uint32_t unknown : {0u, fc(9, 99), fc(1, 49), port_channel(9), 0xFFFFFFFFu}) {
    EXPECT_EQ(set_destination(0, unknown), manager::kUnknownInterface) << std::hex << unknown;
  }
  EXPECT_EQ(session(0).destination, 0u);
}

TEST_F(ManagerDestination, InterfaceMustBeAPortOrATunnel) {
  for (const uint32_t other : {port_channel(1), port_channel(201), inband(0), fcip(1), iscsi(1, 1), svc(2, 1)}) {
    EXPECT_EQ(set_destination(0, other), manager::kCannotBeDestination) << std::hex << other;
  }
  EXPECT_EQ(set_destination(0, tunnel(2)), 0u);
}

TEST_F(ManagerDestination, MemberOfAPortChannelIsRefused) {
  EXPECT_EQ(set_destination(0, fc(1, 45)), manager::kMemberOfPortChannel);
}

TEST_F(ManagerDestination, SourceOfAnySessionIsRefused) {
  EXPECT_EQ(add_source(0, fc(1, 3), 1), 0u);
  EXPECT_EQ(add_source(1, fc(1, 4), 2), 0u);
  EXPECT_EQ(set_destination(0, fc(1, 3)), manager::kIsSource);
  EXPECT_EQ(set_destination(0, fc(1, 4)), manager::kIsSource);
}

TEST_F(ManagerDestination, OneOfAnotherSessionIsRefused) {
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(set_destination(1, fc(1, 1)), manager::kDestinationInUse);
  EXPECT_EQ(set_destination(1, tunnel(1)), 0u);
  EXPECT_EQ(set_destination(0, tunnel(1)), manager::kDestinationInUse);
  EXPECT_EQ(session(0).destination, fc(1, 1));
}

TEST_F(ManagerDestination, OnlyThePresentOneIsRemoved) {
  EXPECT_EQ(remove_destination(0, fc(1, 1)), manager::kNotDestination);
  EXPECT_EQ(remove_destination(0, 0), manager::kNotDestination);
  EXPECT_EQ(set_destination(0, fc(1, 1)), 0u);
  EXPECT_EQ(remove_destination(0, fc(1, 2)), manager::kNotDestination);
  EXPECT_EQ(remove_destination(1, fc(1, 1)), manager::kNotDestination);
  EXPECT_EQ(session(0).destination, fc(1, 1));
}

TEST_F(ManagerDestination, UnknownOperationIsRefused) {
  for (const uint8_t operation : Bytes{0, 3, 255}) {
    EXPECT_EQ(destination(0, operation, fc(1, 1)), manager::kUnknownOperation);
  }
  EXPECT_EQ(session(0).destination, 0u);
}

// ---- Port mode ------------------------------------------------------------------------------------------------------

class ManagerPortMode : public ManagerTest {
 protected:
  // What is told of one interface.
  uint32_t mode(uint32_t if_index, uint32_t value) {
    const Results results = set_port_mode({{if_index, if_index}}, value);
    EXPECT_EQ(results.size(), 1u);
    if (results.empty()) return 0xDEADBEEF;
    EXPECT_EQ(results[0].first, if_index);
    EXPECT_EQ(results[0].second, last_.result);
    return results[0].second;
  }
};

TEST_F(ManagerPortMode, IsSetOnEachInterfaceOfTheRanges) {
  EXPECT_EQ(set_port_mode({{fc(1, 1), fc(1, 3)}, {fc(2, 5), fc(2, 5)}, {fc(1, 2), fc(1, 2)}}, 1),
            (Results{{fc(1, 1), 0}, {fc(1, 2), 0}, {fc(1, 3), 0}, {fc(2, 5), 0}}));
  for (const uint32_t port : {fc(1, 1), fc(1, 2), fc(1, 3), fc(2, 5)}) {
    EXPECT_EQ(manager_.port_mode(port), chassis::PortMode::kSpanDestination);
  }
  EXPECT_EQ(manager_.port_mode(fc(1, 4)), chassis::PortMode::kNormal);
  EXPECT_EQ(mode(fc(1, 1), 2), 0u);
  EXPECT_EQ(manager_.port_mode(fc(1, 1)), chassis::PortMode::kTunnelSource);
  EXPECT_EQ(mode(fc(1, 1), 0), 0u);
  EXPECT_EQ(manager_.port_mode(fc(1, 1)), chassis::PortMode::kNormal);
}

TEST_F(ManagerPortMode, EachRefusalIsToldAndTheOthersAreDone) {
  create({0});
  EXPECT_EQ(add_source(0, fc(1, 2)), 0u);
  EXPECT_EQ(set_port_mode({{fc(1, 1), fc(1, 2)},
                           {fc(1, 45), fc(1, 45)},
                           {fc(9, 99), fc(9, 99)},
                           {port_channel(1), port_channel(1)},
                           {fc(1, 40), fc(2, 2)},
                           {fc(1, 9), fc(1, 8)}},
                          1),
            (Results{{fc(1, 1), 0},
                     {fc(1, 2), manager::kIsSource},
                     {fc(1, 45), manager::kMemberOfPortChannel},
                     {fc(9, 99), manager::kUnknownInterface},
                     {port_channel(1), manager::kHasNoPortMode},
                     {fc(1, 40), manager::kMixedRange},
                     {fc(1, 9), manager::kReversedRange}}));
  EXPECT_EQ(last_.result, manager::kIsSource);
  EXPECT_EQ(manager_.port_mode(fc(1, 1)), chassis::PortMode::kSpanDestination);
  EXPECT_EQ(manager_.port_mode(fc(1, 2)), chassis::PortMode::kNormal);
  EXPECT_EQ(manager_.port_mode(fc(2, 1)), chassis::PortMode::kNormal);
}

TEST_F(ManagerPortMode, OnlyFibreChannelPortsHaveOne) {
  for (const uint32_t other : {port_channel(1), inband(0), fcip(1), iscsi(1, 1), svc(2, 1), tunnel(1)}) {
    EXPECT_EQ(mode(other, 1), manager::kHasNoPortMode);
    EXPECT_EQ(mode(other, 0), manager::kHasNoPortMode);
  }
}

TEST_F(ManagerPortMode, NormalModeIsRefusedToNoPort) {
  create({0});
  EXPECT_EQ(add_source(0, fc(1, 2)), 0u);
  EXPECT_EQ(mode(fc(1, 2), 0), 0u);
  EXPECT_EQ(mode(fc(1, 2), 2), manager::kIsSource);
  EXPECT_EQ(mode(fc(1, 45), 0), 0u);
  EXPECT_EQ(mode(fc(1, 45), 2), manager::kMemberOfPortChannel);
}

TEST_F(ManagerPortMode, UnknownModeIsRefusedAsAWhole) {
  for (const uint32_t value : {3u, 256u, 0x01000000u, 0xFFFFFFFFu}) {
    const Bytes answer = ask(2014, kChange, port_request({{fc(1, 1), fc(1, 1)}}, value));
    EXPECT_EQ(be32(answer, 0), manager::kUnknownPortMode);
    EXPECT_EQ(be32(answer, 4), 0u);
    EXPECT_EQ(answer.size(), 8u);
    EXPECT_EQ(last_.result, manager::kUnknownPortMode);
  }
}

TEST_F(ManagerPortMode, UnknownEntryIsRefusedAsAWhole) {
  for (const uint8_t type : Bytes{0, 2, 255}) {
    EXPECT_EQ(be32(ask(2014, kChange, port_request({{fc(1, 1), fc(1, 1)}}, 1, type)), 0), manager::kUnknownEntry);
  }
  EXPECT_EQ(manager_.port_mode(fc(1, 1)), chassis::PortMode::kNormal);
}

TEST_F(ManagerPortMode, NoRangesAreRefusedAsAWhole) {
  EXPECT_EQ(be32(ask(2014, kChange, port_request({}, 1)), 0), manager::kNoInterfaces);
}

// ---- Tunnels --------------------------------------------------------------------------------------------------------

class ManagerTunnel : public ManagerTest {
 protected:
  uint32_t tunnel_of(uint32_t port) {
    const Bytes answer = ask(2016, kQuery, tunnel_request(port));
    EXPECT_EQ(answer.size(), 12u);
    return be32(answer, 8);
  }
};

TEST_F(ManagerTunnel, PortOfATunnelIsInItsModeFromTheStart) {
  EXPECT_EQ(manager_.port_mode(fc(2, 48)), chassis::PortMode::kTunnelSource);
  EXPECT_EQ(tunnel_of(fc(2, 48)), tunnel(1));
}

TEST_F(ManagerTunnel, PortInAnotherModeHasNone) {
  EXPECT_EQ(set_port_mode({{fc(2, 48), fc(2, 48)}}, 0), (Results{{fc(2, 48), 0}}));
  EXPECT_EQ(tunnel_of(fc(2, 48)), 0u);
  EXPECT_EQ(set_port_mode({{fc(2, 48), fc(2, 48)}}, 2), (Results{{fc(2, 48), 0}}));
  EXPECT_EQ(tunnel_of(fc(2, 48)), tunnel(1));
}

TEST_F(ManagerTunnel, OtherInterfacesHaveNone) {
  EXPECT_EQ(set_port_mode({{fc(1, 1), fc(1, 1)}}, 2), (Results{{fc(1, 1), 0}}));
  for (const uint32_t other : {fc(1, 1), fc(1, 2), fc(9, 99), tunnel(1), 0u}) {
    EXPECT_EQ(tunnel_of(other), 0u);
    EXPECT_EQ(last_.result, 0u);
  }
}

// ---- Threshold ------------------------------------------------------------------------------------------------------

class ManagerThreshold : public ManagerTest {
 protected:
  uint32_t read() {
    const Bytes answer = ask(2019, kQuery, global_request(77, 1));
    EXPECT_EQ(answer.size(), 28u);
    EXPECT_EQ(be32(answer, 16), 1u);
    EXPECT_EQ(be32(answer, 24), 0u);
    return be32(answer, 8);
  }

  // The result in the answer to a write.
  uint32_t write(uint32_t threshold) {
    const Bytes answer = ask(2019, kChange, global_request(threshold, 0));
    EXPECT_EQ(Bytes(answer.begin(), answer.begin() + 8), (Bytes{0, 0, 0, 24, 0, 1, 0, 4}));
    EXPECT_EQ(Bytes(answer.begin() + 12, answer.begin() + 24), (Bytes{0, 2, 0, 4, 0, 0, 0, 0, 0, 3, 0, 4}));
    EXPECT_EQ(be32(answer, 24), last_.result);
    return be32(answer, 24);
  }
};

TEST_F(ManagerThreshold, HasADefaultThatAResetBringsBack) {
  EXPECT_EQ(read(), 1024u);
  EXPECT_EQ(write(500), 0u);
  EXPECT_EQ(read(), 500u);
  EXPECT_EQ(write(0xFFFFFFFF), 0u);
  EXPECT_EQ(be32(last_.response, 8), 1024u);
  EXPECT_EQ(read(), 1024u);
}

TEST_F(ManagerThreshold, GoesFrom1To65535) {
  for (const uint32_t good : {1u, 65535u}) {
    EXPECT_EQ(write(good), 0u);
    EXPECT_EQ(read(), good);
  }
  for (const uint32_t bad : {0u, 65536u, 0x80000000u, 0xFFFFFFFEu}) {
    EXPECT_EQ(write(bad), manager::kBadThreshold);
    EXPECT_EQ(be32(last_.response, 8), 65535u);
    EXPECT_EQ(read(), 65535u);
  }
}

TEST_F(ManagerThreshold, UnknownOperationHasNoAnswer) {
  for (const uint32_t kind : {0u, kQuery, kChange}) {
    const manager::Reply reply = manager_.handle(2019, kind, global_request(9, 5));
    EXPECT_EQ(reply.status, manager::kUnknownOperation);
    EXPECT_TRUE(reply.response.empty());
  }
}

TEST_F(ManagerThreshold, NeedsThresholdAndOperation) {
  const Bytes only_operation = {0, 0, 0, 8, 0, 2, 0, 4, 0, 0, 0, 1};
  const Bytes only_threshold = {0, 0, 0, 8, 0, 1, 0, 4, 0, 0, 0, 1};
  for (const Bytes& request : {only_operation, only_threshold, Bytes{0, 0, 0, 0}}) {
    EXPECT_EQ(manager_.handle(2019, kQuery, request).status, manager::kMalformed);
  }
  const Bytes both_and_unknown = {0, 0, 0, 24, 0, 2, 0, 4, 0, 0, 0, 0, 0, 9, 0, 4, 1, 2, 3, 4, 0, 1, 0, 4, 0, 0, 0, 8};
  EXPECT_EQ(manager_.handle(2019, kChange, both_and_unknown).status, 0u);
  EXPECT_EQ(read(), 8u);
}

TEST_F(ManagerThreshold, LengthsInsideTheRecordAreChecked) {
  for (const size_t at : {0u, 1u, 2u, 3u, 6u, 7u, 14u, 15u}) {
    Bytes request = global_request(9, 0);
    request[at] = static_cast<uint8_t>(request[at] + 1);
    EXPECT_EQ(manager_.handle(2019, kChange, request).status, manager::kMalformed) << at;
  }
  EXPECT_EQ(read(), 1024u);
}

}  // namespace
}  // namespace manager_test
