#include "host/daemon/directories.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace spand {
namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw std::runtime_error(path + ": " + why);
}

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string home() {
  if (std::string path = environment("HOME"); !path.empty()) return path;
  const passwd* const user = getpwuid(geteuid());
  return user != nullptr ? user->pw_dir : "/";
}

// Whether it was created; the ones above it are, too.
bool create(const std::string& path, mode_t mode) {
  const std::filesystem::path parent = std::filesystem::path(path).parent_path();
  std::error_code error;
  if (!parent.empty()) std::filesystem::create_directories(parent, error);
  if (mkdir(path.c_str(), mode) == 0) return true;
  if (errno != EEXIST) refuse(path, std::strerror(errno));
  return false;
}

struct stat facts_of(const std::string& path) {
  struct stat facts;
  if (stat(path.c_str(), &facts) != 0) refuse(path, std::strerror(errno));
  if (!S_ISDIR(facts.st_mode)) refuse(path, "is not a directory");
  return facts;
}

}  // namespace

std::string default_state_directory() {
  if (const std::string path = environment("STATE_DIRECTORY"); !path.empty()) return path.substr(0, path.find(':'));
  if (geteuid() == 0) return "/var/lib/span";
  const std::string base = environment("XDG_STATE_HOME");
  return (base.empty() ? home() + "/.local/state" : base) + "/span";
}

void prepare_state_directory(const std::string& path) {
  if (create(path, 0700)) return;
  const struct stat facts = facts_of(path);
  if (facts.st_uid != geteuid()) refuse(path, "belongs to another user, uid " + std::to_string(facts.st_uid));
  if ((facts.st_mode & (S_IWGRP | S_IWOTH)) != 0) refuse(path, "others may write there; it needs the mode 0700");
}

void prepare_run_directory(const std::string& path, mode_t socket_mode, gid_t group) {
  if (create(path, 0700)) {
    const bool for_all = (socket_mode & S_IRWXO) != 0;
    // Not every user can give it to the group; what is not reachable then is told when the socket is made.
    static_cast<void>(chown(path.c_str(), static_cast<uid_t>(-1), group) != 0);
    if (chmod(path.c_str(), for_all ? 0755 : 0750) != 0) refuse(path, std::strerror(errno));
  } else {
    const struct stat facts = facts_of(path);
    const bool trusted = facts.st_uid == geteuid() || facts.st_uid == 0;
    if (!trusted) refuse(path, "belongs to another user, uid " + std::to_string(facts.st_uid));
    if ((facts.st_mode & S_IWOTH) != 0) refuse(path, "everybody may write there");
  }
}

}  // namespace spand
