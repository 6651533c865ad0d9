// The server as a client sees it that speaks bytes: what is answered, and what costs the line.
#include "host/transport/server.h"

#include <fcntl.h>

#include <set>
#include <system_error>

#include "transport_support.h"

namespace {

using namespace transport_test;

std::set<int> open_descriptors() {
  std::set<int> numbers;
  for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) {
    numbers.insert(std::stoi(each.path().filename()));
  }
  return numbers;
}

// What the caller of this program had open.
const std::set<int> kInherited = open_descriptors();

class ServerTest : public testing::Test {
 protected:
  // What the line ends with, and somebody else does not notice.
  transport::Failed last_words_after(const std::vector<Bytes>& records, bool greeted = true) {
    Raw client(path_);
    if (greeted) client.greet();
    for (const Bytes& each : records) client.send(each);
    return client.last_words();
  }

  int call(Bytes body = {1, 2, 3}) {
    Message answer{};
    const int error = channel_.call(Type::kSend, body, answer, kPatience);
    EXPECT_EQ(answer.body, body);
    return error;
  }

  Folder folder_;
  const std::string path_ = folder_ / "manager.sock";
  Serving serving_{path_};
  Channel channel_{path_, "test"};
};

TEST_F(ServerTest, AnswersTheGreetingWithWhoItIs) {
  Raw client(path_);
  client.send(kHelloFrame);
  const Bytes answer = client.receive();
  EXPECT_EQ(Raw::type_of(answer), 2u);
  EXPECT_EQ(Raw::id_of(answer), 9u);
  EXPECT_EQ(transport::decode<Welcome>(std::span(answer).subspan(20)), kWelcome);
}

TEST_F(ServerTest, AnswersEveryGreetingWithWhoItIsNow) {
  Raw client(path_);
  client.greet();
  serving_.in_thread([this] { serving_.server().set_role(transport::Role::kStandby); });
  client.send(kHelloFrame);
  const Bytes answer = client.receive();
  const auto welcome = transport::decode<Welcome>(std::span(answer).subspan(20));
  ASSERT_TRUE(welcome);
  EXPECT_EQ(welcome->role, transport::Role::kStandby);
  EXPECT_EQ(welcome->chassis, kWelcome.chassis);
}

TEST_F(ServerTest, AnswersAMessageUnderItsId) {
  Raw client(path_);
  client.greet();
  client.send(frame({.id = 77, .total = 4}, 4));
  EXPECT_EQ(client.receive(), frame({.type = 13, .id = 77, .total = 4}, 4));
}

TEST_F(ServerTest, HandlesAMessageWhenItIsWhole) {
  Raw client(path_);
  client.greet();
  client.send(frame({.id = 77, .total = 4}, 3));
  ASSERT_EQ(call(), 0);
  EXPECT_EQ(serving_.received(), 1);
  client.send(frame({.id = 77, .total = 4, .offset = 3}, 1));
  EXPECT_EQ(client.receive(), frame({.type = 13, .id = 77, .total = 4}, 4));
  EXPECT_EQ(serving_.received(), 2);
}

TEST_F(ServerTest, AnswersMessagesThatCameTogether) {
  Raw client(path_);
  client.send(kHelloFrame);
  for (uint32_t id = 1; id <= 50; ++id) client.send(frame({.id = id}));
  EXPECT_EQ(Raw::type_of(client.receive()), 2u);
  for (uint32_t id = 1; id <= 50; ++id) EXPECT_EQ(client.receive(), frame({.type = 13, .id = id}));
}

TEST_F(ServerTest, WantsTheGreetingFirst) {
  EXPECT_EQ(last_words_after({frame({})}, false),
            (transport::Failed{EPROTO, "the first message must be the greeting"}));
  EXPECT_EQ(serving_.received(), 0);
}

TEST_F(ServerTest, WantsAGreetingThatIsOne) {
  EXPECT_EQ(last_words_after({frame({.type = 1, .total = 3}, 3)}, false),
            (transport::Failed{EPROTO, "the greeting is malformed"}));
}

TEST_F(ServerTest, RefusesAnotherVersion) {
  EXPECT_EQ(last_words_after({frame({.type = 1, .version = 2})}, false),
            (transport::Failed{EPROTO, "protocol version 2 is not spoken here, but 1"}));
}

TEST_F(ServerTest, RefusesAnUnknownType) {
  EXPECT_EQ(last_words_after({frame({.type = 99})}), (transport::Failed{EPROTO, "message type 99 is unknown"}));
}

TEST_F(ServerTest, RefusesAnswers) {
  for (const uint32_t type : {2u, 4u, 6u, 8u, 10u, 13u, 14u}) {
    EXPECT_EQ(last_words_after({frame({.type = type})}),
              (transport::Failed{EPROTO, "an answer, but nothing was asked"}));
  }
  EXPECT_EQ(serving_.received(), 0);
}

