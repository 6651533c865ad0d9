#include "host/shell/say.h"

#include <algorithm>
#include <cstdio>

namespace shell {
namespace {

const char* speaker = "spansh";

}  // namespace

void set_speaker(const char* program) { speaker = program; }

void say(const std::string& text) {
  std::fflush(stdout);
  std::fprintf(stderr, "%s: %s\n", speaker, text.c_str());
}

std::string printable(std::string line) {
  std::ranges::replace_if(
      line, [](char c) { return (c >= '\0' && c < ' ' && c != '\t') || c == '\x7f'; }, '?');
  return line;
}

}  // namespace shell
