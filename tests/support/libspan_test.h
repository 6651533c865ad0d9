// The base of every test of the library: a fake platform, standard output under watch, and no block left behind.
#ifndef TESTS_SUPPORT_LIBSPAN_TEST_H
#define TESTS_SUPPORT_LIBSPAN_TEST_H

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

#include "tests/support/bytes.h"
#include "tests/support/capture.h"
#include "tests/support/fake_platform.h"
#include "tests/support/heap.h"
#include "tests/support/messages.h"

namespace testkit {

class LibspanTest : public testing::Test {
 protected:
  // Calls the code under test and keeps what it prints for printed().
  template <class Call>
  std::invoke_result_t<Call> run(Call&& call) {
    const Recorder recorder(this);
    return std::forward<Call>(call)();
  }

  // What was printed since the last time this was asked. Text that nobody asks for fails the test.
  std::string printed() { return std::exchange(printed_, {}); }

  // Ends the test: scripts played, messages dropped, blocks freed, text looked at.
  void finish();

  void SetUp() override { heap::begin(); }
  void TearDown() override { finish(); }

  FakePlatform fake;

 private:
  class Recorder {
   public:
    explicit Recorder(LibspanTest* test) : test_(test) {}
    ~Recorder() { test_->printed_ += capture_.finish(); }

   private:
    LibspanTest* test_;
    StdoutCapture capture_;
  };

  std::string printed_;
};

}  // namespace testkit

#endif
