// How many clients a process has descriptors for.
#include "host/transport/descriptors.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <stdexcept>

#include "transport_support.h"

namespace {

using namespace transport_test;
using transport::most_clients;

// What there is room for under these limits, in a process of its own: as its exit status.
[[noreturn]] void tell_room(rlim_t soft, rlim_t hard, size_t servers) {
  const rlimit limit{soft, hard};
  if (setrlimit(RLIMIT_NOFILE, &limit) != 0) std::_Exit(255);
  try {
    std::_Exit(static_cast<int>(most_clients(servers) / 8));
  } catch (const std::runtime_error& error) {
    std::fputs(error.what(), stderr);
    std::_Exit(200);
  }
}

TEST(MostClients, AreWhatTheLimitOfDescriptorsLeaves) {
  if (!limits_are_the_kernels()) GTEST_SKIP() << "the limit of descriptors is not the kernel's";
  EXPECT_EXIT(tell_room(177, 177, 1), testing::ExitedWithCode(128 / 8), "");
  EXPECT_EXIT(tell_room(1073, 1073, 1), testing::ExitedWithCode(1024 / 8), "");
  EXPECT_EXIT(tell_room(1200, 1200, 1), testing::ExitedWithCode(1024 / 8), "");
  EXPECT_EXIT(tell_room(48 + 5 * 65, 48 + 5 * 65, 5), testing::ExitedWithCode(64 / 8), "");
}

TEST(MostClients, MakeUseOfTheHardLimit) {
  if (!limits_are_the_kernels()) GTEST_SKIP() << "the limit of descriptors is not the kernel's";
  EXPECT_EXIT(tell_room(64, 177, 1), testing::ExitedWithCode(128 / 8), "");
}

TEST(MostClients, AreRefusedWhenThereIsRoomForNone) {
  if (!limits_are_the_kernels()) GTEST_SKIP() << "the limit of descriptors is not the kernel's";
  EXPECT_EXIT(tell_room(52, 52, 1), testing::ExitedWithCode(200),
              "a limit of 52 open files is too low, at least 53 are needed");
  EXPECT_EXIT(tell_room(72, 72, 5), testing::ExitedWithCode(200), "at least 73 are needed");
}

int lowest_free() {
  const int number = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(number);
  return number;
}

// In a process of its own: whether the next file has none of the numbers of standard files.
[[noreturn]] void close_and_hold(std::initializer_list<int> files) {
  for (const int each : files) close(each);
  transport::hold_standard_files();
  std::_Exit(lowest_free() > STDERR_FILENO ? 0 : 1);
}

TEST(StandardFiles, LendTheirNumbersToNothingElse) {
  EXPECT_EXIT(close_and_hold({STDIN_FILENO}), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(close_and_hold({STDOUT_FILENO, STDERR_FILENO}), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(close_and_hold({STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}), testing::ExitedWithCode(0), "");
}

}  // namespace
