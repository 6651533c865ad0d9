#include "host/shell/say.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace shell {
namespace {

const char* speaker = "spansh";

}  // namespace

void set_speaker(const char* program) { speaker = program; }

void say(const std::string& text) {
  std::fflush(stdout);
  std::fprintf(stderr, "%s: %s\n", speaker, printable(text).c_str());
}

bool flush_output() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  if (errno != EPIPE) say(std::string("standard output: ") + std::strerror(errno));
  return false;
}

std::string printable(std::string line) {
  std::ranges::replace_if(
      line, [](char c) { return (c >= '\0' && c < ' ' && c != '\t') || c == '\x7f'; }, '?');
  return line;
}

}  // namespace shell
