#include "host/daemon/service.h"

#include <algorithm>

#include "host/manager/reasons.h"
#include "tests/daemon/daemon_support.h"

namespace {

using namespace daemon_test;
using namespace manager_test;
using spand::Access;
using spand::Service;
using transport::Message;
using transport::Peer;
using transport::Type;

const Peer kRoot{0, 0, 11, {}, "shell"};
const Peer kMember{1000, 1000, 12, {100}, "shell"};
const Peer kStranger{1001, 1001, 13, {7}, "shell"};
constexpr gid_t kGroup = 100;

// What one message was answered, nothing as long as it was not.
using Answers = std::vector<Message>;

Answers say(Service& service, const Peer& peer, Type type, const transport::Bytes& body) {
  Answers answers;
  service.handle(peer, {type, 1, body}, [&answers](Type what, transport::Bytes bytes) {
    answers.push_back({what, 1, std::move(bytes)});
  });
  return answers;
}

template <class T>
T only(const Answers& answers, Type type) {
  EXPECT_EQ(answers.size(), 1u);
  if (answers.size() != 1 || answers[0].type != type) {
    ADD_FAILURE() << "no such answer";
    return {};
  }
  const auto body = transport::decode<T>(answers[0].body);
  EXPECT_TRUE(body.has_value());
  return body.value_or(T{});
}

transport::Reply ask(Service& service, const Peer& peer, uint32_t opcode, uint32_t kind, const Bytes& payload) {
  const transport::Request request{opcode, kind, "oper\n", "console", payload};
  return only<transport::Reply>(say(service, peer, Type::kRequest, encode(request)), Type::kReply);
}

transport::Reply create(Service& service, const Peer& peer, uint8_t index) {
  return ask(service, peer, 2004, kChange, sessions_request(1, {index}));
}

transport::Failed failure(const Answers& answers) { return only<transport::Failed>(answers, Type::kFailed); }

class ServiceTest : public testing::Test {
 protected:
  spand::State open() { return spand::open_state(state_.path(), lab(), spand::Unknown::kRefuse); }
  manager::Config kept() { return spand::read_config(state_.path()).value(); }
  spand::AuditLine last_line() { return spand::read_audit(state_.path(), 1).at(0); }
  size_t lines() { return spand::read_audit(state_.path(), 100'000).size(); }

  Directory state_;
  Service service_{lab(), Access(kGroup), open()};
};

// ---- Requests -------------------------------------------------------------------------------------------------------

TEST_F(ServiceTest, ChangeIsOnDiskBeforeItIsAnswered) {
  const transport::Request request{2004, kChange, "oper", "console", sessions_request(1, {3})};
  bool answered = false;
  service_.handle(kMember, {Type::kRequest, 1, encode(request)}, [&](Type, const transport::Bytes&) {
    answered = true;
    EXPECT_TRUE(kept().sessions[3].configured);
    EXPECT_EQ(last_line().what, "create session 4");
  });
  EXPECT_TRUE(answered);
}

TEST_F(ServiceTest, AuditTellsWhoChangedWhat) {
  create(service_, kMember, 0);
  const spand::AuditLine line = last_line();
  EXPECT_EQ(line.requester1, "oper\\x0a");
  EXPECT_EQ(line.requester2, "console");
  EXPECT_EQ(line.uid, 1000u);
  EXPECT_EQ(line.pid, 12);
  EXPECT_EQ(line.program, "shell");
  EXPECT_EQ(line.opcode, 2004u);
  EXPECT_EQ(line.result, 0u);
  EXPECT_TRUE(line.permitted);
}

TEST_F(ServiceTest, AuditTellsWhatTheManagerRefused) {
  const auto reply = ask(service_, kRoot, 2000, kChange, destination_request(0, 1, fc(1, 1)));
  EXPECT_EQ(reply.status, 0u);
  EXPECT_EQ(reply.result, manager::kSessionNotConfigured);
  EXPECT_EQ(last_line().result, manager::kSessionNotConfigured);
  ask(service_, kRoot, 2000, kChange, {1, 2, 3});
  EXPECT_EQ(last_line().result, manager::kMalformed);
}

TEST_F(ServiceTest, RequestersMayBeMissing) {
  const transport::Request request{2004, kChange, std::nullopt, std::nullopt, sessions_request(1, {3})};
  only<transport::Reply>(say(service_, kRoot, Type::kRequest, encode(request)), Type::kReply);
  EXPECT_EQ(last_line().requester1, "");
}

TEST_F(ServiceTest, StrangerMayAskButNotChange) {
  create(service_, kRoot, 5);
  const auto reply = create(service_, kStranger, 0);
  EXPECT_EQ(reply.status, manager::kNotPermitted);
  EXPECT_EQ(reply.result, manager::kNotPermitted);
  EXPECT_TRUE(reply.response.empty());
  EXPECT_FALSE(kept().sessions[0].configured);
  const spand::AuditLine line = last_line();
  EXPECT_EQ(line.uid, 1001u);
  EXPECT_EQ(line.what, "create session 1");
  EXPECT_EQ(line.result, manager::kNotPermitted);
  EXPECT_FALSE(line.permitted);
  const auto query = ask(service_, kStranger, 2001, kQuery, {5, 0, 0, 0});
  EXPECT_EQ(query.status, 0u);
  EXPECT_EQ(query.response.at(5), 1);
}

// Of every opcode, asked for as anything but a change.
TEST_F(ServiceTest, NothingButAChangeChangesAnything) {
  create(service_, kRoot, 0);
  const size_t before = lines();
  const manager::Config config = kept();
  const std::pair<uint32_t, Bytes> changes[] = {{2000, destination_request(0, 1, fc(1, 1))},
                                                {2002, bytes_of({.ranges = {{fc(1, 3), fc(1, 4)}}})},
                                                {2004, sessions_request(2, {0})},
                                                {2006, state_request(1, 0)},
                                                {2014, port_request({{fc(1, 1), fc(1, 1)}}, 1)},
                                                {2019, global_request(5, 0)}};
  for (const auto& [opcode, payload] : changes) {
    for (const uint32_t kind : {0u, kQuery, 2u, 4u, 0xFFFFFFFFu}) {
      EXPECT_EQ(ask(service_, kStranger, opcode, kind, payload).status, manager::kWrongKind) << opcode;
    }
    EXPECT_EQ(ask(service_, kStranger, opcode, kChange, payload).status, manager::kNotPermitted) << opcode;
  }
  EXPECT_EQ(kept(), config);
  EXPECT_EQ(lines(), before + std::size(changes));
}

TEST_F(ServiceTest, FullDiskRefusesChangesUntilThereIsRoom) {
  create(service_, kRoot, 0);
  {
    const FullDisk full(4096);
    testing::internal::CaptureStderr();
    for (const uint8_t index : Bytes{1, 2, 3}) {
      const auto reply = create(service_, kRoot, index);
      EXPECT_EQ(reply.status, manager::kNotSaved);
      EXPECT_EQ(reply.result, manager::kNotSaved);
    }
    EXPECT_EQ(create(service_, kStranger, 1).status, manager::kNotPermitted);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::ranges::count(log, '\n'), 1) << log;
    EXPECT_TRUE(log.starts_with("spand: changes cannot be saved, and are refused: ")) << log;
    EXPECT_EQ(ask(service_, kRoot, 2001, kQuery, {1, 0, 0, 0}).response.at(5), 0);
    EXPECT_EQ(ask(service_, kRoot, 2001, kQuery, {0, 0, 0, 0}).response.at(5), 1);
  }
  testing::internal::CaptureStderr();
  EXPECT_EQ(create(service_, kRoot, 1).status, 0u);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "spand: changes are saved again\n");
  EXPECT_TRUE(kept().sessions[1].configured);
  EXPECT_FALSE(kept().sessions[2].configured);
}

TEST_F(ServiceTest, DumpsAreForEverybody) {
  const transport::DumpRequest request{"span_debug_dump", {0, 0, 0, 0, 0, 0, 0, 0}};
  const auto dumped = only<transport::Dumped>(say(service_, kStranger, Type::kDump, encode(request)), Type::kDumped);
  EXPECT_EQ(dumped.status, 0u);
  EXPECT_TRUE(dumped.text.starts_with("SPAN manager of lab\n"));
}

TEST_F(ServiceTest, RolesNameModesAndDestinations) {
  create(service_, kRoot, 0);
  ask(service_, kRoot, 2014, kChange, port_request({{fc(1, 1), fc(1, 2)}}, 1));
  ask(service_, kRoot, 2000, kChange, destination_request(0, 1, fc(1, 2)));
  const auto roles = only<transport::RoleList>(say(service_, kStranger, Type::kRoles, {}), Type::kRoleList);
  EXPECT_EQ(roles.ports,
            (std::vector<transport::PortRole>{{fc(1, 1), 1, false}, {fc(1, 2), 1, true}, {fc(2, 48), 2, false}}));
}

TEST_F(ServiceTest, WhatIsMalformedOrForOthersFails) {
  for (const Type type : {Type::kRequest, Type::kDump, Type::kWatch, Type::kRoles, Type::kTakeOver}) {
    EXPECT_EQ(failure(say(service_, kRoot, type, {1, 2, 3})).error, uint32_t{EPROTO});
  }
  EXPECT_EQ(failure(say(service_, kRoot, Type::kSend, {})).error, uint32_t{EOPNOTSUPP});
}

TEST_F(ServiceTest, EveryMessageIsAnsweredWhateverItsBytes) {
  Dice dice(1);
  for (int i = 0; i < 3000; ++i) {
    transport::Bytes bytes(dice.below(60));
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(dice.one_in(2) ? 0 : dice.below(256));
    const Type type = dice.one_in(2) ? Type::kRequest : Type{static_cast<uint16_t>(dice.below(20))};
    EXPECT_EQ(say(service_, kStranger, type, bytes).size(), 1u);
  }
}

TEST_F(ServiceTest, ActiveOneHasTakenOverAlready) {
  EXPECT_EQ(only<transport::Reply>(say(service_, kRoot, Type::kTakeOver, {}), Type::kReply).status, 0u);
  const auto refused = only<transport::Reply>(say(service_, kStranger, Type::kTakeOver, {}), Type::kReply);
  EXPECT_EQ(refused.status, manager::kNotPermitted);
  EXPECT_EQ(last_line().what, "take over");
}

// ---- Line cards that wait -------------------------------------------------------------------------------------------

class WatchTest : public ServiceTest {
 protected:
  void watch(uint64_t generation) {
    service_.handle(kStranger, {Type::kWatch, 1, encode(transport::Watch{generation})},
                    [this](Type type, const transport::Bytes& body) {
                      EXPECT_EQ(type, Type::kRates);
                      rates_.push_back(transport::decode<transport::Rates>(body).value());
                    });
  }

