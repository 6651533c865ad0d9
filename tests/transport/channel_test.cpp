// The client's line: answers, time-outs, interrupts.
#include "host/transport/channel.h"

#include <sys/time.h>

#include <csignal>

#include "transport_support.h"

namespace {

using namespace transport_test;
using transport::Interrupt;

// Answers a kSend, and keeps the responder of anything else.
class ChannelTest : public testing::Test {
 protected:
  void keep(const Peer& peer, Message message, Responder answer) {
    if (message.type == Type::kSend) return echo(peer, std::move(message), std::move(answer));
    kept_.push_back(std::move(answer));
    kept_bodies_.push_back(std::move(message.body));
  }

  void await_kept(size_t count) {
    ASSERT_TRUE(eventually([&] { return serving_.in_thread([this] { return kept_.size(); }) == count; }));
  }

  Folder folder_;
  const std::string path_ = folder_ / "s";
  std::vector<Responder> kept_;
  std::vector<Bytes> kept_bodies_;
  Serving serving_{path_, [this](const Peer& peer, Message message, Responder answer) {
                     keep(peer, std::move(message), std::move(answer));
                   }};
  Interrupt interrupt_;
  Channel channel_{path_, "test", &interrupt_};
  Message answer_{};
};

TEST_F(ChannelTest, ConnectsWhenItIsNeeded) {
  EXPECT_EQ(serving_.clients(), 0u);
  EXPECT_EQ(channel_.call(Type::kSend, {1, 2}, answer_, kPatience), 0);
  EXPECT_EQ(answer_.type, Type::kAnswer);
  EXPECT_EQ(answer_.body, (Bytes{1, 2}));
  EXPECT_EQ(serving_.clients(), 1u);
  EXPECT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), 0);
  EXPECT_EQ(serving_.clients(), 1u);
}

TEST_F(ChannelTest, TellsWhoWelcomedIt) {
  Welcome welcome;
  EXPECT_EQ(channel_.welcome(welcome, kPatience), 0);
  EXPECT_EQ(welcome, kWelcome);
  EXPECT_EQ(serving_.clients(), 1u);
  EXPECT_EQ(channel_.welcome(welcome, kPatience), 0);
  EXPECT_EQ(serving_.clients(), 1u);
}

TEST_F(ChannelTest, MovesWithItsLine) {
  ASSERT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), 0);
  Channel moved = std::move(channel_);
  EXPECT_EQ(moved.call(Type::kSend, {}, answer_, kPatience), 0);
  EXPECT_EQ(serving_.clients(), 1u);
}

TEST_F(ChannelTest, SendsNothingThatIsTooLong) {
  EXPECT_EQ(channel_.call(Type::kSend, Bytes(transport::kMaxBody + 1), answer_, kPatience), EMSGSIZE);
  EXPECT_EQ(channel_.call(Type::kSend, Bytes(transport::kMaxBody), answer_, kPatience), 0);
  EXPECT_EQ(serving_.received(), 1);
}

TEST_F(ChannelTest, WaitsNoLongerThanItsPatience) {
  const auto start = Clock::now();
  EXPECT_EQ(channel_.call(Type::kWatch, {}, answer_, Milliseconds(60)), ETIMEDOUT);
  EXPECT_GE(Clock::now() - start, Milliseconds(60));
  EXPECT_LT(Clock::now() - start, Milliseconds(1000));
}

