// A switch of processes: messages to its modules, those that are missing, silent or dead, and a scan over all of them.
#include <chrono>
#include <cstdio>

#include "host/linecard/counter_service.h"
#include "host/linecard/modules.h"
#include "libspan.h"
#include "platform/inventory.h"
#include "tests/host/remote_support.h"

namespace remote_test {
namespace {

using std::chrono::milliseconds;

constexpr uint32_t kPatience = 400;
constexpr uint32_t kEchoService = 8;  // its answers may be anything

class RemoteModules : public Remote {
 protected:
  RemoteModules() { connect_with({1000, kPatience}); }

  void connect_with(const host::Waits& waits) { connect(waits); }

  int send(uint32_t address, uint32_t service = kEchoService, const char* payload = "ask") {
    const int result = quill_send(queue_, address, service, 2020, payload, static_cast<uint32_t>(std::strlen(payload)),
                                  message_, 0, 0);
    return result == 0 ? 0 : error();
  }

  int receive(uint32_t token) {
    quill_drop(queue_, message_);
    const quill_recv_options_t options = {1, 0, 5, token, {}};
    const int result = quill_recv(queue_, message_, &options);
    return result == 0 ? 0 : error();
  }

  // Sends and receives; the answer's payload is in message_.
  int ask(uint32_t address, uint32_t service = kEchoService) {
    const int error = send(address, service);
    return error != 0 ? error : receive(quill_rr_token_get(message_));
  }

  int error() const { return static_cast<int>(quill_errno_get(queue_)); }

  std::string text(size_t length) const { return {static_cast<const char*>(quill_payload_get(message_)), length}; }

  // The supervisor's process. It knows the modules as the description has them.
  std::unique_ptr<Process> supervisor() const {
    return node(2, [](const Message& message, const Responder& answer) {
      const auto sent = transport::decode<transport::Send>(message.body);
      answer(Type::kAnswer, *linecard::module_information(host::switch_chassis(), sent->opcode, sent->payload));
    });
  }

  std::unique_ptr<Process> card(uint32_t module, uint32_t drops) const {
    return node(module << 8 | 2, [=](const Message& message, const Responder& answer) {
      const auto sent = transport::decode<transport::Send>(message.body);
      answer(Type::kAnswer, *linecard::drop_counter(module, drops, sent->opcode, sent->payload));
    });
  }

  struct Scan {
    std::string text;
    long waited;
  };

  Scan scan() {
    span_cli_parms_t parms{};
    parms.queue = queue_;
    host::reset_outcome();
    testing::internal::CaptureStdout();
    const auto start = std::chrono::steady_clock::now();
    span_cli_get_drop_counters(&parms);
    const auto end = std::chrono::steady_clock::now();
    return {testing::internal::GetCapturedStdout(), std::chrono::duration_cast<milliseconds>(end - start).count()};
  }

