// The files of a state directory, and whose they are.
#ifndef HOST_DAEMON_FILES_H
#define HOST_DAEMON_FILES_H

#include <sys/types.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace spand {

// The state cannot be used: one line that tells why.
struct StateError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Another process has it.
struct StateInUse : StateError {
  using StateError::StateError;
};

// It is no state of this program's, or not a sound one: somebody has to see to it.
struct StateUnreadable : StateError {
  using StateError::StateError;
};

[[noreturn]] void refuse(const std::string& path, const std::string& why);  // StateUnreadable
[[noreturn]] void fail_errno(const std::string& path);                      // StateError

std::string database_path(const std::string& directory);
bool exists(const std::string& path);
void sync(const std::string& path);

// Refuses files that cannot be those of a state. One that has a second name could have a second manager, by a lock
// beside that name.
void examine_files(const std::string& directory);

// A file as it was when it was opened.
class Opened {
 public:
  explicit Opened(std::string path);
  Opened(std::string path, int descriptor);

  bool is_there() const;  // its name still leads to it
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::pair<dev_t, ino_t> file_;
};

// Makes a directory's state this process's own, for as long as it lives. Gone with the process, however it ends.
class StateLock {
 public:
  explicit StateLock(const std::string& directory);
  ~StateLock();
  StateLock(const StateLock&) = delete;
  StateLock& operator=(const StateLock&) = delete;

  const Opened& file() const { return file_; }

 private:
  std::string directory_;
  int descriptor_;
  Opened file_;
};

// Whether the manager of this state was a standby that took over. The note survives a crash of the machine.
bool was_taken_over(const std::string& directory);
void note_taken_over(const std::string& directory, bool taken_over);

}  // namespace spand

#endif
