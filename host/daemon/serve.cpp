#include "host/daemon/serve.h"

#include <unistd.h>

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>

#include "host/daemon/directories.h"
#include "host/daemon/notify.h"
#include "host/daemon/say.h"
#include "host/daemon/service.h"
#include "host/transport/descriptors.h"
#include "host/transport/endpoints.h"
#include "host/transport/server.h"

namespace spand {
namespace {

using transport::Message;
using transport::Peer;
using transport::Responder;
using transport::Role;
using transport::Server;

constexpr std::chrono::milliseconds kFarewell{500};

class Daemon {
 public:
  Daemon(const Place& place, const Description& description, bool active);

  void run();

 private:
  Service make_service();
  State open_state() const;
  void note_role() const;
  State take_over();
  State become_active();
  std::string socket() const;
  void give_to_group() const;
  void tell_ready() const;
  void await_signal();
  void await_watchers();
  void say_farewell();

  const Place& place_;
  const Description& description_;
  const bool active_;  // from the start
  asio::io_context io_;
  asio::signal_set signals_{io_, SIGINT, SIGTERM};
  asio::steady_timer timer_{io_};
  bool timer_runs_ = false;
  Service service_;
  Server server_;
};

Daemon::Daemon(const Place& place, const Description& description, bool active)
    : place_(place),
      description_(description),
      active_(active),
      service_(make_service()),
      server_(io_, socket(), place.socket_mode,
              {service_.is_active() ? Role::kActive : Role::kStandby, description.file, description.toml},
              [this](const Peer& peer, const Message& message, const Responder& answer) {
                service_.handle(peer, message, answer);
                await_watchers();
              },
              {.clients = transport::most_clients()},
              {[access = Access(place.group)](const Peer& peer) { return access.may_change(peer); }, say}) {
  give_to_group();
  if (active_) note_role();
}

Service Daemon::make_service() {
  const Access access(place_.group);
  if (!active_) return {description_.chassis, access, [this] { return take_over(); }};
  return {description_.chassis, access, open_state()};
}

State Daemon::open_state() const {
  prepare_state_directory(place_.state_directory);
  return spand::open_state(place_.state_directory, description_.chassis, place_.unknown);
}

// Of the one that has the manager's socket, before it answers anybody there. Who dies between both has changed nothing,
// and what the note says of the one before still holds.
void Daemon::note_role() const {
  try {
    note_taken_over(place_.state_directory, place_.standby);
  } catch (const StateError& error) {
    say(std::string("its role is not noted: ") + error.what());
  }
}

State Daemon::take_over() {
  try {
    return become_active();
  } catch (const StateMisfit& error) {
    say_misfits(error);
    throw;
  } catch (const std::exception& error) {
    say(std::string("did not take over: ") + error.what());
    throw;
  }
}

// The socket goes behind the state: clients that find it find the active manager.
State Daemon::become_active() {
  State state = open_state();
  server_.move_to(transport::manager_socket(place_.run_directory));
  server_.set_role(Role::kActive);
  note_role();
  say("took over, serving " + description_.chassis.name() + " at " + transport::manager_socket(place_.run_directory));
  notify("STATUS=Active");
  return state;
}

std::string Daemon::socket() const {
  return active_ ? transport::manager_socket(place_.run_directory) : transport::standby_socket(place_.run_directory);
}

void Daemon::give_to_group() const {
  if (place_.group == getegid() || lchown(socket().c_str(), static_cast<uid_t>(-1), place_.group) == 0) return;
  say(socket() + ": cannot be given to the group " + std::to_string(place_.group) + ": " + std::strerror(errno));
}

void Daemon::tell_ready() const {
  say((active_ ? "serving " : "standing by for ") + description_.chassis.name() + " at " + socket());
  notify(active_ ? "READY=1\nSTATUS=Active" : "READY=1\nSTATUS=Standby");
}

void Daemon::await_signal() {
  signals_.async_wait([this](const asio::error_code& error, int /*number*/) {
    if (!error) io_.stop();
  });
}

// One timer for all of them; it runs while there are any.
void Daemon::await_watchers() {
  const auto due = service_.watchers().next_due();
  if (!due || timer_runs_) return;
  timer_runs_ = true;
  timer_.expires_at(*due);
  timer_.async_wait([this](const asio::error_code& /*error*/) {
    timer_runs_ = false;
    service_.watchers().answer_due(std::chrono::steady_clock::now());
    await_watchers();
  });
}

// What has arrived is done and answered; nobody keeps the daemon from ending, though.
void Daemon::say_farewell() {
  notify("STOPPING=1");
  service_.watchers().answer_all();
  const auto end = std::chrono::steady_clock::now() + kFarewell;
  io_.restart();
  while (io_.poll() > 0 && std::chrono::steady_clock::now() < end) {
  }
  say("ended");
}

void Daemon::run() {
  await_signal();
  tell_ready();
  io_.run();
  say_farewell();
}

// A standby that has taken over is the manager when it comes back. Not if another one has the state by then.
bool serve_again(const Place& place, const Description& description) {
  if (!place.standby || !was_taken_over(place.state_directory)) return false;
  try {
    Daemon daemon(place, description, true);
    say("has taken over before, and is the manager again");
    daemon.run();
    return true;
  } catch (const StateInUse&) {
    return false;
  }
}

}  // namespace

void serve(const Place& place, const Description& description) {
  std::signal(SIGHUP, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  prepare_run_directory(place.run_directory, place.socket_mode, place.group);
  if (!serve_again(place, description)) Daemon(place, description, !place.standby).run();
}

}  // namespace spand
