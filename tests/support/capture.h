// What the code under test writes to standard output, by whatever way, and failures that are told past it.
#ifndef TESTS_SUPPORT_CAPTURE_H
#define TESTS_SUPPORT_CAPTURE_H

#include <string>

namespace testkit {

// Standard output goes into a file while this lives. One at a time.
class StdoutCapture {
 public:
  StdoutCapture();
  ~StdoutCapture();
  StdoutCapture(const StdoutCapture&) = delete;
  StdoutCapture& operator=(const StdoutCapture&) = delete;

  // Ends the capture and returns what was written.
  std::string finish();

 private:
  friend void fail(const std::string& message);

  void redirect(int target) const;

  int file_;
  int screen_;
};

// Fails the running test; the message reaches the screen also during a capture.
void fail(const std::string& message);

}  // namespace testkit

#endif
