// The client's line when the other end goes, comes back, or is no server at all.
#include <poll.h>

#include <future>

#include "host/transport/channel.h"
#include "transport_support.h"

namespace {

using namespace transport_test;

const Bytes kWelcomeBody = encode(kWelcome);

// A server that follows a script, one record after the other.
class Scripted {
 public:
  explicit Scripted(const std::string& path) { listener_.listen(path); }

  // The next client, greeted.
  Raw client() {
    Raw client = listener_.accept();
    const Bytes hello = client.receive();
    EXPECT_EQ(Raw::type_of(hello), 1u);
    Bytes welcome = frame({.type = 2, .id = Raw::id_of(hello), .total = static_cast<uint32_t>(kWelcomeBody.size())});
    welcome.insert(welcome.end(), kWelcomeBody.begin(), kWelcomeBody.end());
    client.send(welcome);
    return client;
  }

  Raw stranger() { return listener_.accept(); }

  bool has_another_client() {
    pollfd file{listener_.descriptor(), POLLIN, 0};
    return poll(&file, 1, static_cast<int>(kMoment.count())) > 0;
  }

 private:
  Raw listener_;
};

class ChannelBreak : public testing::Test {
 protected:
  int call(Milliseconds patience = kPatience) { return channel_.call(Type::kSend, {1}, answer_, patience); }

  // The result of a call while a scripted server acts.
  template <class Script>
  int call_while(Script script, Bytes body = {1}, Milliseconds patience = kPatience) {
    auto result = std::async(std::launch::async, [&, body = std::move(body)] {
      return channel_.call(Type::kSend, body, answer_, patience);
    });
    script();
    return result.get();
  }

  // What the channel makes of a server's first record, which is the answer to the greeting unless it says otherwise.
  int call_greeted_with(const Bytes& record) {
    Scripted server(path_);
    const int error = call_while([&] {
      Raw client = server.stranger();
      client.receive();
      client.send(record);
      client.close();
    });
    std::filesystem::remove(path_);
    return error;
  }

