// Processes of a switch that tests play: what they are asked, and what they answer.
#ifndef TESTS_HOST_REMOTE_SUPPORT_H
#define TESTS_HOST_REMOTE_SUPPORT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <asio/io_context.hpp>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/platform/switch.h"
#include "host/transport/endpoints.h"
#include "host/transport/server.h"
#include "platform/quill.h"
#include "platform/vex.h"

namespace remote_test {

using transport::Bytes;
using transport::Message;
using transport::Responder;
using transport::Type;

constexpr char kDescription[] = R"(name = "far"
vsans = "1-10"
[[module]]
number = 1
name = "card"
software-id = 43
fc-ports = "1-4"
[[module]]
number = 2
name = "card"
software-id = 43
fc-ports = "1-4"
[[module]]
number = 3
name = "card"
software-id = 43
fc-ports = "1-4"
[[module]]
number = 5
name = "supervisor"
supervisor = true
inband = 0
[[role]]
name = "all"
interfaces = "all"
vsans = "all"
)";

inline transport::Welcome welcome_of(transport::Role role, std::string description = kDescription) {
  return {role, "far.toml", std::move(description)};
}

using Play = std::function<void(const Message& message, const Responder& answer)>;

// A server in a thread of its own, from here on until it is destroyed; a frozen one is there and does nothing.
class Process {
 public:
  Process(const std::string& path, transport::Welcome welcome, Play play, transport::Limits limits = {},
          bool frozen = false)
      : server_(std::make_unique<transport::Server>(
            io_, path, 0600, std::move(welcome),
            [this, play = std::move(play)](const auto& /*peer*/, Message message, const Responder& answer) {
              note(message);
              play(message, answer);
            },
            limits)) {
    if (frozen) return;
    thread_ = std::thread([this] {
      io_.run();
      server_.reset();
    });
  }

  ~Process() {
    die();
    if (thread_.joinable()) thread_.join();
  }

  // Cuts all lines and removes the socket. Also for use while it answers.
  void die() { io_.stop(); }

  std::vector<Message> asked() const {
    const std::lock_guard lock(mutex_);
    return asked_;
  }

 private:
  void note(const Message& message) {
    const std::lock_guard lock(mutex_);
    asked_.push_back(message);
  }

  asio::io_context io_;
  mutable std::mutex mutex_;
  std::vector<Message> asked_;
  std::unique_ptr<transport::Server> server_;
  std::thread thread_;
};

inline void never(const Message& /*message*/, const Responder& /*answer*/) {}

inline Play always(Type type, Bytes body) {
  return [type, body](const Message& /*message*/, const Responder& answer) { answer(type, body); };
}

inline Play reply(uint32_t status, uint32_t result, Bytes response) {
  return always(Type::kReply, transport::encode(transport::Reply{status, result, std::move(response)}));
}

inline Play failure(uint32_t error) { return always(Type::kFailed, transport::encode(transport::Failed{error, "no"})); }

// A run directory, and this process as a client in it.
class Remote : public testing::Test {
 protected:
  Remote() {
    char name[] = "/tmp/span-remote.XXXXXX";
    directory_ = mkdtemp(name);
  }

  ~Remote() override {
    host::clear_interrupt();
    std::filesystem::remove_all(directory_);
  }

  std::string manager_socket() const { return transport::manager_socket(directory_); }

  std::unique_ptr<Process> manager(Play play, transport::Role role = transport::Role::kActive) const {
    return std::make_unique<Process>(manager_socket(), welcome_of(role), std::move(play));
  }

  std::unique_ptr<Process> node(uint32_t address, Play play, bool frozen = false) const {
    return std::make_unique<Process>(transport::node_socket(directory_, address),
                                     welcome_of(transport::Role::kNode, ""), std::move(play), transport::Limits{},
                                     frozen);
  }

  void connect(const host::Waits& waits = {1000, 60}) const {
    ASSERT_EQ(host::connect_switch(directory_, "test", waits), "");
    host::reset_outcome();
  }

  std::string refusal(const host::Waits& waits = {50, 50}) const {
    const std::string error = host::connect_switch(directory_, "test", waits);
    const size_t name = error.find(directory_);
    return name == std::string::npos ? error : error.substr(0, name) + "DIR" + error.substr(name + directory_.size());
  }

  // What a request comes to: its status, the response's first `room` bytes, and the error of the transport.
  struct Outcome {
    uint32_t status;
    uint32_t error;
    Bytes response;
  };

  // Any 4 bytes are a response to kPlainOpcode.
  static constexpr uint32_t kPlainOpcode = 2004;

  static Outcome request(uint32_t kind = VEX_KIND_QUERY, Bytes payload = {1, 2, 3}, size_t room = 0,
                         uint32_t opcode = kPlainOpcode) {
    void* response = nullptr;
    auto length = static_cast<uint32_t>(payload.size());
    const uint32_t status =
        vex_req_resp(opcode, kind, payload.data(), &response, &length, "ann", nullptr, 68, host::switch_queue(), 35);
    Outcome outcome = {status, status == VEX_TRANSPORT_FAILED ? quill_errno_get(host::switch_queue()) : 0, {}};
    const auto* const bytes = static_cast<const uint8_t*>(response);
    if (bytes != nullptr) outcome.response.assign(bytes, bytes + room);
    std::free(response);
    return outcome;
  }

  std::string directory_;
};

}  // namespace remote_test

#endif
