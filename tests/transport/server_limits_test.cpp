// The limits of a server: whoever exceeds one is cut off, and nobody else notices.
#include <fcntl.h>
#include <sys/resource.h>

#include "host/transport/server.h"
#include "transport_support.h"

namespace {

using namespace transport_test;

class ServerLimits : public testing::Test {
 protected:
  int call(Channel& channel) {
    Message answer{};
    return channel.call(Type::kSend, {1}, answer, kPatience);
  }

  Folder folder_;
  const std::string path_ = folder_ / "s";
};

void answer_at_length(const Peer&, Message, Responder answer) { answer(Type::kAnswer, Bytes(100000)); }

TEST_F(ServerLimits, SendClientsAwayThatAreTooMany) {
  Serving serving(path_, echo, {.clients = 2});
  Channel first(path_, "test");
  Channel second(path_, "test");
  Channel third(path_, "test");
  EXPECT_EQ(call(first), 0);
  EXPECT_EQ(call(second), 0);
  EXPECT_EQ(call(third), EBUSY);
  Raw raw(path_);
  EXPECT_EQ(raw.last_words(), (transport::Failed{EBUSY, "too many clients"}));
  EXPECT_EQ(serving.clients(), 2u);
  EXPECT_EQ(call(first), 0);
}

TEST_F(ServerLimits, HaveRoomAgainWhenAClientGoes) {
  Serving serving(path_, echo, {.clients = 1});
  auto first = std::make_unique<Channel>(path_, "test");
  Channel second(path_, "test");
  EXPECT_EQ(call(*first), 0);
  EXPECT_EQ(call(second), EBUSY);
  first.reset();
  EXPECT_TRUE(eventually([&] { return call(second) == 0; }));
}

// ---- Guests ---------------------------------------------------------------------------------------------------------

// Trusts those who connect while it is told to; what would go to the log can be read.
class ServerGuests : public ServerLimits {
 protected:
  transport::Failed last_words() { return Raw(path_).last_words(); }

  // Lines that a user holds from now on, up to the one that is refused, and why that is.
  std::vector<Raw> connect_as(uid_t user, std::string& refusal) {
    std::vector<Raw> lines;
    std::thread([&] {
      become(user, user, {});
      for (refusal.clear(); refusal.empty();) {
        Raw line(path_);
        line.send(kHelloFrame);
        const Bytes answer = line.receive();
        if (Raw::type_of(answer) == 2) {
          lines.push_back(std::move(line));
        } else {
          refusal = transport::decode<transport::Failed>(std::span(answer).subspan(20)).value().text;
        }
      }
    }).join();
    return lines;
  }

  std::atomic<bool> trusting_ = false;
  std::vector<std::string> said_;
  const Admission admission_{[this](const Peer&) { return trusting_.load(); },
                             [this](const std::string& text) { said_.push_back(text); }};
};

TEST_F(ServerGuests, LeavePlacesToThoseWhoAreTrusted) {
  Serving serving(path_, echo, {.clients = 16}, 0600, admission_);
  Channel first(path_, "test");
  Channel second(path_, "test");
  EXPECT_EQ(call(first), 0);
  EXPECT_EQ(call(second), 0);
  EXPECT_EQ(last_words(), (transport::Failed{EBUSY, "too many clients of this user"}));
  trusting_ = true;
  std::vector<Channel> trusted;
  for (int i = 0; i < 14; ++i) {
    trusted.emplace_back(path_, "test");
    EXPECT_EQ(call(trusted.back()), 0);
  }
  EXPECT_EQ(last_words(), (transport::Failed{EBUSY, "too many clients"}));
  EXPECT_EQ(call(first), 0);
}

TEST_F(ServerGuests, HaveAPlaceAgainWhenOneOfTheirsIsFree) {
  Serving serving(path_, echo, {.clients = 8}, 0600, admission_);
  auto first = std::make_unique<Channel>(path_, "test");
  Channel second(path_, "test");
  EXPECT_EQ(call(*first), 0);
  EXPECT_EQ(call(second), EBUSY);
  first.reset();
  EXPECT_TRUE(eventually([&] { return call(second) == 0; }));
}

TEST_F(ServerGuests, LeavePlacesToEachOther) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
  Serving serving(path_, echo, {.clients = 32}, 0666, admission_);
  std::vector<std::vector<Raw>> held;
  std::string refusal;
  for (const uid_t user : {54401u, 54402u, 54403u, 54404u, 54405u, 54406u}) {
    held.push_back(connect_as(user, refusal));
    EXPECT_EQ(held.back().size(), 4u);
    EXPECT_EQ(refusal, "too many clients of this user");
  }
  EXPECT_EQ(connect_as(54407, refusal).size(), 0u);
  EXPECT_EQ(refusal, "too many clients");
  trusting_ = true;
  held.push_back(connect_as(0, refusal));
  EXPECT_EQ(held.back().size(), 8u);
}

