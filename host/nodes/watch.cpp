#include "host/nodes/watch.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace nodes {
namespace {

using std::chrono::steady_clock;
using transport::Type;

// The manager answers within a second.
constexpr Milliseconds kPatience{5000};
constexpr Milliseconds kShortestTry{1000};

// A manager that is not there yet, or has no time, may be there later.
bool may_pass(int error) {
  switch (error) {
    case ENOENT:
    case ECONNREFUSED:
    case ECONNRESET:
    case ETIMEDOUT:
    case EAGAIN:
    case EBUSY:
      return true;
    default:
      return false;
  }
}

Milliseconds time_until(steady_clock::time_point end) {
  return std::max(std::chrono::ceil<Milliseconds>(end - steady_clock::now()), Milliseconds(0));
}

}  // namespace

bool BackOff::wait(Milliseconds limit) {
  pollfd end = {end_.descriptor(), POLLIN, 0};
  const int ended = ::poll(&end, 1, static_cast<int>(std::min(pause_, limit).count()));
  pause_ = std::min(2 * pause_, kLongest);
  return ended != 1;
}

int await_manager(transport::Channel& manager, const transport::Interrupt& end, Milliseconds patience, const Say& say,
                  transport::Welcome& welcome) {
  const auto deadline = steady_clock::now() + patience;
  BackOff back_off(end);
  for (bool told = false;; told = true) {
    const int error = manager.welcome(welcome, std::clamp(time_until(deadline), kShortestTry, kPatience));
    if (!may_pass(error) || time_until(deadline).count() == 0) return error;
    if (!told) say(std::string(std::strerror(error)) + "; waiting for the SPAN manager");
    if (!back_off.wait(time_until(deadline))) return EINTR;
  }
}

Watch::Watch(transport::Channel manager, std::string chassis, transport::Interrupt& end, Listener listener)
    : manager_(std::move(manager)),
      chassis_(std::move(chassis)),
      end_(end),
      listener_(std::move(listener)),
      thread_([this] { run(); }) {}

Watch::~Watch() {
  end_.raise();
  thread_.join();
}

// A call that finds the end raised is interrupted, too.
void Watch::run() {
  BackOff back_off(end_);
  for (int error = hear(); error != EINTR; error = hear()) {
    if (error != 0) {
      lose(error);
      back_off.wait(kPatience);
    } else {
      if (lost_) find_again();
      back_off.start_over();
    }
  }
}

int Watch::hear() {
  transport::Message answer = {Type::kRates};
  const int error = manager_.call(Type::kWatch, transport::encode(transport::Watch{generation_}), answer, kPatience);
  if (error != 0) return error;
  auto rates = transport::decode<transport::Rates>(answer.body);
  if (answer.type != Type::kRates || !rates) return EPROTO;
  generation_ = rates->generation;
  listener_.rates(std::move(*rates));
  return 0;
}

void Watch::lose(int error) {
  generation_ = 0;
  if (std::exchange(lost_, true)) return;
  listener_.say(std::string("the SPAN manager is away, the last rates go on: ") + std::strerror(error));
}

void Watch::find_again() {
  lost_ = false;
  transport::Welcome welcome;
  const bool known = manager_.welcome(welcome, kPatience) == 0;
  listener_.say(known && welcome.chassis != chassis_
                    ? "the SPAN manager is back, with another switch; start again to serve that one"
                    : "the SPAN manager is back");
}

}  // namespace nodes
