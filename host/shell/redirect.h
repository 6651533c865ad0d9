// Standard output led elsewhere: handlers of the library print, whoever wants their text.
#ifndef HOST_SHELL_REDIRECT_H
#define HOST_SHELL_REDIRECT_H

#include <optional>
#include <string>

namespace shell {

// While it lives, what is printed goes to an open file.
class Redirect {
 public:
  explicit Redirect(int file);
  ~Redirect();
  Redirect(const Redirect&) = delete;
  Redirect& operator=(const Redirect&) = delete;

  // Ends it, once all has been written. Returns 0 or what went wrong, an errno number.
  int finish();

 private:
  int saved_;  // the standard output of before, -1 = there is none to go back to
  int error_;
};

// A place in memory for what one command prints.
class Capture {
 public:
  Capture();
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  // Runs `work` and returns what it printed; nothing when there was no room for it.
  template <class Work>
  std::optional<std::string> of(Work work) {
    if (!rewind()) return std::nullopt;
    Redirect redirect(file_);
    work();
    return redirect.finish() == 0 ? text() : std::nullopt;
  }

 private:
  bool rewind() const;
  std::optional<std::string> text() const;

  int file_;
};

}  // namespace shell

#endif
