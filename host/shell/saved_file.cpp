#include "host/shell/saved_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace shell {
namespace {

constexpr mode_t kNewFile = 0666;
constexpr mode_t kPermissions = 07777;

mode_t new_file_mode() {
  const mode_t mask = umask(0);
  umask(mask);
  return kNewFile & ~mask;
}

// The name itself is on the disk when its folder is.
bool sync_folder(const std::string& path) {
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  const int file = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool done = file != -1 && fsync(file) == 0;
  if (file != -1) close(file);
  return done;
}

}  // namespace

SavedFile::SavedFile(const std::string& path) : path_(path) {
  struct stat old {};
  if (std::error_code ignored; std::filesystem::is_symlink(path, ignored) && !std::filesystem::exists(path, ignored)) {
    error_ = path + ": the link points to nothing";
  } else if (stat(path.c_str(), &old) != 0) {
    errno == ENOENT ? open_beside(new_file_mode()) : static_cast<void>(fail(errno));
  } else if (S_ISDIR(old.st_mode)) {
    fail(EISDIR);
  } else if (!S_ISREG(old.st_mode)) {
    error_ = path + ": not a regular file";
  } else if (access(path.c_str(), W_OK) != 0) {
    fail(errno);
  } else {
    std::error_code error;
    path_ = std::filesystem::canonical(path, error).string();
    error ? static_cast<void>(fail(error.value())) : open_beside(old.st_mode & kPermissions);
    // Who owns the file goes on to own it, where that may be.
    if (error_.empty() && fchown(file_, old.st_uid, old.st_gid) == 0) fchmod(file_, old.st_mode & kPermissions);
  }
}

SavedFile::~SavedFile() {
  if (file_ != -1) close(file_);
  if (!draft_.empty()) unlink(draft_.c_str());
}

void SavedFile::open_beside(unsigned mode) {
  std::string name = (std::filesystem::path(path_).parent_path() / ".spansh.XXXXXX").string();
  file_ = mkostemp(name.data(), O_CLOEXEC);
  if (file_ == -1) {
    fail(errno);
    return;
  }
  draft_ = name;
  if (fchmod(file_, mode) != 0) fail(errno);
}

bool SavedFile::keep() {
  if (!error_.empty()) return false;
  if (fsync(file_) != 0 || rename(draft_.c_str(), path_.c_str()) != 0) return fail(errno);
  draft_.clear();
  return sync_folder(path_) || fail(errno);
}

bool SavedFile::fail(int error) {
  error_ = path_ + ": " + std::strerror(error);
  return false;
}

}  // namespace shell
