// The line to a manager that comes and goes: one of the tests, in this process.
#include "host/nodes/watch.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include "host/transport/server.h"
#include "tests/nodes/lab.h"

namespace nodes_test {
namespace {

using namespace std::chrono_literals;
using transport::Message;
using transport::Rates;
using transport::Type;

using Strings = std::vector<std::string>;

// Serves one set of rates in a thread of its own. Who knows them already waits.
class Manager {
 public:
  Manager(const std::string& path, Rates rates, std::string chassis = kLab)
      : server_(io_, path, 0600, {transport::Role::kActive, "lab.toml", std::move(chassis)},
                [this](const auto&, const Message& message, const transport::Responder& answer) {
                  const auto watch = transport::decode<transport::Watch>(message.body);
                  if (!watch || message.type != Type::kWatch) return;
                  if (watch->generation == rates_.generation) return waiting_.push_back(answer);
                  answer(Type::kRates, transport::encode(rates_));
                }),
        rates_(std::move(rates)),
        thread_([this] { io_.run(); }) {}

  ~Manager() {
    io_.stop();
    thread_.join();
  }

 private:
  asio::io_context io_;
  transport::Server server_;
  Rates rates_;
  std::vector<transport::Responder> waiting_;
  std::thread thread_;
};

// What a listener hears, for another thread to wait for.
class Ear {
 public:
  nodes::Watch::Listener listener() {
    return {[this](Rates rates) { hear([&] { rates_.push_back(std::move(rates)); }); },
            [this](const std::string& text) { hear([&] { said_.push_back(text); }); }};
  }

  bool wait_for_rates(const Rates& rates) {
    return wait([&] { return !rates_.empty() && rates_.back() == rates; });
  }
  bool wait_for_lines(size_t count) {
    return wait([&] { return said_.size() >= count; });
  }
  size_t count() const {
    const std::lock_guard lock(mutex_);
    return rates_.size();
  }
  Strings said() const {
    const std::lock_guard lock(mutex_);
    return said_;
  }

 private:
  template <class Work>
  void hear(Work work) {
    const std::lock_guard lock(mutex_);
    work();
    changed_.notify_all();
  }

  template <class Condition>
  bool wait(Condition condition) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, 10s, condition);
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Rates> rates_;
  Strings said_;
};

class ManagerWatch : public testing::Test {
 protected:
  ManagerWatch() {
    char name[] = "/tmp/nodes_tests.XXXXXX";
    EXPECT_NE(mkdtemp(name), nullptr);
    directory_ = name;
    path_ = directory_ / "manager.sock";
  }
  ~ManagerWatch() override { std::filesystem::remove_all(directory_); }

  transport::Channel channel() { return {path_, "nodes_tests", &end_}; }
  void start(const Rates& rates, const std::string& chassis = kLab) {
    manager_.reset();
    manager_ = std::make_unique<Manager>(path_, rates, chassis);
  }
  std::unique_ptr<nodes::Watch> watch() {
    return std::make_unique<nodes::Watch>(channel(), kLab, end_, ear_.listener());
  }