  void mirror() {
    create(service_, kRoot, 0);
    ask(service_, kRoot, 2014, kChange, port_request({{fc(1, 1), fc(1, 1)}}, 1));
    ask(service_, kRoot, 2000, kChange, destination_request(0, 1, fc(1, 1)));
    ask(service_, kRoot, 2002, kChange, bytes_of({.ranges = {{fc(2, 3), fc(2, 3)}}}));
  }

  std::vector<transport::Rates> rates_;
};

TEST_F(WatchTest, WhoKnowsNothingIsToldAtOnce) {
  watch(0);
  ASSERT_EQ(rates_.size(), 1u);
  EXPECT_NE(rates_[0].generation, 0u);
  EXPECT_EQ(rates_[0].threshold, 1024u);
  EXPECT_TRUE(rates_[0].copies.empty());
}

TEST_F(WatchTest, WhoKnowsTheRatesIsToldWhenTheyChange) {
  watch(0);
  watch(rates_.at(0).generation);
  create(service_, kRoot, 5);
  EXPECT_EQ(rates_.size(), 1u);
  mirror();
  ASSERT_EQ(rates_.size(), 2u);
  EXPECT_NE(rates_[1].generation, rates_[0].generation);
  EXPECT_EQ(rates_[1].copies, (std::map<uint32_t, uint64_t>{{2, 2000}}));
  watch(rates_[1].generation);
  ask(service_, kRoot, 2019, kChange, global_request(7, 0));
  ASSERT_EQ(rates_.size(), 3u);
  EXPECT_EQ(rates_[2].threshold, 7u);
}

TEST_F(WatchTest, OrAfterASecond) {
  watch(0);
  watch(rates_.at(0).generation);
  const auto due = service_.watchers().next_due();
  ASSERT_TRUE(due.has_value());
  EXPECT_GT(*due, std::chrono::steady_clock::now());
  EXPECT_LE(*due, std::chrono::steady_clock::now() + std::chrono::seconds(1));
  service_.watchers().answer_due(*due - std::chrono::milliseconds(1));
  EXPECT_EQ(rates_.size(), 1u);
  service_.watchers().answer_due(*due);
  ASSERT_EQ(rates_.size(), 2u);
  EXPECT_EQ(rates_[0], rates_[1]);
  EXPECT_FALSE(service_.watchers().next_due().has_value());
}

TEST_F(WatchTest, NobodyWaitsForManyOthers) {
  watch(0);
  for (int i = 0; i < 5000; ++i) watch(rates_.at(0).generation);
  EXPECT_EQ(rates_.size(), 1 + 5000 - 4096u);
  service_.watchers().answer_all();
  EXPECT_EQ(rates_.size(), 5001u);
}

TEST_F(WatchTest, ChangeThatIsNotSavedIsNoChangeOfRates) {
  mirror();
  watch(0);
  watch(rates_.at(0).generation);
  const FullDisk full(4096);
  EXPECT_EQ(ask(service_, kRoot, 2019, kChange, global_request(9, 0)).status, manager::kNotSaved);
  EXPECT_EQ(rates_.size(), 1u);
}

// ---- Standby --------------------------------------------------------------------------------------------------------

class StandbyTest : public testing::Test {
 protected:
  transport::Reply take_over(const Peer& peer) {
    return only<transport::Reply>(say(service_, peer, Type::kTakeOver, {}), Type::kReply);
  }

