// The files of a state directory, and whose they are.
#ifndef HOST_DAEMON_FILES_H
#define HOST_DAEMON_FILES_H

#include <stdexcept>
#include <string>

namespace spand {

// The state cannot be used: one line that tells why.
struct StateError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Another process has it.
struct StateInUse : StateError {
  using StateError::StateError;
};

[[noreturn]] void refuse(const std::string& path, const std::string& why);  // StateError
[[noreturn]] void refuse_errno(const std::string& path);

// Makes a directory's state this process's own, for as long as it lives. Gone with the process, however it ends.
class StateLock {
 public:
  explicit StateLock(const std::string& directory);
  ~StateLock();
  StateLock(const StateLock&) = delete;
  StateLock& operator=(const StateLock&) = delete;

 private:
  int descriptor_;
};

}  // namespace spand

#endif