  std::filesystem::path directory_;
  std::string path_;
  transport::Interrupt end_;
  Ear ear_;
  std::unique_ptr<Manager> manager_;
};

constexpr char kAway[] = "the SPAN manager is away, the last rates go on: ";
constexpr char kBack[] = "the SPAN manager is back";

TEST_F(ManagerWatch, HearsOfTheRates) {
  const Rates rates = {5, 1024, {{1, 2000}, {12, 6000}}};
  start(rates);
  const auto watch = this->watch();
  EXPECT_TRUE(ear_.wait_for_rates(rates));
  EXPECT_EQ(ear_.said(), Strings{});
}

TEST_F(ManagerWatch, HearsOfThemOnceUntilTheyAreOthers) {
  start({5, 1024, {}});
  const auto watch = this->watch();
  ASSERT_TRUE(ear_.wait_for_rates({5, 1024, {}}));
  std::this_thread::sleep_for(200ms);
  EXPECT_EQ(ear_.count(), 1u);
}

TEST_F(ManagerWatch, AsksARestartedManagerAnewWhateverItsGeneration) {
  start({5, 1024, {{1, 2000}}});
  const auto watch = this->watch();
  ASSERT_TRUE(ear_.wait_for_rates({5, 1024, {{1, 2000}}}));
  start({5, 1, {{1, 3000}}});
  EXPECT_TRUE(ear_.wait_for_rates({5, 1, {{1, 3000}}}));
}

// Half a second is six tries.
TEST_F(ManagerWatch, TellsOnceThatTheManagerIsAwayAndOnceThatItIsBack) {
  start({5, 1024, {}});
  const auto watch = this->watch();
  ASSERT_TRUE(ear_.wait_for_rates({5, 1024, {}}));
  manager_.reset();
  ASSERT_TRUE(ear_.wait_for_lines(1));
  std::this_thread::sleep_for(500ms);
  const Strings said = ear_.said();
  ASSERT_EQ(said.size(), 1u);
  EXPECT_TRUE(said[0].starts_with(kAway)) << said[0];
  for (const uint64_t generation : {6, 7}) {
    start({generation, 1024, {}});
    ASSERT_TRUE(ear_.wait_for_rates({generation, 1024, {}}));
    ASSERT_TRUE(ear_.wait_for_lines(2 * (generation - 5)));
  }
  ASSERT_EQ(ear_.said().size(), 4u);
  EXPECT_EQ(ear_.said()[1], kBack);
  EXPECT_TRUE(ear_.said()[2].starts_with(kAway)) << ear_.said()[2];
  EXPECT_EQ(ear_.said()[3], kBack);
}

TEST_F(ManagerWatch, TellsOfAManagerThatComesBackWithAnotherSwitch) {
  start({5, 1024, {}});
  const auto watch = this->watch();
  ASSERT_TRUE(ear_.wait_for_rates({5, 1024, {}}));
  manager_.reset();
  ASSERT_TRUE(ear_.wait_for_lines(1));
  start({6, 1024, {}}, "name = \"other\"");
  ASSERT_TRUE(ear_.wait_for_lines(2));
  EXPECT_EQ(ear_.said()[1], "the SPAN manager is back, with another switch; start again to serve that one");
}

TEST_F(ManagerWatch, EndsAtOnceWhetherTheManagerIsThereOrNot) {
  for (const bool there : {true, false}) {
    if (there) start({5, 1024, {}});
    auto watch = this->watch();
    ASSERT_TRUE(there ? ear_.wait_for_rates({5, 1024, {}}) : ear_.wait_for_lines(1));
    const auto begin = std::chrono::steady_clock::now();
    watch.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s) << there;
    end_.clear();
    manager_.reset();
  }
}

TEST_F(ManagerWatch, PausesLongerEachTime) {
  nodes::BackOff back_off(end_);
  const auto time_of_wait = [&](transport::Milliseconds limit) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(back_off.wait(limit));
    return std::chrono::steady_clock::now() - begin;
  };
  for (const auto pause : {50ms, 100ms, 200ms}) EXPECT_GE(time_of_wait(10s), pause);
  // The shortest of three, as a busy machine makes some longer.
  EXPECT_LT(std::min({time_of_wait(5ms), time_of_wait(5ms), time_of_wait(5ms)}), 400ms);
  const auto first_pause = [&] {
    back_off.start_over();
    return time_of_wait(10s);
  };
  EXPECT_LT(std::min({first_pause(), first_pause(), first_pause()}), 400ms);
}

TEST_F(ManagerWatch, PausesNoLongerThanUntilTheEnd) {
  end_.raise();
  EXPECT_FALSE(nodes::BackOff(end_).wait(10s));
}

// ---- The first greeting ----------------------------------------------------------------------------------------------

class AwaitedManager : public ManagerWatch {
 protected:
  int await(transport::Milliseconds patience) {
    auto manager = channel();
    return nodes::await_manager(
        manager, end_, patience, [this](const std::string& text) { said_.push_back(text); }, welcome_);
  }

  transport::Welcome welcome_;
  Strings said_;
};

TEST_F(AwaitedManager, IsNotWaitedForWhenItIsThere) {
  start({});
  EXPECT_EQ(await(0ms), 0);
  EXPECT_EQ(welcome_, (transport::Welcome{transport::Role::kActive, "lab.toml", kLab}));
  EXPECT_EQ(said_, Strings{});
}

TEST_F(AwaitedManager, ComesLaterAndIsWaitedForWithOneLine) {
  std::thread later([this] {
    std::this_thread::sleep_for(500ms);
    start({});
  });
  EXPECT_EQ(await(10s), 0);
  later.join();
  EXPECT_EQ(said_, Strings{"No such file or directory; waiting for the SPAN manager"});
}

TEST_F(AwaitedManager, IsNotWaitedForLongerThanSaid) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(await(300ms), ENOENT);
  const auto waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(waited, 300ms);
  EXPECT_LT(waited, 2s);
  EXPECT_EQ(said_.size(), 1u);
}

TEST_F(AwaitedManager, IsNotWaitedForOnceTheProcessIsToEnd) {
  std::thread later([this] {
    std::this_thread::sleep_for(200ms);
    end_.raise();
  });
  EXPECT_EQ(await(10s), EINTR);
  later.join();
}

TEST_F(AwaitedManager, IsNotWaitedForWhenThatDoesNotHelp) {
  path_ = directory_ / std::string(200, 'x');
  EXPECT_EQ(await(10s), ENAMETOOLONG);
  EXPECT_EQ(said_, Strings{});
}

}  // namespace
}  // namespace nodes_test