TEST_F(ChannelTest, ThrowsALateAnswerAwayAndKeepsItsLine) {
  ASSERT_EQ(channel_.call(Type::kWatch, {}, answer_, kMoment), ETIMEDOUT);
  await_kept(1);
  serving_.in_thread([this] { kept_[0](Type::kRates, {9}); });
  EXPECT_EQ(channel_.call(Type::kSend, {1}, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, Bytes{1});
  EXPECT_EQ(serving_.clients(), 1u);
}

TEST_F(ChannelTest, ThrowsALateAnswerAwayThatComesWhileItWaits) {
  ASSERT_EQ(channel_.call(Type::kWatch, {}, answer_, kMoment), ETIMEDOUT);
  uint32_t id = 0;
  ASSERT_EQ(channel_.send(Type::kWatch, {}, id, kPatience), 0);
  await_kept(2);
  serving_.in_thread([this] {
    kept_[0](Type::kRates, Bytes(100000, 8));
    kept_[1](Type::kRates, {9});
  });
  EXPECT_EQ(channel_.receive(id, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, Bytes{9});
}

TEST_F(ChannelTest, ReceivesAfterATimeOut) {
  uint32_t id = 0;
  ASSERT_EQ(channel_.send(Type::kWatch, {}, id, kPatience), 0);
  EXPECT_EQ(channel_.receive(id, answer_, Milliseconds(0)), ETIMEDOUT);
  EXPECT_EQ(channel_.receive(id, answer_, kMoment), ETIMEDOUT);
  await_kept(1);
  serving_.in_thread([this] { kept_[0](Type::kRates, {9}); });
  EXPECT_EQ(channel_.receive(id, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, Bytes{9});
}

TEST_F(ChannelTest, ReceivesInAnyOrderAndBesidesCalls) {
  uint32_t ids[3];
  for (uint32_t& id : ids) ASSERT_EQ(channel_.send(Type::kWatch, {}, id, kPatience), 0);
  await_kept(3);
  serving_.in_thread([this] {
    for (uint8_t i = 0; i < 3; ++i) kept_[i](Type::kRates, Bytes(70000, i));
  });
  EXPECT_EQ(channel_.call(Type::kSend, {1}, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, Bytes{1});
  for (const uint8_t i : Bytes{2, 0, 1}) {
    EXPECT_EQ(channel_.receive(ids[i], answer_, kPatience), 0);
    EXPECT_EQ(answer_.body, Bytes(70000, i));
  }
}

TEST_F(ChannelTest, KeepsTheLatest64Answers) {
  uint32_t ids[70];
  for (uint32_t& id : ids) ASSERT_EQ(channel_.send(Type::kWatch, {}, id, kPatience), 0);
  await_kept(70);
  serving_.in_thread([this] {
    for (uint8_t i = 0; i < 70; ++i) kept_[i](Type::kRates, {i});
  });
  EXPECT_EQ(channel_.receive(ids[69], answer_, kPatience), 0);
  EXPECT_EQ(channel_.receive(ids[4], answer_, kMoment), ETIMEDOUT);
  for (uint8_t i = 5; i < 69; ++i) {
    ASSERT_EQ(channel_.receive(ids[i], answer_, Milliseconds(0)), 0);
    EXPECT_EQ(answer_.body, Bytes{i});
  }
}

TEST_F(ChannelTest, KeepsNoAbandonedAnswers) {
  uint32_t ids[65];
  for (uint32_t& id : ids) ASSERT_EQ(channel_.send(Type::kWatch, {}, id, kPatience), 0);
  await_kept(65);
  serving_.in_thread([this] { kept_[1](Type::kRates, {1}); });
  ASSERT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), 0);
  for (int i = 1; i < 65; ++i) channel_.abandon(ids[i]);
  serving_.in_thread([this] {
    for (uint8_t i = 0; i < 65; ++i) {
      if (i != 1) kept_[i](Type::kRates, {i});
    }
  });
  ASSERT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), 0);
  EXPECT_EQ(channel_.receive(ids[0], answer_, Milliseconds(0)), 0);
  EXPECT_EQ(answer_.body, Bytes{0});
  for (const int i : {1, 2, 64}) EXPECT_EQ(channel_.receive(ids[i], answer_, Milliseconds(0)), ETIMEDOUT) << i;
}

TEST_F(ChannelTest, KeepsNoLateAnswers) {
  uint32_t id = 0;
  ASSERT_EQ(channel_.send(Type::kWatch, {}, id, kPatience), 0);
  for (int i = 0; i < 64; ++i) ASSERT_EQ(channel_.call(Type::kWatch, {}, answer_, Milliseconds(0)), ETIMEDOUT);
  await_kept(65);
  serving_.in_thread([this] {
    for (const Responder& answer : kept_) answer(Type::kRates, {9});
  });
  ASSERT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), 0);
  EXPECT_EQ(channel_.receive(id, answer_, Milliseconds(0)), 0);
}

TEST_F(ChannelTest, FailsWithWhatTheServerSays) {
  uint32_t id = 0;
  ASSERT_EQ(channel_.send(Type::kWatch, {}, id, kPatience), 0);
  await_kept(1);
  serving_.in_thread([this] { kept_[0](Type::kFailed, encode(transport::Failed{EHOSTUNREACH, "no module 7"})); });
  EXPECT_EQ(channel_.receive(id, answer_, kPatience), EHOSTUNREACH);
  EXPECT_EQ(transport::decode<transport::Failed>(answer_.body)->text, "no module 7");
}

