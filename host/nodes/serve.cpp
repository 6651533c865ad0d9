#include "host/nodes/serve.h"

#include <sys/stat.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/post.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <system_error>

#include "host/nodes/node.h"
#include "host/transport/descriptors.h"
#include "host/transport/tame.h"

namespace nodes {
namespace {

using transport::Role;
using transport::Server;

// Who may use the manager may use its modules.
struct Access {
  gid_t group;
  mode_t mode;
};

Access access_to(const Place& place) {
  struct stat manager;
  if (stat(place.endpoint.manager.c_str(), &manager) != 0) {
    throw std::system_error(errno, std::generic_category(), place.endpoint.manager);
  }
  return {manager.st_gid, place.socket_mode.value_or(manager.st_mode & 0666)};
}

void give_to_group(const std::string& socket, gid_t group) {
  struct stat facts;
  if (lstat(socket.c_str(), &facts) == 0 && facts.st_gid == group) return;
  if (lchown(socket.c_str(), static_cast<uid_t>(-1), group) == 0) return;
  say(socket + ": cannot be given to the group " + std::to_string(group) + ": " + std::strerror(errno));
}

class Process {
 public:
  Process(const Place& place, const Description& description, const Selection& selection);

  void run(transport::Channel manager, const std::string& chassis, transport::Interrupt& end);

 private:
  void serve(const Place& place, uint32_t address, transport::Handler handler);
  void await(const transport::Interrupt& end);

  asio::io_context io_;
  asio::posix::stream_descriptor end_{io_};
  Cards cards_;
  const Access access_;
  const transport::Limits limits_;
  std::deque<Server> servers_;
};

Process::Process(const Place& place, const Description& description, const Selection& selection)
    : access_(access_to(place)),
      limits_{.clients = transport::most_clients(selection.line_cards.size() + (selection.supervisor ? 1 : 0))} {
  if (selection.supervisor) serve(place, linecard::kSupervisorAddress, supervisor(description.chassis));
  for (const chassis::Module& each : selection.line_cards) {
    serve(place, linecard::address_of(each.number), line_card(cards_, each));
  }
}

void Process::serve(const Place& place, uint32_t address, transport::Handler handler) try {
  const std::string socket = transport::node_socket(place.endpoint.run_directory, address);
  const transport::Admission admission = {
      [group = access_.group](const transport::Peer& peer) { return peer.is_root_or_of(group); },
      [socket](const std::string& text) { say(socket + ": " + text); }};
  servers_.emplace_back(io_, socket, access_.mode, transport::Welcome{Role::kNode, {}, {}}, std::move(handler), limits_,
                        admission);
  give_to_group(socket, access_.group);
} catch (const std::system_error& error) {
  if (error.code() != std::errc::address_in_use) throw;
  const std::string who =
      address == linecard::kSupervisorAddress ? "the supervisor" : "module " + std::to_string(address >> 8);
  throw std::runtime_error("another process serves " + who + " in " + place.endpoint.run_directory);
}

void Process::await(const transport::Interrupt& end) {
  end_.assign(dup(end.descriptor()));
  end_.async_wait(asio::posix::stream_descriptor::wait_read, [this](const asio::error_code&) { io_.stop(); });
}

void Process::run(transport::Channel manager, const std::string& chassis, transport::Interrupt& end) {
  await(end);
  const auto hear = [this](transport::Rates rates) {
    asio::post(io_, [this, rates = std::move(rates)] { cards_.set_rates(rates.copies, rates.threshold); });
  };
  const Watch watch(std::move(manager), chassis, end, {hear, say});
  io_.run();
}

}  // namespace

void say(const std::string& text) { std::fprintf(stderr, "%s: %s\n", kProgram, transport::tame(text).c_str()); }

void serve(const Place& place, const Description& description, const Selection& selection, transport::Channel manager,
           transport::Interrupt& end) {
  Process process(place, description, selection);
  say("serving " + description.chassis.name() + " in " + place.endpoint.run_directory + ": " + text_of(selection));
  process.run(std::move(manager), description.toml, end);
}

}  // namespace nodes
