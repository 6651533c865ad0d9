#include "host/daemon/directories.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "host/daemon/say.h"

namespace spand {
namespace {

constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
constexpr mode_t kPermissions = 07777;

[[noreturn]] void reject(const std::string& path, const std::string& why) {
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
  if (errno != EEXIST) reject(path, std::strerror(errno));
  return false;
}

struct stat facts_of(const std::string& path) {
  struct stat facts;
  if (stat(path.c_str(), &facts) != 0) reject(path, std::strerror(errno));
  if (!S_ISDIR(facts.st_mode)) reject(path, "is not a directory");
  return facts;
}

bool holds_sockets_only(const std::string& path) {
  std::error_code error;
  const std::filesystem::directory_iterator files(path, error);
  const auto is_socket = [&error](const std::filesystem::directory_entry& file) {
    return file.symlink_status(error).type() == std::filesystem::file_type::socket;
  };
  return !error && std::ranges::all_of(files, is_socket);
}

void tell_when_too_tight(const std::string& path, mode_t mode, mode_t socket_mode) {
  const bool keeps_group_out = (socket_mode & S_IRWXG) != 0 && (mode & (S_IXGRP | S_IXOTH)) == 0;
  const bool keeps_others_out = (socket_mode & S_IRWXO) != 0 && (mode & S_IXOTH) == 0;
  if (!keeps_group_out && !keeps_others_out) return;
  char text[100];
  std::snprintf(text, sizeof text, ": its mode %04o keeps out some of those for whom the socket has the mode %04o",
                mode & kPermissions, socket_mode);
  say(path + text);
}

}  // namespace

std::string default_state_directory() {
  if (const std::string path = environment("STATE_DIRECTORY"); !path.empty()) return path.substr(0, path.find(':'));
  if (geteuid() == 0) return "/var/lib/span";
  const std::string base = environment("XDG_STATE_HOME");
  return (base.empty() ? home() + "/.local/state" : base) + "/span";
}

bool examine_state_directory(const std::string& path) {
  struct stat there;
  if (lstat(path.c_str(), &there) != 0 && errno == ENOENT) return false;
  const struct stat facts = facts_of(path);
  if (facts.st_uid != geteuid()) reject(path, "belongs to another user, uid " + std::to_string(facts.st_uid));
  if ((facts.st_mode & (S_IWGRP | S_IWOTH)) != 0) reject(path, "others may write there; it needs the mode 0700");
  return true;
}

void prepare_state_directory(const std::string& path) {
  if (!create(path, 0700)) examine_state_directory(path);
}

// Only an own one is given another mode, and only when nothing but sockets, which have modes of their own, would become
// reachable. The group comes before the mode: one that was left with that of mkdir() has not got it yet.
void prepare_run_directory(const std::string& path, mode_t socket_mode, gid_t group) {
  create(path, S_IRWXU);
  struct stat facts = facts_of(path);
  const bool own = facts.st_uid == geteuid();
  if (!own && facts.st_uid != 0) reject(path, "belongs to another user, uid " + std::to_string(facts.st_uid));
  if ((facts.st_mode & S_IWOTH) != 0) reject(path, "everybody may write there");
  if (own && holds_sockets_only(path)) {
    // Not every user can give it to the group; what is not reachable then is told when the socket is made.
    if ((facts.st_mode & kOthers) == 0) static_cast<void>(chown(path.c_str(), static_cast<uid_t>(-1), group) != 0);
    facts.st_mode |= (socket_mode & S_IRWXO) != 0 ? 0755 : 0750;
    if (chmod(path.c_str(), facts.st_mode & kPermissions) != 0) reject(path, std::strerror(errno));
  }
  tell_when_too_tight(path, facts.st_mode, socket_mode);
}

}  // namespace spand
