#include "host/transport/tame.h"

#include <cstdio>

namespace transport {
namespace {

std::string shown(char c) {
  if (c >= ' ' && c <= '~' && c != '\\') return {c};
  char escaped[8];
  std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
  return escaped;
}

}  // namespace

std::string tame(const std::string& text, size_t most) {
  std::string tamed;
  for (const char c : text) {
    const std::string next = shown(c);
    if (tamed.size() + next.size() > most) break;
    tamed += next;
  }
  return tamed;
}

}  // namespace transport