  Folder folder_;
  const std::string path_ = folder_ / "s";
  Channel channel_{path_, "test"};
  Message answer_{};
};

TEST_F(ChannelBreak, IsNoticedWhereNobodyServes) {
  EXPECT_EQ(call(), ENOENT);
  Raw().listen(path_);
  EXPECT_EQ(call(), ECONNREFUSED);
  std::filesystem::remove(path_);
  Serving serving(path_);
  EXPECT_EQ(call(), 0);
}

TEST_F(ChannelBreak, IsNotNoticedWhenTheServerStartedAgainInBetween) {
  auto serving = std::make_unique<Serving>(path_);
  ASSERT_EQ(call(), 0);
  for (int round = 0; round < 5; ++round) {
    serving.reset();
    serving = std::make_unique<Serving>(path_);
    EXPECT_EQ(call(), 0);
    EXPECT_EQ(serving->received(), 1);
  }
}

TEST_F(ChannelBreak, IsNotNoticedByTheNextWelcomeEither) {
  auto serving = std::make_unique<Serving>(path_);
  ASSERT_EQ(call(), 0);
  serving.reset();
  Welcome welcome;
  EXPECT_EQ(channel_.welcome(welcome, kPatience), ENOENT);
  serving = std::make_unique<Serving>(path_);
  serving->in_thread([&serving] { serving->server().set_role(transport::Role::kStandby); });
  EXPECT_EQ(channel_.welcome(welcome, kPatience), 0);
  EXPECT_EQ(welcome.role, transport::Role::kStandby);
}

TEST_F(ChannelBreak, WithAMessageUnderWayIsToldAndNothingIsSentAgain) {
  std::unique_ptr<Server>* owner = nullptr;
  auto first = std::make_unique<Serving>(path_, [&owner](const Peer&, Message, Responder) { owner->reset(); });
  owner = &first->owner();
  EXPECT_EQ(call(), ECONNRESET);
  EXPECT_EQ(first->received(), 1);
  first.reset();
  Serving second(path_);
  EXPECT_EQ(second.clients(), 0u);
  EXPECT_EQ(call(), 0);
  EXPECT_EQ(second.received(), 1);
}

TEST_F(ChannelBreak, InTheMiddleOfAMessageIsToldAndNothingIsSentAgain) {
  Scripted server(path_);
  const auto cut_after_one_frame = [&server] {
    Raw client = server.client();
    EXPECT_EQ(client.receive().size(), 61460u);
  };
  EXPECT_EQ(call_while(cut_after_one_frame, Bytes(2000000)), ECONNRESET);
  EXPECT_FALSE(server.has_another_client());
}

TEST_F(ChannelBreak, InTheMiddleOfAnAnswerIsTold) {
  Scripted server(path_);
  const auto cut_after_half_an_answer = [&server] {
    Raw client = server.client();
    client.send(frame({.type = 13, .id = Raw::id_of(client.receive()), .total = 10}, 5));
  };
  EXPECT_EQ(call_while(cut_after_half_an_answer), ECONNRESET);
  EXPECT_FALSE(server.has_another_client());
  const auto answer_whole = [&server] {
    Raw client = server.client();
    client.send(frame({.type = 13, .id = Raw::id_of(client.receive()), .total = 5}, 5));
  };
  EXPECT_EQ(call_while(answer_whole), 0);
}

// The kernel tells first that a peer went with something unread, and what it had sent only then.
TEST_F(ChannelBreak, DoesNotLoseTheAnswerThatCameBefore) {
  Scripted server(path_);
  uint32_t first = 0;
  uint32_t second = 0;
  auto line = std::async(std::launch::async, [&server] { return server.client(); });
  ASSERT_EQ(channel_.send(Type::kSend, {}, first, kPatience), 0);
  Raw client = line.get();
  ASSERT_EQ(channel_.send(Type::kSend, {}, second, kPatience), 0);
  client.send(frame({.type = 13, .id = Raw::id_of(client.receive()), .total = 3}, 3));
  client.close();
  EXPECT_EQ(channel_.receive(first, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body.size(), 3u);
  EXPECT_EQ(channel_.receive(second, answer_, kPatience), ECONNRESET);
}

TEST_F(ChannelBreak, LosesMessagesThatWereNotAnswered) {
  uint32_t lost[2];
  auto first = std::make_unique<Serving>(path_, [](const Peer&, Message, Responder) {});
  for (uint32_t& id : lost) ASSERT_EQ(channel_.send(Type::kSend, {}, id, kPatience), 0);
  first.reset();
  const auto start = Clock::now();
  EXPECT_EQ(channel_.receive(lost[0], answer_, kPatience), ECONNRESET);
  EXPECT_EQ(channel_.receive(lost[1], answer_, kPatience), ECONNRESET);
  EXPECT_LT(Clock::now() - start, kPatience);
  const Serving second(path_);
  ASSERT_EQ(call(), 0);
  EXPECT_EQ(channel_.receive(lost[0], answer_, kPatience), ECONNRESET);
  EXPECT_EQ(channel_.receive(lost[1], answer_, kPatience), ECONNRESET);
  uint32_t id = 0;
  ASSERT_EQ(channel_.send(Type::kSend, {2}, id, kPatience), 0);
  EXPECT_EQ(channel_.receive(id, answer_, kPatience), 0);
}

TEST_F(ChannelBreak, IsMadeByAnAnswerInAnotherLanguage) {
  Scripted server(path_);
  const auto answer_garbage = [&server] {
    Raw client = server.client();
    client.receive();
    client.send(Bytes(30, 7));
    EXPECT_TRUE(client.is_cut());
  };
  EXPECT_EQ(call_while(answer_garbage), EPROTO);
}

TEST_F(ChannelBreak, IsMadeByAMessageThatWasNotTakenInTime) {
  Scripted server(path_);
  const auto read_nothing = [&server] {
    Raw client = server.client();
    std::this_thread::sleep_for(2 * kMoment);
    while (client.receive().size() == 61460) {
    }
    EXPECT_TRUE(client.is_cut());
  };
  EXPECT_EQ(call_while(read_nothing, Bytes(4000000), kMoment), ETIMEDOUT);
}

TEST_F(ChannelBreak, FollowsOnAWrongGreeting) {
  const auto failed = [](uint32_t id, uint32_t error) {
    const Bytes body = encode(transport::Failed{error, "no"});
    Bytes record = frame({.type = 14, .id = id, .total = static_cast<uint32_t>(body.size())});
    record.insert(record.end(), body.begin(), body.end());
    return record;
  };
  EXPECT_EQ(call_greeted_with(failed(0, EBUSY)), EBUSY);
  EXPECT_EQ(call_greeted_with(failed(0, 0)), EPROTO);
  EXPECT_EQ(call_greeted_with(frame({.type = 2, .version = 2})), EPROTO);
  EXPECT_EQ(call_greeted_with(frame({.type = 2, .id = 0})), EPROTO);
  EXPECT_EQ(call_greeted_with(frame({.type = 13, .id = 0})), EPROTO);
  EXPECT_EQ(call_greeted_with(Bytes(3)), EPROTO);
  EXPECT_EQ(call_greeted_with({}), ECONNREFUSED);
}

TEST_F(ChannelBreak, FollowsOnAGreetingThatIsNotAnswered) {
  Scripted server(path_);
  EXPECT_EQ(call(kMoment), ETIMEDOUT);
  Raw client = server.stranger();
  EXPECT_EQ(Raw::type_of(client.receive()), 1u);
  EXPECT_TRUE(client.is_cut());
}

TEST_F(ChannelBreak, FollowsOnASocketOfAnotherKind) {
  Raw stream(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  stream.listen(path_);
  EXPECT_EQ(call(), EPROTO);
}

TEST(ChannelToABusyServer, WaitsForItsTurn) {
  Folder folder;
  const std::string path = folder / "s";
  Raw listener;
  listener.listen(path, 0);
  Raw first(path);
  Channel channel(path, "test");
  Message answer{};
  const auto start = Clock::now();
  EXPECT_EQ(channel.call(Type::kSend, {}, answer, 2 * kMoment), ETIMEDOUT);
  EXPECT_GE(Clock::now() - start, 2 * kMoment);
  auto turn = std::async(std::launch::async, [&listener] {
    std::this_thread::sleep_for(kMoment);
    Raw accepted = listener.accept();
    return listener.accept().receive();
  });
  channel.call(Type::kSend, {}, answer, kPatience);
  EXPECT_EQ(Raw::type_of(turn.get()), 1u);
}

TEST(ChannelToABusyServer, CanBeInterrupted) {
  Folder folder;
  const std::string path = folder / "s";
  Raw listener;
  listener.listen(path, 0);
  Raw first(path);
  transport::Interrupt interrupt;
  Channel channel(path, "test", &interrupt);
  std::thread other([&interrupt] {
    std::this_thread::sleep_for(kMoment);
    interrupt.raise();
  });
  Message answer{};
  EXPECT_EQ(channel.call(Type::kSend, {}, answer, kPatience), EINTR);
  other.join();
}

}  // namespace
