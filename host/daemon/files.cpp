#include "host/daemon/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace spand {

void refuse(const std::string& path, const std::string& why) { throw StateError(path + ": " + why); }
void refuse_errno(const std::string& path) { refuse(path, std::strerror(errno)); }

// ---- The lock -------------------------------------------------------------------------------------------------------

StateLock::StateLock(const std::string& directory) {
  const std::string path = directory + "/lock";
  descriptor_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  if (descriptor_ == -1) refuse_errno(path);
  char pid[32] = "";
  if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
    const bool in_use = errno == EWOULDBLOCK;
    const ssize_t length = pread(descriptor_, pid, sizeof pid - 1, 0);
    close(descriptor_);
    if (!in_use) refuse_errno(path);
    throw StateInUse(directory + ": is in use by another SPAN manager" +
                     (length > 0 ? ", process " + std::string(pid) : ""));
  }
  const int length = std::snprintf(pid, sizeof pid, "%d", getpid());
  // Only for the message above.
  static_cast<void>(ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, pid, static_cast<size_t>(length), 0) > 0);
}

StateLock::~StateLock() { close(descriptor_); }

}  // namespace spand
