// Clients that change the switch as fast as they can, while the manager is killed again and again:
// kill_clients SPAND DIRECTORY KILLS SEED. After each kill the manager is started anew and asked for all that it
// should know.
//
// Each client has sessions and ports of its own, the first one the drop threshold as well, and beside it a manager in
// this process that is told what was acknowledged. The killed one has to know the same, or, when a change was under
// way, that change as well: all of it.
#include <sqlite3.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <deque>
#include <functional>
#include <random>
#include <thread>

#include "host/manager/config.h"
#include "host/manager/manager.h"
#include "host/transport/channel.h"
#include "host/transport/endpoints.h"
#include "tests/host/manager_support.h"

namespace {

using namespace manager_test;
using manager::Config;
using manager::Manager;
using transport::Milliseconds;
using Clock = std::chrono::steady_clock;

constexpr size_t kClients = 4;
constexpr uint8_t kSessions = 4;  // of each client
constexpr Milliseconds kPatience{10'000};

[[noreturn]] void give_up(const std::string& why) {
  std::fprintf(stderr, "kill_clients: %s\n", why.c_str());
  std::exit(2);
}

class Dice {
 public:
  explicit Dice(uint32_t seed) : engine_(seed) {}
  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(engine_() % limit); }
  bool one_in(uint32_t n) { return below(n) == 0; }

 private:
  std::mt19937 engine_;
};

const chassis::Chassis& the_switch() {
  static const chassis::Chassis kSwitch = [] {
    std::string error;
    auto description = chassis::Chassis::load(chassis::default_description(), error);
    if (!description) give_up(error);
    return *std::move(description);
  }();
  return kSwitch;
}

// ---- The manager that is killed -------------------------------------------------------------------------------------

class Spand {
 public:
  Spand(std::string program, const std::string& directory)
      : program_(std::move(program)), run_(directory + "/run"), state_(directory + "/state") {}
  ~Spand() { kill(); }
  Spand(const Spand&) = delete;
  Spand& operator=(const Spand&) = delete;

  void start() {
    pid_ = fork();
    if (pid_ == -1) give_up("fork");
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const char* const arguments[] = {program_.c_str(), "--run-dir", run_.c_str(), "--state", state_.c_str(), nullptr};
    execv(program_.c_str(), const_cast<char* const*>(arguments));
    _exit(127);
  }

  void kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
    if (!WIFSIGNALED(status)) give_up("spand has ended by itself");
    pid_ = 0;
  }

  std::string socket() const { return transport::manager_socket(run_); }
  std::string database() const { return state_ + "/span.db"; }

 private:
  std::string program_, run_, state_;
  pid_t pid_ = 0;
};

// ---- What can be asked of a manager ---------------------------------------------------------------------------------

using Ask = std::function<Bytes(uint32_t opcode, const Bytes& payload)>;

// What is a client's, but for its ports, in bytes: its sessions, and with the first ones the drop threshold.
Bytes share_of(const Ask& ask, uint8_t first) {
  Bytes all;
  const auto add = [&all](const Bytes& bytes) { all.insert(all.end(), bytes.begin(), bytes.end()); };
  if (first == 0) add(ask(2019, global_request(0, 1)));
  for (uint8_t index = first; index < first + kSessions; ++index) {
    const Bytes session = ask(2001, {index, 0, 0, 0});
    add(session);
    const size_t rx = be32(session, 1652);
    const size_t tx = be32(session, 1656 + 4 * rx);
    for (size_t i = 0; i < rx; ++i) add(ask(2010, source_info_request(if_at(session, 1656 + 4 * i), index, 1)));
    for (size_t i = 0; i < tx; ++i) add(ask(2010, source_info_request(if_at(session, 1660 + 4 * (rx + i)), index, 2)));
  }
  return all;
}

Ask asker(Manager& manager) {
  return [&manager](uint32_t opcode, const Bytes& payload) { return manager.handle(opcode, kQuery, payload).response; };
}

Ask asker(transport::Channel& channel) {
  return [&channel](uint32_t opcode, const Bytes& payload) {
    transport::Message answer{};
    const transport::Request request{opcode, kQuery, std::nullopt, std::nullopt, payload};
    const int error = channel.call(transport::Type::kRequest, encode(request), answer, kPatience);
    const auto reply = transport::decode<transport::Reply>(answer.body);
    if (error != 0 || !reply || reply->status != 0) give_up("a query failed: " + std::string(std::strerror(error)));
    return reply->response;
  };
}

