#include "host/daemon/files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace spand {
namespace {

using FileId = std::pair<dev_t, ino_t>;

// Nothing has the number 0.
FileId id_at(const std::string& path) {
  struct stat facts {};
  return lstat(path.c_str(), &facts) == 0 ? FileId(facts.st_dev, facts.st_ino) : FileId();
}

FileId id_of(int descriptor) {
  struct stat facts {};
  return fstat(descriptor, &facts) == 0 ? FileId(facts.st_dev, facts.st_ino) : FileId();
}

// One that is not there is as good as one that goes meanwhile: the files of another manager that is just ending.
void examine(const std::string& path) {
  struct stat facts {};
  const int error = lstat(path.c_str(), &facts) == 0 ? 0 : errno;
  if (error == ENOENT) return;
  if (error != 0) refuse(path, std::strerror(error));
  if (!S_ISREG(facts.st_mode)) refuse(path, S_ISLNK(facts.st_mode) ? "is a symbolic link" : "is not a regular file");
  if (facts.st_nlink > 1) refuse(path, "is a hard link: the file has other names");
  const bool usable = faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) == 0 || errno == ENOENT;
  if (!usable) refuse(path, std::strerror(errno));
}

std::string lock_path(const std::string& directory) { return directory + "/lock"; }

}  // namespace

void refuse(const std::string& path, const std::string& why) { throw StateUnreadable(path + ": " + why); }
void fail_errno(const std::string& path) { throw StateError(path + ": " + std::strerror(errno)); }

std::string database_path(const std::string& directory) { return directory + "/span.db"; }

bool exists(const std::string& path) {
  struct stat facts {};
  if (lstat(path.c_str(), &facts) == 0) return true;
  if (errno != ENOENT) refuse(path, std::strerror(errno));
  return false;
}

void sync(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor == -1) fail_errno(path);
  const bool done = fsync(descriptor) == 0;
  close(descriptor);
  if (!done) fail_errno(path);
}

void examine_files(const std::string& directory) {
  const std::string database = database_path(directory);
  const std::string journal = database + "-wal";
  for (const std::string& path : {lock_path(directory), database, journal, database + "-shm"}) {
    examine(path);
  }
  if (exists(journal) && !exists(database)) refuse(database, "is gone, but its journal " + journal + " is still there");
}

// ---- Files in use ---------------------------------------------------------------------------------------------------

Opened::Opened(std::string path) : path_(std::move(path)), file_(id_at(path_)) {}
Opened::Opened(std::string path, int descriptor) : path_(std::move(path)), file_(id_of(descriptor)) {}

bool Opened::is_there() const { return file_ != FileId() && file_ == id_at(path_); }

namespace {

int open_lock(const std::string& directory) {
  examine_files(directory);
  const std::string path = lock_path(directory);
  const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  if (descriptor == -1) fail_errno(path);
  return descriptor;
}

}  // namespace

// The one that has locked it may have been about to remove it, and then it is nobody's lock any more.
StateLock::StateLock(const std::string& directory)
    : directory_(directory), descriptor_(open_lock(directory)), file_(lock_path(directory), descriptor_) {
  char pid[32] = "";
  const int error = flock(descriptor_, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
  if (error != 0 || !file_.is_there()) {
    const ssize_t length = pread(descriptor_, pid, sizeof pid - 1, 0);
    close(descriptor_);
    errno = error;
    if (error != 0 && error != EWOULDBLOCK) fail_errno(file_.path());
    throw StateInUse(directory + ": is in use by another SPAN manager" +
                     (length > 0 ? ", process " + std::string(pid) : ""));
  }
  const int length = std::snprintf(pid, sizeof pid, "%d", getpid());
  // Only for the message above.
  static_cast<void>(ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, pid, static_cast<size_t>(length), 0) > 0);
}

// A lock on nothing is not left behind: there is no state when its first start has failed.
StateLock::~StateLock() {
  if (id_at(database_path(directory_)) == FileId() && file_.is_there()) unlink(file_.path().c_str());
  close(descriptor_);
}

// ---- Roles ----------------------------------------------------------------------------------------------------------

namespace {

std::string note_path(const std::string& directory) { return directory + "/taken-over"; }

}  // namespace

bool was_taken_over(const std::string& directory) { return id_at(note_path(directory)) != FileId(); }

void note_taken_over(const std::string& directory, bool taken_over) {
  const std::string path = note_path(directory);
  if (was_taken_over(directory) == taken_over) return;
  if (taken_over) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor == -1) fail_errno(path);
    close(descriptor);
  } else if (unlink(path.c_str()) != 0) {
    fail_errno(path);
  }
  sync(directory);
}

}  // namespace spand
