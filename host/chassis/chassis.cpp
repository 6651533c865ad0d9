#include "host/chassis/chassis.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#ifndef HOST_DEFAULT_CHASSIS
#define HOST_DEFAULT_CHASSIS "host/chassis/default.toml"
#endif

namespace chassis {
namespace {

constexpr size_t kLongestFile = 1 << 20;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

// A device is not even opened: it may wait, or do something. A pipe is read to its end.
std::optional<std::string> read_description(const std::string& path, std::string& error) {
  struct stat facts {};
  if (stat(path.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode) && !S_ISFIFO(facts.st_mode)) {
    error = path + ": " + (S_ISDIR(facts.st_mode) ? std::strerror(EISDIR) : "Is a device or a socket");
    return std::nullopt;
  }
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
  std::string text(kLongestFile + 1, '\0');
  if (file) text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  if (!file || std::ferror(file.get()) != 0) {
    error = path + ": " + std::strerror(errno);
    return std::nullopt;
  }
  if (text.size() <= kLongestFile) return text;
  error = path + ": longer than a description can be, 1 MiB";
  return std::nullopt;
}

std::optional<Chassis> Chassis::load(const std::string& path, std::string& error) {
  const std::optional<std::string> text = read_description(path, error);
  return text ? parse(*text, path, error) : std::nullopt;
}

const Module* Chassis::find_module(uint32_t number) const {
  const auto at =
      std::find_if(modules_.begin(), modules_.end(), [number](const Module& each) { return each.number == number; });
  return at != modules_.end() ? &*at : nullptr;
}

const Interface* Chassis::find(uint32_t if_index) const {
  const auto at = std::lower_bound(interfaces_.begin(), interfaces_.end(), if_index,
                                   [](const Interface& each, uint32_t wanted) { return each.if_index < wanted; });
  return at != interfaces_.end() && at->if_index == if_index ? &*at : nullptr;
}

const Interface* Chassis::find(std::string_view name) const {
  const auto at =
      std::find_if(interfaces_.begin(), interfaces_.end(), [name](const Interface& each) { return each.name == name; });
  return at != interfaces_.end() ? &*at : nullptr;
}

const Role* Chassis::find_role(std::string_view name) const {
  const auto at = std::find_if(roles_.begin(), roles_.end(), [name](const Role& each) { return each.name == name; });
  return at != roles_.end() ? &*at : nullptr;
}

std::string default_description() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto installed = program.parent_path().parent_path() / "share/libspan/default.toml";
  return std::filesystem::exists(installed, error) ? installed.string() : HOST_DEFAULT_CHASSIS;
}

}  // namespace chassis