// ---- A client -------------------------------------------------------------------------------------------------------

struct Change {
  uint32_t number;
  uint32_t opcode;
  Bytes payload;
  uint32_t result = 0;
};

struct Totals {
  size_t acknowledged = 0;
  size_t cut_off = 0;  // changes under way when the manager was killed
  size_t done = 0;     // of those
  size_t lost = 0;     // acknowledged, and not there
  size_t half = 0;     // states that are neither one nor the other
  size_t audit = 0;    // clients whose audit is not that of their changes
  size_t answers = 0;  // that were not those of the manager beside it
};

class Client {
 public:
  Client(uint8_t number, uint32_t seed)
      : number_(number), dice_(seed), beside_(std::make_unique<Manager>(the_switch())) {}

  void work(const std::string& socket, const std::atomic<bool>& is_over);
  void compare(const Bytes& share, const transport::RoleList& roles, const std::vector<Change>& audit, Totals& totals);

  uint8_t first_session() const { return static_cast<uint8_t>(number_ * kSessions); }
  std::string name() const { return "client " + std::to_string(number_); }

 private:
  Change random_change();
  Bytes random_sources();
  uint32_t random_threshold();
  bool send(transport::Channel& channel, const Change& change);
  uint32_t port(uint32_t i) const { return fc(1, 2 * number_ + 1 + i); }
  Bytes expected(Manager& manager) const { return share_of(asker(manager), first_session()); }
  bool has_roles(const Manager& manager, const transport::RoleList& roles) const;
  size_t steps_back(const Bytes& share) const;

  uint32_t number_;
  Dice dice_;
  uint32_t last_number_ = 0;
  std::unique_ptr<Manager> beside_;
  std::vector<Change> acknowledged_;  // since the last kill
  std::deque<Config> before_;         // the configurations that led to the one beside
  std::optional<Change> under_way_;
  size_t wrong_answers_ = 0;
};

// Lists of interfaces on two modules, in one direction or both, with and without VSANs.
Bytes Client::random_sources() {
  SourceRequest request{.index = static_cast<uint8_t>(first_session() + dice_.below(kSessions))};
  request.direction = static_cast<uint8_t>(1 + dice_.below(3));
  switch (dice_.below(5)) {
    case 0:
      request.direction = 1;
      request.type = 3;
      request.operation = dice_.one_in(3) ? 8 : 4;
      request.vsans = range(1 + dice_.below(50), 50 + dice_.below(50));
      break;
    case 1:
      request.type = 6;
      request.operation = dice_.one_in(3) ? 32 : 16;
      request.vsans = range(1 + dice_.below(50), 50 + dice_.below(50));
      break;
    default:
      request.operation = dice_.one_in(3) ? 8 : 1;
      if (dice_.one_in(3)) request.vsans = range(1 + dice_.below(50), 50 + dice_.below(50));
      request.ranges = {{fc(1, 11 + dice_.below(5)), fc(1, 16 + dice_.below(8))},
                        {fc(2, 11 + dice_.below(5)), fc(2, 16 + dice_.below(6))}};
  }
  return bytes_of(request);
}

