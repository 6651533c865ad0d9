// What the tests of the transport share: a folder, a server in a thread of its own, and a client that speaks bytes. The
// frames are built from plain numbers.
#ifndef TESTS_TRANSPORT_TRANSPORT_SUPPORT_H
#define TESTS_TRANSPORT_TRANSPORT_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>

#include "host/transport/channel.h"
#include "host/transport/message.h"
#include "host/transport/server.h"

namespace transport_test {

using transport::Admission;
using transport::Bytes;
using transport::Channel;
using transport::Handler;
using transport::Limits;
using transport::Message;
using transport::Milliseconds;
using transport::Peer;
using transport::Responder;
using transport::Server;
using transport::Type;
using transport::Welcome;

using Random = std::independent_bits_engine<std::mt19937, 32, uint32_t>;
using Clock = std::chrono::steady_clock;

// Longer than anything takes that goes well.
constexpr Milliseconds kPatience(5000);
// Longer than what is not to happen would take.
constexpr Milliseconds kMoment(30);

inline const Welcome kWelcome{transport::Role::kActive, "lab.toml", "name = \"lab\""};

// A private folder, gone with the test.
class Folder {
 public:
  Folder() {
    char name[] = "/tmp/transport-test-XXXXXX";
    if (mkdtemp(name) == nullptr) std::abort();
    path_ = name;
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  size_t files() const { return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(path_), {})); }

 private:
  std::string path_;
};

inline void echo(const Peer&, Message message, Responder answer) { answer(Type::kAnswer, std::move(message.body)); }

// A server in its thread, and how many messages it was given.
class Serving {
 public:
  explicit Serving(std::string path, Handler handler = echo, Limits limits = {}, mode_t mode = 0600,
                   Admission admission = {}) {
    auto counting = [this, handler = std::move(handler)](const Peer& peer, Message message, Responder answer) {
      ++received_;
      handler(peer, std::move(message), std::move(answer));
    };
    server_ = std::make_unique<Server>(io_, std::move(path), mode, kWelcome, std::move(counting), limits,
                                       std::move(admission));
    thread_ = std::thread([this] { io_.run(); });
  }
  ~Serving() { stop(); }

  // The io_context has nothing left to do when the server goes.
  void stop() {
    if (!thread_.joinable()) return;
    asio::post(io_, [this] { server_.reset(); });
    thread_.join();
  }

  // Runs something in the server's thread.
  template <class Function>
  auto in_thread(Function function) {
    std::packaged_task<decltype(function())()> task(std::move(function));
    auto result = task.get_future();
    asio::post(io_, [&task] { task(); });
    return result.get();
  }

  size_t clients() {
    return in_thread([this] { return server_->clients(); });
  }

  Server& server() { return *server_; }
  std::unique_ptr<Server>& owner() { return server_; }
  std::thread& thread() { return thread_; }
  int received() const { return received_; }

 private:
  asio::io_context io_;
  std::unique_ptr<Server> server_;
  std::atomic<int> received_{0};
  std::thread thread_;
};

inline bool eventually(const std::function<bool()>& holds) {
  for (const auto end = Clock::now() + kPatience; Clock::now() < end;) {
    if (holds()) return true;
    std::this_thread::sleep_for(Milliseconds(1));
  }
  return holds();
}

inline void add_number(Bytes& to, uint32_t value, int bytes) {
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) to.push_back(static_cast<uint8_t>(value >> shift));
}

struct Header {
  uint32_t type = 3;
  uint32_t id = 1;
  uint32_t total = 0;
  uint32_t offset = 0;
  uint32_t version = 1;
  uint32_t magic = 0x5350414e;
};

inline Bytes frame(const Header& header, size_t piece = 0) {
  Bytes bytes;
  add_number(bytes, header.magic, 4);
  add_number(bytes, header.version, 2);
  add_number(bytes, header.type, 2);
  add_number(bytes, header.id, 4);
  add_number(bytes, header.total, 4);
  add_number(bytes, header.offset, 4);
  bytes.resize(bytes.size() + piece, 0x5a);
  return bytes;
}

// The greeting of a program that is called "test".
inline const Bytes kHelloFrame = [] {
  Bytes bytes = frame({.type = 1, .id = 9, .total = 8});
  bytes.insert(bytes.end(), {0, 0, 0, 4, 't', 'e', 's', 't'});
  return bytes;
}();

inline sockaddr_un address_of(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  return address;
}

// A socket that is used record by record. No wait takes longer than kPatience.
class Raw {
 public:
  explicit Raw(int socket = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) : socket_(socket) {
    const timeval patience{kPatience.count() / 1000, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
  }
  explicit Raw(const std::string& path) : Raw() { connect(path); }
  ~Raw() { close(); }
  Raw(Raw&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}

  void connect(const std::string& path) {
    const sockaddr_un address = address_of(path);
    EXPECT_EQ(::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0) << errno;
  }
  void listen(const std::string& path, int backlog = 16) {
    const sockaddr_un address = address_of(path);
    EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0) << errno;
    EXPECT_EQ(::listen(socket_, backlog), 0);
  }
  Raw accept() { return Raw(::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC)); }
  void close() {
    if (socket_ >= 0) ::close(std::exchange(socket_, -1));
  }

  // 0 or an errno number.
  int send(const Bytes& record) { return ::send(socket_, record.data(), record.size(), MSG_NOSIGNAL) >= 0 ? 0 : errno; }

  // Empty at the end of the line, and when nothing comes; errno tells.
  Bytes receive() {
    errno = 0;
    Bytes record(70000);
    const ssize_t length = ::recv(socket_, record.data(), record.size(), 0);
    record.resize(length < 0 ? 0 : static_cast<size_t>(length));
    return record;
  }

  void greet() {
    send(kHelloFrame);
    ASSERT_EQ(type_of(receive()), 2u);
  }

  // Reads up to the end of the line: what it ended with.
  transport::Failed last_words() {
    Bytes last;
    for (Bytes record = receive(); !record.empty(); record = receive()) last = std::move(record);
    if (type_of(last) != 14u) return {0, "no last words"};
    return transport::decode<transport::Failed>(std::span(last).subspan(20)).value();
  }
  bool is_cut() { return receive().empty() && errno != EAGAIN; }

  static uint32_t type_of(const Bytes& record) { return record.size() < 20 ? 0 : record[7]; }
  static uint32_t id_of(const Bytes& record) { return record.size() < 20 ? 0 : record[11]; }

  int descriptor() const { return socket_; }

 private:
  int socket_;
};

// The kernel keeps credentials by thread, and only the C library those of all threads together.
inline void become(uid_t uid, gid_t gid, std::vector<gid_t> groups) {
  ASSERT_EQ(syscall(SYS_setgroups, groups.size(), groups.data()), 0);
  ASSERT_EQ(syscall(SYS_setresgid, gid, gid, gid), 0);
  ASSERT_EQ(syscall(SYS_setresuid, uid, uid, uid), 0);
}

// valgrind keeps the limit by itself: it accepts a client, and then closes its line.
inline bool limits_are_the_kernels() {
  const char* const preloaded = getenv("LD_PRELOAD");
  return preloaded == nullptr || std::string(preloaded).find("vgpreload") == std::string::npos;
}

}  // namespace transport_test

#endif
