// Files that are replaced as a whole: whatever goes wrong, what was there before is still there.
#ifndef HOST_SHELL_SAVED_FILE_H
#define HOST_SHELL_SAVED_FILE_H

#include <string>

namespace shell {

// A new version of a file, beside it until it is kept.
class SavedFile {
 public:
  // `path` may be a link to the file.
  explicit SavedFile(const std::string& path);
  ~SavedFile();
  SavedFile(const SavedFile&) = delete;
  SavedFile& operator=(const SavedFile&) = delete;

  // Where to write; -1 when there is an error.
  int file() const { return file_; }

  // Puts it in the place of the old version, on the disk. False when it could not.
  bool keep();

  // Why it cannot be written, empty when it can.
  const std::string& error() const { return error_; }

 private:
  void open_beside(unsigned mode);
  bool fail(int error);

  std::string path_;
  std::string draft_;  // name of the new version, empty when there is none
  std::string error_;
  int file_ = -1;
};

}  // namespace shell

#endif