TEST_F(ServerTest, RefusesAShortFrame) {
  EXPECT_EQ(last_words_after({Bytes(7)}), (transport::Failed{EPROTO, "a frame of 7 bytes is too short"}));
}

TEST_F(ServerTest, RefusesAHugeFrame) {
  EXPECT_EQ(last_words_after({frame({.total = 100000}, 100000)}),
            (transport::Failed{EMSGSIZE, "a frame of 100020 bytes is too long"}));
}

TEST_F(ServerTest, RefusesAHugeBody) {
  EXPECT_EQ(last_words_after({frame({.total = 5u << 20}, 100)}),
            (transport::Failed{EMSGSIZE, "a body of 5242880 bytes is too long"}));
}

TEST_F(ServerTest, NamesTheMessageThatItRefuses) {
  Raw client(path_);
  client.greet();
  client.send(frame({.type = 99, .id = 33}));
  EXPECT_EQ(Raw::id_of(client.receive()), 33u);
  EXPECT_TRUE(client.is_cut());
}

TEST_F(ServerTest, GivesLastWordsToOneThatGoesOnTalking) {
  for (int round = 0; round < 100; ++round) {
    Raw client(path_);
    client.greet();
    client.send(frame({.type = 99}));
    while (client.send(frame({.total = 10}, 10)) == 0) {
    }
    EXPECT_EQ(client.last_words().error, uint32_t{EPROTO});
  }
}

TEST_F(ServerTest, GivesLastWordsToOneThatHasSaidMore) {
  std::promise<void> all_said;
  Serving slow(folder_ / "slow", [&all_said](const Peer&, Message, Responder) { all_said.get_future().wait(); });
  Raw client(folder_ / "slow");
  client.greet();
  for (const uint32_t type : {3u, 99u, 3u, 3u}) client.send(frame({.type = type}));
  all_said.set_value();
  EXPECT_EQ(client.last_words().error, uint32_t{EPROTO});
}

TEST_F(ServerTest, GivesTheAnswersThatAreDueBeforeLastWords) {
  Raw client(path_);
  client.greet();
  client.send(frame({.id = 5}));
  client.send(frame({.type = 99}));
  EXPECT_EQ(client.receive(), frame({.type = 13, .id = 5}));
  EXPECT_EQ(client.last_words().error, uint32_t{EPROTO});
}

TEST_F(ServerTest, ServesOthersWhileLinesBreak) {
  ASSERT_EQ(call(), 0);
  last_words_after({frame({.type = 99})});
  ASSERT_EQ(call(), 0);
  last_words_after({Bytes(7)}, false);
  ASSERT_EQ(call(), 0);
  EXPECT_TRUE(eventually([this] { return serving_.clients() == 1; }));
}

TEST_F(ServerTest, ForgetsClientsThatDie) {
  {
    Raw silent(path_);
    Raw greeted(path_);
    greeted.greet();
    Raw half(path_);
    half.greet();
    half.send(frame({.total = 100}, 50));
    Raw unread(path_);
    unread.greet();
    for (int i = 0; i < 20; ++i) unread.send(frame({.total = 100}, 100));
    EXPECT_TRUE(eventually([this] { return serving_.clients() == 4; }));
  }
  EXPECT_TRUE(eventually([this] { return serving_.clients() == 0; }));
  EXPECT_EQ(call(), 0);
}

TEST_F(ServerTest, ForgetsClientsThatCloseOneDirection) {
  Raw client(path_);
  client.greet();
  shutdown(client.descriptor(), SHUT_WR);
  EXPECT_TRUE(client.is_cut());
  EXPECT_EQ(call(), 0);
}

TEST_F(ServerTest, SurvivesGarbage) {
  int cut = 0;
  for (uint32_t seed = 0; seed < 300; ++seed) {
    Random random(seed);
    Raw client(path_);
    if (random() % 2 == 0) client.send(kHelloFrame);
    for (uint32_t records = 1 + random() % 8; records > 0; --records) {
      Bytes record = random() % 2 == 0 ? kHelloFrame : frame({.type = 1 + random() % 14, .total = 9}, random() % 10);
      for (uint32_t changes = random() % 4; changes > 0; --changes) {
        record[random() % record.size()] = static_cast<uint8_t>(random());
      }
      if (random() % 8 == 0) record.resize(1 + random() % record.size());
      if (client.send(record) != 0) break;
    }
    shutdown(client.descriptor(), SHUT_WR);
    if (client.last_words().error != 0) ++cut;
  }
  EXPECT_GT(cut, 150);
  EXPECT_LT(cut, 300);
  EXPECT_EQ(call(), 0);
  EXPECT_TRUE(eventually([this] { return serving_.clients() == 1; }));
}

