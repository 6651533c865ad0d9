// How long the answer to one request may take, with a SPAN manager that is a process and stalls.
#include <atomic>
#include <chrono>
#include <future>
#include <utility>

#include "host/agent/change.h"
#include "host/manager/config.h"
#include "host/manager/manager.h"
#include "tests/host/remote_support.h"

namespace agent_test {
namespace {

using agent::Change;
using agent::Deadline;
using agent::Need;
using std::chrono::seconds;
using std::chrono::steady_clock;

class SlowManager : public remote_test::Remote {
 protected:
  SlowManager() {
    span_snmp_set_quill_q(&queue_);
    span_snmp_set_tarn(1);
    connect({60'000, 60'000});
  }
  ~SlowManager() override { go_on(); }

  // From the change behind so many on, until it goes on. What comes meanwhile waits for it.
  void stall_after(int changes) { changes_ = changes; }
  void go_on() {
    if (!std::exchange(goes_on_, true)) gate_.set_value();
  }

  static bool answers() {
    uint32_t threshold = 0;
    return agent::read_threshold(threshold) == agent::Found::kYes;
  }

  const manager::Config& configuration() const { return manager_.config(); }

 private:
  static chassis::Chassis description() {
    std::string error;
    return *chassis::Chassis::parse(remote_test::kDescription, "far.toml", error);
  }

  void play(const transport::Message& message, const transport::Responder& answer) {
    const auto asked = *transport::decode<transport::Request>(message.body);
    if (asked.kind == VEX_KIND_CHANGE && changes_-- == 0) gate_.get_future().wait();
    const manager::Reply reply = manager_.handle(asked.opcode, asked.kind, asked.payload);
    remote_test::reply(reply.status, reply.result, reply.response)(message, answer);
  }

  uint32_t queue_ = host::switch_queue();
  const chassis::Chassis chassis_ = description();
  manager::Manager manager_{chassis_};
  std::atomic<int> changes_ = -1;
  std::promise<void> gate_;
  bool goes_on_ = false;
  std::unique_ptr<remote_test::Process> process_ =
      manager([this](const auto& message, const auto& answer) { play(message, answer); });
};

// The request that it did not answer in time is done before the undo looks.
TEST_F(SlowManager, IsNotLeftToRestWithHalfAChange) {
  ASSERT_EQ(span_snmp_session_create(1), SPAN_OK);
  const manager::Config before = configuration();
  Change change({{agent::kSessionTable, agent::kSessionAdminStatus, {1}, agent::integer(2)},
                 {agent::kDropsGroup, agent::kDropThreshold, {0}, agent::unsigned32(77)}});
  ASSERT_EQ(change.plan(), std::nullopt);
  stall_after(1);
  const auto started = steady_clock::now();
  {
    const Deadline deadline;
    EXPECT_EQ(change.apply(), (Change::Failure{1, SNMP_ERR_RESOURCEUNAVAILABLE}));
  }
  EXPECT_LT(steady_clock::now() - started, seconds(30));
  go_on();
  {
    const Deadline deadline;
    EXPECT_FALSE(answers()) << "it rests";
  }
  {
    const Deadline deadline(Need::kAtOnce);
    EXPECT_TRUE(change.undo());
  }
  EXPECT_EQ(configuration(), before);
}

}  // namespace
}  // namespace agent_test
