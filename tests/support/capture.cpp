#include "tests/support/capture.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

namespace testkit {
namespace {

StdoutCapture* active = nullptr;

}  // namespace

StdoutCapture::StdoutCapture() : file_(memfd_create("stdout", MFD_CLOEXEC)), screen_(dup(STDOUT_FILENO)) {
  redirect(file_);
  active = this;
}

StdoutCapture::~StdoutCapture() {
  if (active == this) finish();
  close(file_);
  close(screen_);
}

std::string StdoutCapture::finish() {
  redirect(screen_);
  active = nullptr;
  std::string written(static_cast<size_t>(lseek(file_, 0, SEEK_END)), '\0');
  const ssize_t length = pread(file_, written.data(), written.size(), 0);
  written.resize(length < 0 ? 0 : static_cast<size_t>(length));
  return written;
}

void StdoutCapture::redirect(int target) const {
  std::fflush(stdout);
  dup2(target, STDOUT_FILENO);
}

void fail(const std::string& message) {
  if (active != nullptr) active->redirect(active->screen_);
  ADD_FAILURE() << message;
  if (active != nullptr) active->redirect(active->file_);
}

}  // namespace testkit