// What is no number of an error does not become one, and above all not success.
TEST_F(ChannelTest, FailsWhateverTheNumberIs) {
  const Bytes bodies[] = {encode(transport::Failed{0, ""}), encode(transport::Failed{0x80000001, ""}), Bytes{1}};
  for (const Bytes& body : bodies) {
    uint32_t id = 0;
    ASSERT_EQ(channel_.send(Type::kWatch, {}, id, kPatience), 0);
    await_kept(1);
    serving_.in_thread([&] {
      kept_[0](Type::kFailed, body);
      kept_.clear();
    });
    EXPECT_EQ(channel_.receive(id, answer_, kPatience), EPROTO);
  }
}

TEST_F(ChannelTest, IsInterruptedFromAnotherThread) {
  std::thread other([this] {
    await_kept(1);
    interrupt_.raise();
  });
  const auto start = Clock::now();
  EXPECT_EQ(channel_.call(Type::kWatch, {}, answer_, kPatience), EINTR);
  EXPECT_LT(Clock::now() - start, kPatience);
  other.join();
}

TEST_F(ChannelTest, IsInterruptedUntilTheInterruptIsCleared) {
  interrupt_.raise();
  interrupt_.raise();
  EXPECT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), EINTR);
  uint32_t id = 0;
  EXPECT_EQ(channel_.send(Type::kSend, {}, id, kPatience), EINTR);
  Welcome welcome;
  EXPECT_EQ(channel_.welcome(welcome, kPatience), EINTR);
  interrupt_.clear();
  EXPECT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), 0);
  EXPECT_EQ(serving_.received(), 1);
  interrupt_.raise();
  EXPECT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), EINTR);
  interrupt_.clear();
  EXPECT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), 0);
  EXPECT_EQ(serving_.received(), 2);
}

// Whatever connecting would have failed with.
TEST_F(ChannelTest, IsInterruptedWhereNobodyServes) {
  Channel channel(folder_ / "nobody", "test", &interrupt_);
  Welcome welcome;
  EXPECT_EQ(channel.welcome(welcome, kPatience), ENOENT);
  interrupt_.raise();
  EXPECT_EQ(channel.welcome(welcome, kPatience), EINTR);
  EXPECT_EQ(channel.call(Type::kSend, {}, answer_, kPatience), EINTR);
  interrupt_.clear();
  EXPECT_EQ(channel.welcome(welcome, kPatience), ENOENT);
}

TEST_F(ChannelTest, ReceivesAfterAnInterrupt) {
  uint32_t id = 0;
  ASSERT_EQ(channel_.send(Type::kSend, {4}, id, kPatience), 0);
  interrupt_.raise();
  EXPECT_EQ(channel_.receive(id, answer_, kPatience), EINTR);
  interrupt_.clear();
  EXPECT_EQ(channel_.receive(id, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, Bytes{4});
}

TEST_F(ChannelTest, MayDoWithoutAnInterrupt) {
  Channel channel(path_, "test");
  EXPECT_EQ(channel.call(Type::kSend, {}, answer_, kPatience), 0);
  EXPECT_EQ(channel.call(Type::kWatch, {}, answer_, kMoment), ETIMEDOUT);
}

// A timer that interrupts system calls every other millisecond.
class Alarms {
 public:
  explicit Alarms(void (*handler)(int)) {
    handle(handler);
    const itimerval often{{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &often, nullptr);
  }
  // The last one may still be on its way.
  ~Alarms() {
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    handle(SIG_IGN);
  }

 private:
  static void handle(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigaction(SIGALRM, &action, nullptr);
  }
};

volatile sig_atomic_t alarms = 0;
Interrupt* raised_by_alarm = nullptr;

TEST_F(ChannelTest, IsNotInterruptedBySignals) {
  alarms = 0;
  const Alarms often([](int) { alarms = alarms + 1; });
  const auto start = Clock::now();
  EXPECT_EQ(channel_.call(Type::kWatch, {}, answer_, Milliseconds(100)), ETIMEDOUT);
  EXPECT_GE(Clock::now() - start, Milliseconds(100));
  EXPECT_GT(alarms, 10);
  const Bytes body(1000000, 1);
  EXPECT_EQ(channel_.call(Type::kSend, body, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, body);
}

TEST_F(ChannelTest, IsInterruptedByASignalThatRaisesIt) {
  ASSERT_EQ(channel_.call(Type::kSend, {}, answer_, kPatience), 0);
  raised_by_alarm = &interrupt_;
  const Alarms often([](int) { raised_by_alarm->raise(); });
  EXPECT_EQ(channel_.call(Type::kWatch, {}, answer_, kPatience), EINTR);
}

}  // namespace