TEST_F(ServerGuests, AreToldToTheLogOnceForEachReason) {
  Serving serving(path_, echo, {.clients = 8}, 0600, admission_);
  Channel guest(path_, "test");
  EXPECT_EQ(call(guest), 0);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(last_words().text, "too many clients of this user");
  trusting_ = true;
  std::vector<Channel> trusted;
  for (int i = 0; i < 7; ++i) {
    trusted.emplace_back(path_, "test");
    EXPECT_EQ(call(trusted.back()), 0);
  }
  for (int i = 0; i < 20; ++i) EXPECT_EQ(last_words().text, "too many clients");
  serving.stop();
  const std::string who =
      "sent a client of user " + std::to_string(geteuid()) + " away, process " + std::to_string(getpid()) + ": ";
  EXPECT_EQ(said_, (std::vector<std::string>{who + "too many clients of this user", who + "too many clients"}));
}

// So that those who are trusted have a place, and so has anybody, however few there are.
TEST(Limits, LeaveAQuarterToTrustedClientsAndAnEighthToAGuest) {
  EXPECT_EQ(Limits{}.for_guests(), 768u);
  EXPECT_EQ(Limits{}.for_one_guest(), 128u);
  for (size_t places = 2; places < 1100; ++places) {
    const Limits limits{.clients = places};
    EXPECT_LT(limits.for_guests(), places);
    EXPECT_GE(limits.for_guests(), 1u);
    EXPECT_GE(limits.for_one_guest(), 1u);
    EXPECT_LE(limits.for_one_guest(), limits.for_guests());
  }
}

// ---- Lines that stall -----------------------------------------------------------------------------------------------

TEST_F(ServerLimits, CutOffAClientThatLeavesTooMuchUnread) {
  Serving serving(path_, answer_at_length, {.waiting = 1u << 20});
  Raw greedy(path_);
  greedy.greet();
  for (int i = 0; i < 100 && greedy.send(frame({})) == 0; ++i) {
  }
  EXPECT_TRUE(eventually([&] { return serving.clients() == 0; }));
  EXPECT_LT(serving.received(), 20);
  Channel other(path_, "test");
  EXPECT_EQ(call(other), 0);
}

// Answers without a body weigh something, too.
TEST_F(ServerLimits, CutOffAClientThatLeavesTooManyEmptyAnswersUnread) {
  Serving serving(path_, echo, {.waiting = 1000});
  Raw greedy(path_);
  greedy.greet();
  const auto end = Clock::now() + kPatience;
  while (greedy.send(frame({})) == 0 && Clock::now() < end) {
  }
  EXPECT_TRUE(eventually([&] { return serving.clients() == 0; }));
}

TEST_F(ServerLimits, AllowAsMuchUnreadAsTheySay) {
  Serving serving(path_, answer_at_length, {.waiting = 4u << 20});
  Raw slow(path_);
  slow.greet();
  for (int i = 0; i < 30; ++i) ASSERT_EQ(slow.send(frame({})), 0);
  ASSERT_TRUE(eventually([&] { return serving.received() == 30; }));
  size_t bytes = 0;
  for (int i = 0; i < 60; ++i) bytes += slow.receive().size() - 20;
  EXPECT_EQ(bytes, 30u * 100000);
  for (int i = 0; i < 30; ++i) {
    slow.send(frame({}));
    EXPECT_EQ(slow.receive().size() + slow.receive().size(), 100040u);
  }
  EXPECT_EQ(serving.clients(), 1u);
}

// Pieces of a message that never ends, one byte each, until the line is cut.
transport::Failed last_words_to_a_drip(const std::string& path) {
  Raw client(path);
  client.greet();
  for (uint32_t offset = 0; client.send(frame({.total = 1000, .offset = offset}, 1)) == 0; ++offset) {
    std::this_thread::sleep_for(Milliseconds(100));
  }
  return client.last_words();
}