TEST_F(ServerTest, HoldsHundredsOfClients) {
  constexpr size_t kClients = 400;
  std::vector<Channel> channels;
  for (size_t i = 0; i < kClients; ++i) channels.emplace_back(path_, "client " + std::to_string(i));
  const auto call_all = [&channels](size_t first, size_t step) {
    int done = 0;
    for (size_t i = first; i < channels.size(); i += step) {
      const Bytes body(i % 7 * 20000, static_cast<uint8_t>(i));
      Message answer{};
      done += channels[i].call(Type::kSend, body, answer, kPatience) == 0 && answer.body == body;
    }
    return done;
  };
  auto other_half = std::async(std::launch::async, call_all, 1, 2);
  EXPECT_EQ(call_all(0, 2), 200);
  EXPECT_EQ(other_half.get(), 200);
  EXPECT_EQ(serving_.clients(), kClients);
  EXPECT_EQ(call_all(0, 1), 400);
}

TEST_F(ServerTest, EndsItsLinesWithItself) {
  Raw client(path_);
  client.greet();
  client.send(frame({.total = 10}, 5));
  serving_.stop();
  EXPECT_TRUE(client.is_cut());
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(ServerTest, LeavesNoDescriptorBehind) {
  const auto descriptors = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
  };
  ASSERT_EQ(call(), 0);
  const auto before = descriptors();
  for (int i = 0; i < 50; ++i) {
    last_words_after({frame({.type = 99})});
    Raw(path_).send(kHelloFrame);
  }
  EXPECT_TRUE(eventually([this] { return serving_.clients() == 1; }));
  EXPECT_EQ(descriptors(), before);
}

// Descriptors that a program which the process starts would inherit.
TEST_F(ServerTest, OpensNothingForOtherPrograms) {
  ASSERT_EQ(call(), 0);
  transport::Interrupt interrupt;
  size_t own = 0;
  for (const int number : open_descriptors()) {
    if (kInherited.contains(number)) continue;
    const int flags = fcntl(number, F_GETFD);
    std::error_code ignored;
    const std::string target = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(number), ignored);
    if (flags >= 0 && (target.starts_with("socket:") || target.starts_with("anon_inode:"))) {
      EXPECT_TRUE((flags & FD_CLOEXEC) != 0) << target;
      ++own;
    }
  }
  EXPECT_GE(own, 3u);  // both ends of the channel, and the socket that listens
}

TEST(ServerPeer, IsAsTheKernelKnowsIt) {
  Folder folder;
  std::promise<Peer> seen;
  Serving serving(folder / "s", [&seen](const Peer& peer, Message, Responder answer) {
    seen.set_value(peer);
    answer(Type::kAnswer, {});
  });
  Channel channel(folder / "s", "spansh");
  Message answer{};
  ASSERT_EQ(channel.call(Type::kSend, {}, answer, kPatience), 0);
  const Peer peer = seen.get_future().get();
  std::vector<gid_t> groups(static_cast<size_t>(getgroups(0, nullptr)));
  ASSERT_GE(getgroups(static_cast<int>(groups.size()), groups.data()), 0);
  EXPECT_EQ(peer.uid, geteuid());
  EXPECT_EQ(peer.gid, getegid());
  EXPECT_EQ(peer.pid, getpid());
  EXPECT_EQ(peer.groups, groups);
  EXPECT_EQ(peer.program, "spansh");
}

TEST(ServerPeer, IsTheOneWhoConnected) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  Folder folder;
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  std::promise<Peer> seen;
  Handler handler = [&seen](const Peer& peer, Message, Responder answer) {
    seen.set_value(peer);
    answer(Type::kAnswer, {});
  };
  Serving serving(folder / "s", handler, {}, 0666);
  std::vector<gid_t> groups(100);
  for (gid_t i = 0; i < groups.size(); ++i) groups[i] = 3000 + i;
  std::thread([&folder, groups] {
    become(4001, 4002, groups);
    Message answer{};
    Channel channel(folder / "s", "test");
    EXPECT_EQ(channel.call(Type::kSend, {}, answer, kPatience), 0);
  }).join();
  const Peer peer = seen.get_future().get();
  EXPECT_EQ(peer.uid, 4001u);
  EXPECT_EQ(peer.gid, 4002u);
  EXPECT_EQ(peer.groups, groups);
}

TEST(ServerPeer, IsKeptOutByTheModeOfTheSocket) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  Folder folder;
  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  Serving serving(folder / "s", echo, {}, 0660);
  std::thread([&folder] {
    become(4001, 4002, {});
    Message answer{};
    Channel channel(folder / "s", "test");
    EXPECT_EQ(channel.call(Type::kSend, {}, answer, kPatience), EACCES);
  }).join();
  EXPECT_EQ(serving.received(), 0);
}

}  // namespace
