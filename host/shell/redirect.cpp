#include "host/shell/redirect.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace shell {

Redirect::Redirect(int file) : saved_(-1), error_(0) {
  std::fflush(stdout);
  saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (saved_ == -1 || dup2(file, STDOUT_FILENO) == -1) error_ = errno;
}

Redirect::~Redirect() { finish(); }

// What could not be written must not turn up on the screen later.
int Redirect::finish() {
  if (saved_ == -1) return error_;
  if (std::fflush(stdout) != 0 && error_ == 0) error_ = errno;
  if (std::ferror(stdout) != 0 && error_ == 0) error_ = EIO;
  __fpurge(stdout);
  std::clearerr(stdout);
  dup2(saved_, STDOUT_FILENO);
  close(saved_);
  saved_ = -1;
  return error_;
}

Capture::Capture() : file_(memfd_create("captured", MFD_CLOEXEC)) {}

Capture::~Capture() {
  if (file_ != -1) close(file_);
}

bool Capture::rewind() const { return file_ != -1 && ftruncate(file_, 0) == 0 && lseek(file_, 0, SEEK_SET) == 0; }

std::optional<std::string> Capture::text() const {
  std::string text(static_cast<size_t>(lseek(file_, 0, SEEK_END)), '\0');
  const ssize_t length = pread(file_, text.data(), text.size(), 0);
  return length == static_cast<ssize_t>(text.size()) ? std::optional(text) : std::nullopt;
}

}  // namespace shell