// Five that stall, each in its way, and two that are merely silent.
TEST_F(ServerLimits, CutOffClientsThatStall) {
  std::vector<Responder> kept;
  Serving serving(path_,
                  [&kept](const Peer&, Message message, Responder answer) {
                    if (message.type == Type::kWatch) return kept.push_back(std::move(answer));
                    answer(Type::kAnswer, Bytes(message.type == Type::kRoles ? 3000000 : 1));
                  },
                  {.stall_seconds = 1});
  const auto start = Clock::now();
  auto drip = std::async(std::launch::async, last_words_to_a_drip, path_);
  Channel idle(path_, "test");
  ASSERT_EQ(call(idle), 0);
  Channel waiting(path_, "test");
  uint32_t id = 0;
  ASSERT_EQ(waiting.send(Type::kWatch, {}, id, kPatience), 0);
  Raw silent(path_);
  Raw half_greeting(path_);
  half_greeting.send(frame({.type = 1, .total = 8}, 4));
  Raw half(path_);
  half.greet();
  half.send(frame({.total = 100}, 50));
  Raw unread(path_);
  unread.greet();
  unread.send(frame({.type = 7}));
  EXPECT_EQ(silent.last_words(), (transport::Failed{ETIMEDOUT, "no greeting came"}));
  EXPECT_EQ(half_greeting.last_words(), (transport::Failed{ETIMEDOUT, "no greeting came"}));
  EXPECT_EQ(half.last_words(), (transport::Failed{ETIMEDOUT, "the rest of a message did not come"}));
  EXPECT_EQ(drip.get(), (transport::Failed{ETIMEDOUT, "the rest of a message did not come"}));
  EXPECT_TRUE(eventually([&] { return serving.clients() == 2; }));
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(950));
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(5000));
  EXPECT_EQ(unread.last_words().text, "no last words");
  serving.in_thread([&kept] { kept.at(0)(Type::kRates, {1}); });
  Message answer{};
  EXPECT_EQ(waiting.receive(id, answer, kPatience), 0);
  EXPECT_EQ(call(idle), 0);
}

// A slow message is in time as long as it ends in time, and the next one has its own. A slow reader is in time as long
// as it reads.
TEST_F(ServerLimits, CountAnewForEachMessageAndEachRead) {
  Serving serving(path_, [](const Peer&, Message, Responder answer) { answer(Type::kAnswer, Bytes(1400000)); },
                  {.stall_seconds = 2});
  auto reader = std::async(std::launch::async, [this] {
    Raw slow(path_);
    slow.greet();
    slow.send(frame({}));
    size_t bytes = 0;
    for (int i = 0; i < 23; ++i) {
      std::this_thread::sleep_for(Milliseconds(100));
      bytes += slow.receive().size() - 20;
    }
    return bytes;
  });
  Raw writer(path_);
  writer.greet();
  for (const uint32_t id : {1u, 2u}) {
    writer.send(frame({.id = id, .total = 2}, 1));
    std::this_thread::sleep_for(Milliseconds(1100));
    writer.send(frame({.id = id, .total = 2, .offset = 1}, 1));
    EXPECT_EQ(Raw::id_of(writer.receive()), id);
    for (int i = 1; i < 23; ++i) writer.receive();
  }
  EXPECT_EQ(reader.get(), 1400000u);
  EXPECT_EQ(serving.received(), 3);
}

// The processor time of a thread so far.
Milliseconds time_of(std::thread& thread) {
  clockid_t clock;
  timespec used{};
  EXPECT_EQ(pthread_getcpuclockid(thread.native_handle(), &clock), 0);
  EXPECT_EQ(clock_gettime(clock, &used), 0);
  return Milliseconds(used.tv_sec * 1000 + used.tv_nsec / 1000000);
}

// Leaves the process without a free descriptor as long as it lives.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const int lowest_free = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
    close(lowest_free);
    const rlimit none{static_cast<rlim_t>(lowest_free), before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

TEST_F(ServerLimits, LetClientsWaitWhileThereAreNoDescriptors) {
  if (!limits_are_the_kernels()) GTEST_SKIP() << "the limit of descriptors is not the kernel's";
  Serving serving(path_);
  Channel before(path_, "test");
  ASSERT_EQ(call(before), 0);
  Raw client;
  {
    const NoDescriptors none;
    client.connect(path_);
    const auto used = time_of(serving.thread());
    std::this_thread::sleep_for(Milliseconds(250));
    EXPECT_LT(time_of(serving.thread()) - used, Milliseconds(50));
    EXPECT_EQ(call(before), 0);
    EXPECT_EQ(serving.clients(), 1u);
    Channel another(path_, "test");
    EXPECT_EQ(call(another), EMFILE);
  }
  client.greet();
  EXPECT_EQ(serving.clients(), 2u);
}

// Lines that are all waiting for something cost nothing.
TEST_F(ServerLimits, CostNoTimeWhileNobodySpeaks) {
  Serving serving(path_, answer_at_length);
  Raw silent(path_);
  Raw unread(path_);
  unread.greet();
  for (int i = 0; i < 10; ++i) unread.send(frame({}));
  ASSERT_TRUE(eventually([&] { return serving.received() == 10; }));
  const auto used = time_of(serving.thread());
  std::this_thread::sleep_for(Milliseconds(150));
  EXPECT_LT(time_of(serving.thread()) - used, Milliseconds(20));
}

}  // namespace
