// A SPAN manager whose responses are not what their counts say, or anything at all: the library is handed none of them.
#include <array>
#include <random>
#include <string_view>

#include "host/manager/manager.h"
#include "host/shell/session.h"
#include "tests/host/remote_support.h"

namespace remote_test {
namespace {

constexpr uint32_t kSessionQuery = 2001;
constexpr size_t kRxCount = 1652;  // of its response

constexpr char kUnusable[] = "the answer cannot be used";

void put_word(Bytes& bytes, size_t at, uint32_t value) {
  for (size_t i = 0; i < 4; ++i) bytes.at(at + i) = static_cast<uint8_t>(value >> (24 - 8 * i));
}

// A manager that rules as it should. Some of its responses are spoilt on their way; what comes of it is seldom whole.
class Liar {
 public:
  explicit Liar(unsigned seed) : random_(seed) {}

  void answer(const Message& message, const Responder& respond) {
    const auto request = transport::decode<transport::Request>(message.body);
    if (message.type != Type::kRequest || !request) return failure(EOPNOTSUPP)(message, respond);
    manager::Reply honest = manager_.handle(request->opcode, request->kind, request->payload);
    if (one_in(4) && !honest.response.empty()) spoil(honest.response);
    reply(honest.status, honest.result, std::move(honest.response))(message, respond);
  }

 private:
  bool one_in(size_t count) { return random_() % count == 0; }

  void spoil(Bytes& bytes) {
    static constexpr auto kWords = std::to_array<uint32_t>({0, 1, 2, 17, 255, 0x10000, 0x40000000, 0xFFFFFFFF});
    if (one_in(2)) bytes.resize(1 + random_() % (bytes.size() + 64), static_cast<uint8_t>(random_()));
    if (bytes.size() >= 4) put_word(bytes, random_() % (bytes.size() - 3), kWords[random_() % kWords.size()]);
    if (bytes.size() > kRxCount + 4 && one_in(2)) put_word(bytes, kRxCount, kWords[random_() % kWords.size()]);
  }

  static chassis::Chassis far_switch() {
    std::string error;
    return chassis::Chassis::parse(kDescription, "far.toml", error).value();
  }

  std::minstd_rand random_;
  const chassis::Chassis chassis_ = far_switch();
  manager::Manager manager_{chassis_};
};

class RemoteResponses : public Remote {
 protected:
  // What the shell says, itself and by the library.
  static std::string say(shell::Session& session, std::string_view line) {
    testing::internal::CaptureStdout();
    const shell::Reply reply = session.run(line);
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout() + reply.failure;
  }
};

TEST_F(RemoteResponses, ThatAreWholeAreHandedOn) {
  Bytes session(1660);
  session[5] = 1;  // configured
  const auto honest = manager(reply(0, 0, session));
  connect();
  EXPECT_EQ(request(VEX_KIND_QUERY, {0, 0, 0, 0}, 1660, kSessionQuery).response, session);
}

TEST_F(RemoteResponses, WithCountsThatLieAreNotHandedOn) {
  Bytes session(1660);
  session[5] = 1;  // configured
  put_word(session, kRxCount, 0x10000000);
  const auto liar = manager(reply(0, 0, session));
  connect();
  EXPECT_EQ(request(VEX_KIND_QUERY, {0, 0, 0, 0}, 0, kSessionQuery).error, uint32_t{EPROTO});
  EXPECT_EQ(host::outcome(), host::Outcome::kUnreachable);
  shell::Session shell(host::switch_chassis(), {"ann", host::switch_chassis().find_role("all")});
  EXPECT_NE(say(shell, "show span session 1").find(kUnusable), std::string::npos);
}

TEST_F(RemoteResponses, OfARefusalAreNotLookedAt) {
  const auto process = manager(reply(0x40340100, 0x40340100, {1}));
  connect();
  EXPECT_EQ(request(VEX_KIND_QUERY, {0, 0, 0, 0}, 0, kSessionQuery).status, 0x40340100u);
}

TEST_F(RemoteResponses, ThatAreSpoiltFailInWordsOrNotAtAll) {
  static constexpr std::string_view kLines[] = {
      "configure",
      "span session 3",
      "span session 3",
      "destination interface fc1/1",
      "source interface fc1/2-3",
      "source interface fc2/1-2 rx filter vsan 3",
      "no source interface fc1/2",
      "source vsan 5",
      "source filter vsan 1-4",
      "suspend",
      "show span session",
      "show span session 3",
      "show span session brief",
      "show running-config span",
      "show span max-queued-packets",
      "show rspan-tunnel interface fc1/1",
      "span max-queued-packets 70",
      "interface fc1/1-4",
      "port mode span-destination",
      "no span session 3",
  };
  const auto liar = std::make_shared<Liar>(11);
  const auto process = manager([liar](const auto& message, const auto& respond) { liar->answer(message, respond); });
  connect({5000, 60});
  shell::Session shell(host::switch_chassis(), {"ann", host::switch_chassis().find_role("all")});
  size_t unusable = 0;
  size_t usable = 0;
  for (int round = 0; round < 60; ++round) {
    for (const std::string_view line : kLines) {
      const std::string said = say(shell, line);
      ++(said.find(kUnusable) != std::string::npos ? unusable : usable);
    }
  }
  EXPECT_GT(unusable, 100u);
  EXPECT_GT(usable, 100u);
}

}  // namespace
}  // namespace remote_test
