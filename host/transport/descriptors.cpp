#include "host/transport/descriptors.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

#include "host/transport/server.h"

namespace transport {
namespace {

// What a process needs beside its clients, with some to spare: files, timers, the sockets that it listens at.
constexpr rlim_t kOwn = 48;

// With fewer clients nothing could be kept free for anybody.
constexpr rlim_t kFewest = 4;

rlim_t raised_limit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) throw std::system_error(errno, std::generic_category(), "open files");
  const rlimit highest{limit.rlim_max, limit.rlim_max};
  return ::setrlimit(RLIMIT_NOFILE, &highest) == 0 ? highest.rlim_cur : limit.rlim_cur;
}

}  // namespace

void hold_standard_files() {
  for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(number, F_GETFD) == -1) ::open("/dev/null", number == STDERR_FILENO ? O_WRONLY : O_RDONLY);
  }
}

size_t most_clients(size_t servers) {
  const rlim_t limit = raised_limit();
  // One more for each server, which listens.
  const rlim_t least = kOwn + servers * (kFewest + 1);
  if (limit < least) {
    throw std::runtime_error("a limit of " + std::to_string(limit) + " open files is too low, at least " +
                             std::to_string(least) + " are needed");
  }
  return static_cast<size_t>(std::min<rlim_t>((limit - kOwn) / servers - 1, Limits{}.clients));
}

}  // namespace transport
