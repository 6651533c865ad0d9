#include "host/agent/asking.h"

#include <csignal>
#include <ctime>

#include <chrono>

namespace agent {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kRest{1};

Clock::time_point started;
Clock::time_point rested;  // until then nobody is asked

// A timer whose signal ends what is waited for.
timer_t the_timer() {
  static const timer_t timer = [] {
    struct sigaction action = {};
    action.sa_handler = [](int) { host::interrupt_switch(); };
    sigaction(SIGRTMIN, &action, nullptr);
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGRTMIN;
    timer_t made = {};
    timer_create(CLOCK_MONOTONIC, &event, &made);
    return made;
  }();
  return timer;
}

void set_timer(std::chrono::seconds after) {
  itimerspec when = {};
  when.it_value.tv_sec = static_cast<time_t>(after.count());
  timer_settime(the_timer(), 0, &when, nullptr);
}

}  // namespace

Deadline::Deadline(Need need) {
  started = Clock::now();
  if (need == Need::kCanWait && started < rested) host::interrupt_switch();
  set_timer(kPatience);
}

Deadline::~Deadline() {
  set_timer(std::chrono::seconds{0});
  const Clock::time_point now = Clock::now();
  if (now >= started + kPatience) rested = now + kRest;
  host::clear_interrupt();
}

}  // namespace agent