  const uint32_t queue_ = host::switch_queue();
  const std::unique_ptr<Process> manager_ = manager(never);
  alignas(8) uint8_t message_[QUILL_MESSAGE_SIZE] = {};
};

Play echo() {
  return [](const Message& message, const Responder& answer) {
    answer(Type::kAnswer, transport::decode<transport::Send>(message.body)->payload);
  };
}

// ---- Messages --------------------------------------------------------------------------------------------------------

TEST_F(RemoteModules, AreAskedAtTheirAddress) {
  const auto process = node(0x102, echo());
  ASSERT_EQ(ask(0x102), 0);
  EXPECT_EQ(text(3), "ask");
  EXPECT_EQ(transport::decode<transport::Send>(process->asked()[0].body),
            (transport::Send{kEchoService, 2020, {'a', 's', 'k'}}));
  quill_drop(queue_, message_);
}

TEST_F(RemoteModules, MayAnswerInAnotherOrder) {
  std::vector<Responder> waiting;
  const auto process = node(0x102, [&](const Message& /*message*/, const Responder& answer) {
    waiting.push_back(answer);
    if (waiting.size() < 2) return;
    waiting[1](Type::kAnswer, {'2'});
    waiting[0](Type::kAnswer, {'1'});
  });
  ASSERT_EQ(send(0x102), 0);
  const uint32_t first = quill_rr_token_get(message_);
  ASSERT_EQ(send(0x102), 0);
  const uint32_t second = quill_rr_token_get(message_);
  ASSERT_EQ(receive(first), 0);
  EXPECT_EQ(text(1), "1");
  ASSERT_EQ(receive(second), 0);
  EXPECT_EQ(text(1), "2");
  EXPECT_EQ(receive(second), ETIMEDOUT);
}

TEST_F(RemoteModules, ThatAreNotThereFailAtOnce) {
  EXPECT_EQ(send(0x102), EHOSTUNREACH);
  node(0x102, echo()).reset();
  EXPECT_EQ(send(0x102), EHOSTUNREACH);
}

TEST_F(RemoteModules, WithoutTheServiceRefuse) {
  const auto process = node(0x102, failure(ECONNREFUSED));
  EXPECT_EQ(ask(0x102), ECONNREFUSED);
}

TEST_F(RemoteModules, ThatDieLeaveTheirMessageOpen) {
  std::unique_ptr<Process> process;
  process = node(0x102, [&](const Message&, const Responder&) { process->die(); });
  EXPECT_EQ(ask(0x102), ECONNRESET);
  process.reset();
  process = node(0x102, echo());
  EXPECT_EQ(ask(0x102), 0);
  quill_drop(queue_, message_);
}

TEST_F(RemoteModules, AnswerWithNothingElseThanAnswers) {
  const auto process = node(0x102, reply(0, 0, {1, 2, 3, 4}));
  EXPECT_EQ(ask(0x102), EPROTO);
}

TEST_F(RemoteModules, MayAnswerWithNothing) {
  const auto process = node(0x102, always(Type::kAnswer, {}));
  ASSERT_EQ(ask(0x102), 0);
  EXPECT_EQ(quill_payload_get(message_), nullptr);
}

// The library reads as far as it believes that an answer goes.
TEST_F(RemoteModules, CannotAnswerWithLessThanWasAskedFor) {
  Bytes answer = {0, 0, 0, 8, 0, 4, 0, 4, 0, 0, 0, 7};  // a counter
  const auto process =
      node(0x102, [&](const Message& /*message*/, const Responder& respond) { respond(Type::kAnswer, answer); });
  EXPECT_EQ(ask(0x102, linecard::kCounterService), 0);
  quill_drop(queue_, message_);
  answer[3] = 0xFF;
  EXPECT_EQ(ask(0x102, linecard::kCounterService), EPROTO);
  for (size_t size = 11; size > 0; --size) {
    answer.resize(size);
    EXPECT_EQ(ask(0x102, linecard::kCounterService), EPROTO) << size << " bytes";
  }
  constexpr size_t kRecord = 458;
  for (const size_t size : {size_t{1}, 3 * kRecord - 1, 3 * kRecord + 1, 4 * kRecord}) {
    answer.assign(size, 0);
    ASSERT_EQ(send(0x102, linecard::kInformationService, "\3"), 0);
    EXPECT_EQ(receive(quill_rr_token_get(message_)), EPROTO) << size << " bytes";
  }
  answer.assign(3 * kRecord, 0);
  ASSERT_EQ(send(0x102, linecard::kInformationService, "\3"), 0);
  EXPECT_EQ(receive(quill_rr_token_get(message_)), 0);
  quill_drop(queue_, message_);
}

TEST_F(RemoteModules, AreForgottenWhenTooManyAnswersAreOpen) {
  const auto process = node(0x102, echo());
  ASSERT_EQ(send(0x102), 0);
  const uint32_t first = quill_rr_token_get(message_);
  for (int i = 0; i < 64; ++i) ASSERT_EQ(send(0x102), 0);
  EXPECT_EQ(receive(first), ETIMEDOUT);
  EXPECT_EQ(receive(first + 64), 0);
  quill_drop(queue_, message_);
}

TEST_F(RemoteModules, ThatKeepSilentAreWaitedForOnceInACommand) {
  const auto process = node(0x102, never);
  EXPECT_EQ(ask(0x102), ETIMEDOUT);
  EXPECT_EQ(ask(0x102), ETIMEDOUT);
  EXPECT_EQ(process->asked().size(), 1u);
  host::reset_outcome();
  EXPECT_EQ(ask(0x102), ETIMEDOUT);
  EXPECT_EQ(process->asked().size(), 2u);
}

TEST_F(RemoteModules, AreSilentServiceByService) {
  const auto process = node(0x102, [](const Message& message, const Responder& answer) {
    if (transport::decode<transport::Send>(message.body)->service == 7) echo()(message, answer);
  });
  EXPECT_EQ(ask(0x102), ETIMEDOUT);
  EXPECT_EQ(ask(0x102, 7), 0);
  quill_drop(queue_, message_);
}

// ---- A scan of the chassis -------------------------------------------------------------------------------------------

constexpr char kNoSlot[] = "Cannot get info about module 4\n";

TEST_F(RemoteModules, TellTheirCounters) {
  const auto information = supervisor();
  const auto one = card(1, 0x10);
  const auto three = card(3, 0x30);
  EXPECT_EQ(scan().text,
            "SPAN Drop-Counters for module 1 is: 0x10\n"
            "Error: message transport: the module cannot be reached (error 113)\n"
            "span_cli_get_drop_counters module 2 not available\n"
            "SPAN Drop-Counters for module 3 is: 0x30\n" +
                std::string(kNoSlot));
  EXPECT_EQ(host::untold_failure(), "");
}

TEST_F(RemoteModules, AreAskedForNoMoreThanTheirSlots) {
  const auto information = supervisor();
  scan();
  EXPECT_EQ(information->asked().size(), 4u);  // slot 4 is empty
}

TEST_F(RemoteModules, CostTheScanATimeOutEachWhenTheyAreSilent) {
  const auto information = supervisor();
  const auto one = node(0x102, never);
  const auto two = node(0x202, never, true);
  const auto three = card(3, 0x30);
  const Scan result = scan();
  EXPECT_EQ(result.text,
            "span_show_send_receive QUILL receive error 6e\n"
            "span_cli_get_drop_counters module 1 not available\n"
            "Error: message transport: no answer came in time: whether the request was carried out is not known "
            "(error 110)\n"
            "span_cli_get_drop_counters module 2 not available\n"
            "SPAN Drop-Counters for module 3 is: 0x30\n" +
                std::string(kNoSlot));
  EXPECT_EQ(host::untold_failure(),
            "modules: no answer came in time: whether the request was carried out is not known");
  EXPECT_EQ(host::untold_failure(), "");
  EXPECT_GE(result.waited, 2 * kPatience);
  EXPECT_LT(result.waited, 3 * kPatience);
}

TEST_F(RemoteModules, AreNotFoundWithoutTheSupervisorAndThatIsWaitedForOnce) {
  const auto information = node(2, never, true);
  const Scan result = scan();
  EXPECT_GE(result.waited, kPatience);
  EXPECT_LT(result.waited, 3 * kPatience);  // it would be 4, one for each slot that is not empty
  EXPECT_EQ(result.text,
            "Cannot get info about module 1\nCannot get info about module 2\nCannot get info about module 3\n"
            "Cannot get info about module 4\nCannot get info about module 5\n");
  EXPECT_EQ(host::untold_failure(),
            "modules: no answer came in time: whether the request was carried out is not known");
}

TEST_F(RemoteModules, AreLeftAloneByAnInterruptedScan) {
  connect_with({10'000, 10'000});
  const auto information = supervisor();
  const auto one = node(0x102, never);
  const auto two = node(0x202, never);
  std::thread key([&] {
    for (int tries = 0; tries < 500 && one->asked().empty(); ++tries) std::this_thread::sleep_for(milliseconds(10));
    host::interrupt_switch();
  });
  const Scan result = scan();
  key.join();
  EXPECT_LT(result.waited, 8000);
  EXPECT_EQ(result.text,
            "span_show_send_receive QUILL receive error 4\n"
            "span_cli_get_drop_counters module 1 not available\n"
            "Cannot get info about module 2\nCannot get info about module 3\nCannot get info about module 4\n"
            "Cannot get info about module 5\n");
  EXPECT_TRUE(two->asked().empty());
  host::clear_interrupt();
  const auto three = card(3, 0x30);
  EXPECT_EQ(ask(0x202 + 0x200), EHOSTUNREACH);
}

}  // namespace
}  // namespace remote_test