  Directory state_;
  Service service_{lab(), Access(kGroup),
                   [this] { return spand::open_state(state_.path(), lab(), spand::Unknown::kRefuse); }};
};

TEST_F(StandbyTest, SessionQueryIsAnsweredWithNoSession) {
  const auto reply = ask(service_, kStranger, 2001, kQuery, {3, 0, 0, 0});
  EXPECT_EQ(reply.status, 0u);
  EXPECT_EQ(reply.response.size(), 1660u);
  EXPECT_EQ(be32(reply.response, 0), 0x4034002Bu);
  EXPECT_EQ(std::ranges::count(reply.response, 0), 1660 - 3);
}

TEST_F(StandbyTest, EverythingElseIsRefused) {
  for (const uint32_t opcode : {2000, 2002, 2004, 2005, 2006, 2010, 2014, 2016, 2019, 4711}) {
    EXPECT_EQ(ask(service_, kRoot, opcode, kChange, {}).status, manager::kStandby);
    EXPECT_EQ(ask(service_, kRoot, opcode, kQuery, {}).status, manager::kStandby);
  }
  const auto dump = say(service_, kRoot, Type::kDump, encode(transport::DumpRequest{"span_debug_dump", {}}));
  EXPECT_EQ(only<transport::Dumped>(dump, Type::kDumped).status, manager::kStandby);
  EXPECT_EQ(failure(say(service_, kRoot, Type::kRoles, {})).error, uint32_t{EAGAIN});
  EXPECT_EQ(failure(say(service_, kRoot, Type::kWatch, encode(transport::Watch{0}))).error, uint32_t{EAGAIN});
  EXPECT_FALSE(std::filesystem::exists(state_.file("span.db")));
}

TEST_F(StandbyTest, StrangerCannotMakeItTakeOver) {
  EXPECT_EQ(take_over(kStranger).status, manager::kNotPermitted);
  EXPECT_FALSE(service_.is_active());
}

TEST_F(StandbyTest, TakesNoOrderWithABody) {
  EXPECT_EQ(failure(say(service_, kRoot, Type::kTakeOver, {0})).error, uint32_t{EPROTO});
  EXPECT_FALSE(service_.is_active());
}

TEST_F(StandbyTest, TakesOverNothingThatIsInUse) {
  spand::Store active(state_.path());
  EXPECT_EQ(take_over(kMember).status, manager::kStillActive);
  EXPECT_FALSE(service_.is_active());
  EXPECT_EQ(ask(service_, kRoot, 2005, kQuery, {}).status, manager::kStandby);
}

TEST_F(StandbyTest, TakesOverWhatTheOtherOneLeft) {
  {
    Service active(lab(), Access(kGroup), spand::open_state(state_.path(), lab(), spand::Unknown::kRefuse));
    create(active, kRoot, 6);
  }
  EXPECT_EQ(take_over(kMember).status, 0u);
  EXPECT_TRUE(service_.is_active());
  EXPECT_EQ(ask(service_, kStranger, 2001, kQuery, {6, 0, 0, 0}).response.at(5), 1);
  EXPECT_EQ(create(service_, kRoot, 7).status, 0u);
  const auto audit = spand::read_audit(state_.path(), 2);
  EXPECT_EQ(audit.at(0).what, "take over");
  EXPECT_EQ(audit.at(0).uid, 1000u);
  EXPECT_EQ(audit.at(1).what, "create session 8");
}

TEST_F(StandbyTest, StaysOneWhenTheStateIsDamaged) {
  write(state_.file("span.db"), "damaged");
  const auto failed = failure(say(service_, kRoot, Type::kTakeOver, {}));
  EXPECT_TRUE(failed.text.starts_with(state_.file("span.db"))) << failed.text;
  EXPECT_FALSE(service_.is_active());
  std::filesystem::remove(state_.file("span.db"));
  EXPECT_EQ(take_over(kRoot).status, 0u);
}

}  // namespace
