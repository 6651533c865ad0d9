// Answers: late ones, double ones, those to nobody, and handlers that throw.
#include <future>
#include <new>
#include <system_error>

#include "host/transport/server.h"
#include "transport_support.h"

namespace {

using namespace transport_test;

// Keeps the responders, to answer when the test likes.
class Answers : public testing::Test {
 protected:
  Handler keeping() {
    return [this](const Peer&, Message, Responder answer) { kept_.push_back(std::move(answer)); };
  }

  Folder folder_;
  const std::string path_ = folder_ / "s";
  std::vector<Responder> kept_;
  Message answer_{};
};

TEST_F(Answers, MayComeLaterAndInAnyOrder) {
  Serving serving(path_, keeping());
  Channel channel(path_, "test");
  uint32_t first = 0;
  uint32_t second = 0;
  ASSERT_EQ(channel.send(Type::kSend, {}, first, kPatience), 0);
  ASSERT_EQ(channel.send(Type::kSend, {}, second, kPatience), 0);
  ASSERT_TRUE(eventually([&] { return serving.in_thread([this] { return kept_.size(); }) == 2; }));
  serving.in_thread([this] {
    kept_[1](Type::kAnswer, {2});
    kept_[0](Type::kAnswer, {1});
  });
  EXPECT_EQ(channel.receive(first, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, Bytes{1});
  EXPECT_EQ(channel.receive(second, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, Bytes{2});
}

TEST_F(Answers, AreGivenOnceWhicheverCopyIsUsed) {
  Serving serving(path_, [](const Peer&, Message, Responder answer) {
    const Responder copy = answer;
    copy(Type::kAnswer, {1});
    answer(Type::kAnswer, {2});
    copy(Type::kAnswer, {3});
    throw std::runtime_error("too late to say so");
  });
  Raw client(path_);
  client.greet();
  client.send(frame({.id = 1}));
  client.send(frame({.id = 2}));
  EXPECT_EQ(Raw::id_of(client.receive()), 1u);
  EXPECT_EQ(Raw::id_of(client.receive()), 2u);
  serving.stop();
  EXPECT_TRUE(client.is_cut());
}

TEST_F(Answers, ToAClientThatHasGoneHaveNoEffect) {
  Serving serving(path_, keeping());
  {
    Raw client(path_);
    client.greet();
    client.send(frame({}));
    ASSERT_TRUE(eventually([&] { return serving.in_thread([this] { return kept_.size(); }) == 1; }));
  }
  ASSERT_TRUE(eventually([&] { return serving.clients() == 0; }));
  serving.in_thread([this] { kept_[0](Type::kAnswer, Bytes(100000)); });
  EXPECT_EQ(serving.clients(), 0u);
}

// The server hears of it only when it answers.
TEST_F(Answers, ToAClientThatGoesMeanwhileHaveNoEffect) {
  std::promise<void> gone;
  Serving serving(path_, [&gone](const Peer&, Message, Responder answer) {
    gone.get_future().wait();
    answer(Type::kAnswer, {1});
  });
  Raw client(path_);
  client.greet();
  client.send(frame({}));
  client.close();
  gone.set_value();
  EXPECT_TRUE(eventually([&] { return serving.received() == 1 && serving.clients() == 0; }));
}

TEST_F(Answers, HaveNoEffectWhenTheServerHasGone) {
  {
    Serving serving(path_, keeping());
    Raw client(path_);
    client.greet();
    client.send(frame({}));
    client.send(frame({}));
    ASSERT_TRUE(eventually([&] { return serving.in_thread([this] { return kept_.size(); }) == 2; }));
    serving.in_thread([&] {
      serving.owner().reset();
      kept_[0](Type::kAnswer, {1});
    });
    EXPECT_TRUE(client.is_cut());
  }
  kept_[1](Type::kAnswer, {1});
  kept_[1](Type::kAnswer, {1});
}

TEST_F(Answers, ThatAreTooLongFail) {
  Serving serving(
      path_, [](const Peer&, Message, Responder answer) { answer(Type::kAnswer, Bytes(transport::kMaxBody + 1)); });
  Channel channel(path_, "test");
  EXPECT_EQ(channel.call(Type::kSend, {}, answer_, kPatience), EMSGSIZE);
  const auto failed = transport::decode<transport::Failed>(answer_.body);
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->text, "an answer of 4194305 bytes is too long");
}

TEST_F(Answers, OfTheGreatestLengthArrive) {
  Serving serving(path_);
  Channel channel(path_, "test");
  const Bytes body(transport::kMaxBody, 3);
  ASSERT_EQ(channel.call(Type::kSend, body, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, body);
}

TEST_F(Answers, TellWhatAHandlerThrows) {
  Serving serving(path_, [](const Peer&, Message message, Responder) {
    if (message.type == Type::kRoles) throw std::system_error(EPERM, std::generic_category(), "roles");
    if (message.type == Type::kDump) throw std::bad_alloc();
    throw std::runtime_error("no such thing");
  });
  Channel channel(path_, "test");
  const auto text = [this] { return transport::decode<transport::Failed>(answer_.body).value().text; };
  EXPECT_EQ(channel.call(Type::kRoles, {}, answer_, kPatience), EPERM);
  EXPECT_EQ(text(), "roles: Operation not permitted");
  EXPECT_EQ(channel.call(Type::kDump, {}, answer_, kPatience), ENOMEM);
  EXPECT_EQ(channel.call(Type::kSend, {}, answer_, kPatience), EIO);
  EXPECT_EQ(text(), "no such thing");
  EXPECT_EQ(serving.clients(), 1u);
}

// A handler may end the server that called it.
TEST_F(Answers, MayBeTheServersLast) {
  std::unique_ptr<Server>* owner = nullptr;
  Serving serving(path_, [&owner](const Peer& peer, Message, Responder answer) {
    answer(Type::kAnswer, {1});
    owner->reset();
    EXPECT_EQ(peer.program, "test");
    answer(Type::kAnswer, {2});
  });
  owner = &serving.owner();
  Channel channel(path_, "test");
  EXPECT_EQ(channel.call(Type::kSend, {}, answer_, kPatience), 0);
  EXPECT_EQ(answer_.body, Bytes{1});
}

}  // namespace