// Some are out of range; the highest number brings the default back.
uint32_t Client::random_threshold() { return dice_.one_in(8) ? 0xFFFFFFFF : dice_.below(70'000); }

Change Client::random_change() {
  const auto index = static_cast<uint8_t>(first_session() + dice_.below(kSessions));
  const uint32_t number = ++last_number_;
  if (number_ == 0 && dice_.one_in(5)) return {number, 2019, global_request(random_threshold(), 0)};
  switch (dice_.below(10)) {
    case 0:
      return {number, 2000, destination_request(index, 1, port(dice_.below(2)))};
    case 1:
      return {number, 2006, state_request(static_cast<uint8_t>(1 + dice_.below(2)), index)};
    case 2:
      return {number, 2014, port_request({{port(0), port(1)}}, dice_.below(2))};
    case 3:
    case 4: {
      const uint8_t action = dice_.one_in(3) ? 2 : 1;
      const auto other = static_cast<uint8_t>(first_session() + dice_.below(kSessions));
      return {number, 2004, sessions_request(action, {index, other})};
    }
    default:
      return {number, 2002, random_sources()};
  }
}

// Whether the line still stands. A change that nobody received is forgotten.
bool Client::send(transport::Channel& channel, const Change& change) {
  const transport::Request request{change.opcode, kChange, name(), std::to_string(change.number), change.payload};
  under_way_ = change;
  transport::Message answer{};
  const int error = channel.call(transport::Type::kRequest, encode(request), answer, kPatience);
  if (error == ENOENT || error == ECONNREFUSED) {
    under_way_.reset();
    --last_number_;
    std::this_thread::sleep_for(Milliseconds(1));
    return true;
  }
  const auto reply = transport::decode<transport::Reply>(answer.body);
  if (error != 0 || !reply) return false;
  before_.push_back(beside_->config());
  const manager::Reply same = beside_->handle(change.opcode, kChange, change.payload);
  if (same.response != reply->response || same.status != reply->status) ++wrong_answers_;
  under_way_->result = reply->result;
  acknowledged_.push_back(*std::move(under_way_));
  under_way_.reset();
  return true;
}

void Client::work(const std::string& socket, const std::atomic<bool>& is_over) {
  transport::Channel channel(socket, "kill_clients");
  while (!is_over && send(channel, random_change())) {
  }
}

bool Client::has_roles(const Manager& manager, const transport::RoleList& roles) const {
  for (const uint32_t each : {port(0), port(1)}) {
    const auto role = std::ranges::find(roles.ports, each, &transport::PortRole::if_index);
    const bool is_listed = role != roles.ports.end();
    const uint32_t mode = is_listed ? role->mode : 0;
    const bool destination = is_listed && role->destination;
    if (mode != static_cast<uint32_t>(manager.port_mode(each)) || destination != manager.is_destination(each))
      return false;
  }
  return true;
}

// How many acknowledged changes the share lacks, 0 = it never was like that.
size_t Client::steps_back(const Bytes& share) const {
  for (size_t steps = 1; steps <= before_.size(); ++steps) {
    Manager earlier(the_switch(), before_[before_.size() - steps]);
    if (expected(earlier) == share) return steps;
  }
  return 0;
}

void Client::compare(const Bytes& share, const transport::RoleList& roles, const std::vector<Change>& audit,
                     Totals& totals) {
  const auto is = [&](Manager& manager) { return expected(manager) == share && has_roles(manager, roles); };
  auto further = std::make_unique<Manager>(the_switch(), beside_->config());
  if (under_way_) under_way_->result = further->handle(under_way_->opcode, kChange, under_way_->payload).result;
  const bool has_all = is(*beside_);
  const bool has_more = under_way_ && is(*further);
  const size_t back = has_all || has_more ? 0 : steps_back(share);
  totals.lost += back;
  totals.half += !has_all && !has_more && back == 0;

  std::vector<Change> rightful = acknowledged_;
  const bool audited_more = under_way_ && audit.size() == rightful.size() + 1;
  if (audited_more) rightful.push_back(*under_way_);
  const bool same = std::ranges::equal(audit, rightful, [](const Change& a, const Change& b) {
    return a.number == b.number && a.opcode == b.opcode && a.result == b.result;
  });
  totals.audit += !same || !(audited_more ? has_more : has_all);

  totals.acknowledged += acknowledged_.size();
  totals.cut_off += under_way_.has_value();
  totals.done += audited_more;
  totals.answers += wrong_answers_;
  if (audited_more) beside_ = std::move(further);
  acknowledged_.clear();
  before_.clear();
  under_way_.reset();
  wrong_answers_ = 0;
}

// ---- The audit ------------------------------------------------------------------------------------------------------

// The lines behind a number, by requester; the number becomes that of the last one.
std::map<std::string, std::vector<Change>> audit_since(const std::string& path, int64_t& number) {
  sqlite3* database = nullptr;
  sqlite3_stmt* query = nullptr;
  constexpr char kSql[] =
      "SELECT number, requester1, requester2, opcode, result FROM audit WHERE number > ? ORDER BY number";
  if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK ||
      sqlite3_prepare_v2(database, kSql, -1, &query, nullptr) != SQLITE_OK) {
    give_up(path + ": " + sqlite3_errmsg(database));
  }
  sqlite3_bind_int64(query, 1, number);
  std::map<std::string, std::vector<Change>> lines;
  const auto text = [query](int column) {
    return std::string(reinterpret_cast<const char*>(sqlite3_column_text(query, column)));
  };
  while (sqlite3_step(query) == SQLITE_ROW) {
    number = sqlite3_column_int64(query, 0);
    const auto change_number = static_cast<uint32_t>(std::strtoul(text(2).c_str(), nullptr, 10));
    lines[text(1)].push_back({change_number,
                              static_cast<uint32_t>(sqlite3_column_int64(query, 3)),
                              {},
                              static_cast<uint32_t>(sqlite3_column_int64(query, 4))});
  }
  sqlite3_finalize(query);
  sqlite3_close(database);
  return lines;
}

// ---- Rounds ---------------------------------------------------------------------------------------------------------

transport::RoleList roles_at(transport::Channel& channel) {
  transport::Message answer{};
  const int error = channel.call(transport::Type::kRoles, {}, answer, kPatience);
  const auto roles = transport::decode<transport::RoleList>(answer.body);
  if (error != 0 || !roles) give_up("the roles cannot be asked for");
  return *roles;
}

void await(transport::Channel& channel) {
  const auto end = Clock::now() + kPatience;
  transport::Welcome welcome;
  while (channel.welcome(welcome, kPatience) != 0) {
    if (Clock::now() > end) give_up("spand does not come back");
    std::this_thread::sleep_for(Milliseconds(1));
  }
}

class Trial {
 public:
  Trial(Spand& spand, uint32_t seed) : spand_(spand), dice_(seed) {
    for (uint8_t i = 0; i < kClients; ++i) clients_.emplace_back(i, seed + 1 + i);
  }

  // While the first state is made.
  void kill_at_birth();
  // Lets the clients work, kills, starts anew, compares.
  void kill_once();

  const Totals& totals() const { return totals_; }
  size_t kills() const { return kills_; }

 private:
  void compare();
  void kill_after(uint32_t max_milliseconds) {
    std::this_thread::sleep_for(std::chrono::microseconds(dice_.below(1000 * max_milliseconds)));
    spand_.kill();
    ++kills_;
  }

  Spand& spand_;
  Dice dice_;
  std::deque<Client> clients_;
  Totals totals_;
  size_t kills_ = 0;
  int64_t audited_ = 0;
};

void Trial::kill_at_birth() {
  for (int i = 0; i < 5; ++i) {
    kill_after(20);
    spand_.start();
  }
  compare();
}

// One in eight is killed once more while it comes back.
void Trial::kill_once() {
  std::atomic<bool> is_over = false;
  std::vector<std::thread> threads;
  for (Client& client : clients_) threads.emplace_back([&] { client.work(spand_.socket(), is_over); });
  kill_after(90);
  is_over = true;
  for (std::thread& thread : threads) thread.join();
  spand_.start();
  if (dice_.one_in(8)) {
    kill_after(15);
    spand_.start();
  }
  compare();
}

void Trial::compare() {
  transport::Channel channel(spand_.socket(), "kill_clients");
  await(channel);
  const transport::RoleList roles = roles_at(channel);
  auto audit = audit_since(spand_.database(), audited_);
  for (Client& client : clients_) {
    client.compare(share_of(asker(channel), client.first_session()), roles, audit[client.name()], totals_);
  }
}

int report(const Trial& trial, uint32_t seed, Clock::time_point start) {
  const Totals& totals = trial.totals();
  const auto seconds = std::chrono::duration<double>(Clock::now() - start).count();
  std::printf("seed %u: %zu kills in %.1f s with %zu clients at work\n", seed, trial.kills(), seconds, kClients);
  std::printf("changes acknowledged          %6zu\n", totals.acknowledged);
  std::printf("  of them lost                %6zu\n", totals.lost);
  std::printf("changes cut off               %6zu\n", totals.cut_off);
  std::printf("  of them done                %6zu\n", totals.done);
  std::printf("states with half a change     %6zu\n", totals.half);
  std::printf("audits with wrong lines       %6zu\n", totals.audit);
  std::printf("answers other than expected   %6zu\n", totals.answers);
  const bool at_work = 2 * totals.acknowledged >= trial.kills() && totals.cut_off > 0;
  if (!at_work) std::puts("the clients were not at work");
  return at_work && totals.lost + totals.half + totals.audit + totals.answers == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) give_up("usage: kill_clients SPAND DIRECTORY KILLS SEED");
  const auto kills = std::strtoul(argv[3], nullptr, 10);
  const auto seed = static_cast<uint32_t>(std::strtoul(argv[4], nullptr, 10));
  const auto start = Clock::now();
  Spand spand(argv[1], argv[2]);
  spand.start();
  Trial trial(spand, seed);
  trial.kill_at_birth();
  while (trial.kills() < kills) trial.kill_once();
  return report(trial, seed, start);
}
