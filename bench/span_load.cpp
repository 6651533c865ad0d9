// What a SPAN manager serves: span_load SPAND. Starts one in a directory of its own, holds more and more clients at
// once, and lets all of them ask in turn.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "host/manager/manager.h"
#include "host/transport/channel.h"
#include "host/transport/endpoints.h"
#include "platform/vex.h"

namespace {

using std::chrono::steady_clock;
using transport::Channel;
using transport::Message;
using transport::Milliseconds;

constexpr Milliseconds kPatience{10000};
constexpr std::chrono::milliseconds kSpell{1000};  // of each measurement
constexpr uint32_t kSessionInfo = 2001;
constexpr uint32_t kDeleteSession = 2004;  // creates, too
constexpr uint32_t kSetSessionState = 2006;
constexpr size_t kRequesterHeader = 100;

[[noreturn]] void give_up(const std::string& why) {
  std::fprintf(stderr, "span_load: %s\n", why.c_str());
  std::exit(1);
}

// A manager with a directory of its own, both of which end with the object.
class Manager {
 public:
  explicit Manager(const char* program) {
    std::string name = std::filesystem::temp_directory_path() / "span-load.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) give_up(name + ": " + std::strerror(errno));
    directory_ = name;
    const std::string state = directory_ + "/state";
    process_ = fork();
    if (process_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // should this program give up
    execl(program, program, "--run-dir", directory_.c_str(), "--state", state.c_str(), nullptr);
    give_up(std::string(program) + ": " + std::strerror(errno));
  }
  ~Manager() {
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
    std::filesystem::remove_all(directory_);
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  std::string socket() const { return transport::manager_socket(directory_); }

 private:
  std::string directory_;
  pid_t process_;
};

void ask(Channel& channel, const transport::Request& request) {
  Message answer;
  const int error = channel.call(transport::Type::kRequest, transport::encode(request), answer, kPatience);
  if (error != 0) give_up(std::strerror(error));
  const auto reply = transport::decode<transport::Reply>(answer.body);
  if (!reply || reply->status != 0 || reply->result != 0) give_up("the manager refuses");
}

transport::Request query(size_t turn) {
  return {.opcode = kSessionInfo, .kind = VEX_KIND_QUERY, .payload = {static_cast<uint8_t>(turn % 16), 0, 0, 0}};
}

// The first one creates session 1; then it is suspended and resumed.
transport::Request change(size_t turn) {
  transport::Request request{.opcode = turn == 0 ? kDeleteSession : kSetSessionState, .kind = VEX_KIND_CHANGE};
  request.payload.resize(kRequesterHeader);
  if (turn == 0) {
    request.payload.insert(request.payload.end(), {1, 1, 0});  // create, one of them, its index
  } else {
    request.payload.insert(request.payload.end(), {static_cast<uint8_t>(1 + turn % 2), 0});
  }
  return request;
}

// Calls of `work` in a second.
template <class Work>
double rate(Work work) {
  const auto start = steady_clock::now();
  size_t turn = 0;
  for (; steady_clock::now() - start < kSpell; ++turn) work(turn);
  return static_cast<double>(turn) / std::chrono::duration<double>(steady_clock::now() - start).count();
}

// The same queries without a socket between.
double embedded_rate(const transport::Welcome& welcome) {
  std::string error;
  const auto chassis = chassis::Chassis::parse(welcome.chassis, welcome.chassis_name, error);
  if (!chassis) give_up(error);
  manager::Manager manager(*chassis);
  return rate([&](size_t turn) {
    const transport::Request request = query(turn);
    if (manager.handle(request.opcode, request.kind, request.payload).response.empty()) give_up("no answer");
  });
}

void connect(std::vector<Channel>& clients, size_t count, const std::string& socket) {
  transport::Welcome welcome;
  while (clients.size() < count) {
    clients.emplace_back(socket, "span_load");
    const int error = clients.back().welcome(welcome, kPatience);
    if (error != 0) give_up(socket + ": " + std::strerror(error));
  }
}

// The manager needs a moment before it serves.
transport::Welcome first_welcome(const std::string& socket) {
  transport::Welcome welcome;
  for (int tries = 0; tries < 200; ++tries) {
    Channel channel(socket, "span_load");
    if (channel.welcome(welcome, kPatience) == 0) return welcome;
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
  }
  give_up("the manager does not serve " + socket);
}

void allow_many_files() {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) give_up("usage: span_load SPAND");
  allow_many_files();
  const Manager manager(argv[1]);
  const double embedded = embedded_rate(first_welcome(manager.socket()));
  std::printf("in one process: %.0f queries a second\n", embedded);
  std::printf("clients held  queries a second  of those in one process  saved changes a second\n");
  std::vector<Channel> clients;
  bool created = false;
  for (const size_t count : {1u, 10u, 100u, 1000u}) {
    connect(clients, count, manager.socket());
    const double queries = rate([&](size_t turn) { ask(clients[turn % count], query(turn)); });
    const double changes = rate([&](size_t turn) { ask(clients[turn % count], change(created ? turn + 1 : turn)); });
    created = true;
    std::printf("%12zu  %16.0f  %22.1f%%  %22.0f\n", count, queries, 100 * queries / embedded, changes);
    std::fflush(stdout);
  }
}
