#include "host/transport/socket_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "host/transport/socket.h"

namespace transport {
namespace {

using std::chrono::steady_clock;

constexpr auto kLockPatience = std::chrono::seconds(2);
constexpr auto kLockPause = std::chrono::milliseconds(5);

std::system_error failure(int error, const std::string& path) { return {error, std::generic_category(), path}; }

bool same_file(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Held by the one process that examines a path and takes it. Its file goes with it: the one who locks a file that lost
// its name in between has locked nothing.
class PathLock {
 public:
  explicit PathLock(const std::string& path) : name_(path + ".lock") {
    for (const auto end = steady_clock::now() + kLockPatience; !acquire();) {
      if (steady_clock::now() >= end) throw failure(EADDRINUSE, path);
      std::this_thread::sleep_for(kLockPause);
    }
  }
  ~PathLock() { ::unlink(name_.c_str()); }
  PathLock(const PathLock&) = delete;
  PathLock& operator=(const PathLock&) = delete;

 private:
  bool acquire() {
    descriptor_.reset(::open(name_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!descriptor_) throw failure(errno, name_);
    struct stat locked;
    struct stat named;
    return ::flock(descriptor_.get(), LOCK_EX | LOCK_NB) == 0 && ::fstat(descriptor_.get(), &locked) == 0 &&
           ::lstat(name_.c_str(), &named) == 0 && same_file(locked, named);
  }

  std::string name_;
  Descriptor descriptor_;
};

sockaddr_un checked_address(const std::string& path) {
  const auto address = socket_address(path);
  if (address) return *address;
  throw std::length_error(path + ": too long for a socket, at most " +
                          std::to_string(sizeof(sockaddr_un::sun_path) - 1) + " characters");
}

// Throws unless nothing is at the path, or a socket that nobody serves.
void check_free(const std::string& path) {
  struct stat found;
  if (::lstat(path.c_str(), &found) != 0) {
    if (errno == ENOENT) return;
    throw failure(errno, path);
  }
  if (!S_ISSOCK(found.st_mode)) throw failure(EEXIST, path);
  const int error = connect_socket(new_socket().get(), checked_address(path));
  if (error == ECONNREFUSED || error == ENOENT) return;
  const bool is_served = error == 0 || error == EAGAIN || error == EPROTOTYPE;
  throw failure(is_served ? EADDRINUSE : error, path);
}

void rename_file(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) throw failure(errno, to);
}

// A name in the same directory. It is no longer than those of the switch's sockets.
std::string private_name(const std::string& path) {
  std::ostringstream name;
  name << '.' << std::hex << std::random_device()();
  return std::filesystem::path(path).replace_filename(name.str());
}

}  // namespace

// The socket gets its mode before it listens, and its name when it does.
SocketFile::SocketFile(int socket, std::string path, mode_t mode) : path_(private_name(path)) {
  checked_address(path);
  const sockaddr_un address = checked_address(path_);
  if (const int error = bind_socket(socket, address); error != 0) throw failure(error, path);
  try {
    if (::chmod(path_.c_str(), mode) != 0 || ::lstat(path_.c_str(), &identity_) != 0 ||
        ::listen(socket, SOMAXCONN) != 0) {
      throw failure(errno, path);
    }
    move_to(std::move(path));
  } catch (...) {
    ::unlink(path_.c_str());
    throw;
  }
}

SocketFile::~SocketFile() {
  if (is_there()) ::unlink(path_.c_str());
}

void SocketFile::move_to(std::string path) {
  if (path == path_) return;
  checked_address(path);
  const PathLock lock(path);
  check_free(path);
  if (!is_there()) throw failure(ENOENT, path_);
  rename_file(path_, path);
  path_ = std::move(path);
}

bool SocketFile::is_there() const {
  struct stat found;
  return ::lstat(path_.c_str(), &found) == 0 && same_file(found, identity_);
}

}  // namespace transport
