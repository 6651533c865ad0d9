// What tests of the daemon share: a switch, directories that go away, random configurations, a disk that is full.
#ifndef TESTS_DAEMON_DAEMON_SUPPORT_H
#define TESTS_DAEMON_DAEMON_SUPPORT_H

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>

#include "host/daemon/store.h"
#include "tests/host/manager_support.h"

namespace daemon_test {

using manager_test::Bytes;
using manager_test::fc;

inline chassis::Chassis switch_of(const std::string& toml) {
  std::string error;
  auto chassis = chassis::Chassis::parse(toml, "lab.toml", error);
  EXPECT_TRUE(chassis.has_value()) << error;
  return chassis.value_or(chassis::Chassis());
}

inline const chassis::Chassis& lab() {
  static const chassis::Chassis kLab = switch_of(manager_test::kChassis);
  return kLab;
}

// In memory where that is possible: how long a disk takes is not what is tested.
class Directory {
 public:
  Directory() {
    const bool in_memory = access("/dev/shm", W_OK) == 0;
    path_ = (in_memory ? "/dev/shm" : std::filesystem::temp_directory_path().string()) + "/span-daemon-test.XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no directory for a test");
  }
  ~Directory() { std::filesystem::remove_all(path_); }
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

inline std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void write(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// As long as it lives, no file of this process grows beyond a size.
class FullDisk {
 public:
  explicit FullDisk(rlim_t size) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit now{size, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &now), 0);
  }
  ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
};

// ---- Random configurations ------------------------------------------------------------------------------------------

class Dice {
 public:
  explicit Dice(uint32_t seed) : engine_(seed) {}

  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(engine_() % limit); }
  bool one_in(uint32_t n) { return below(n) == 0; }

  manager::Vsans vsans() {
    manager::Vsans vsans;
    if (one_in(3)) return vsans;
    for (uint32_t runs = below(6); runs > 0; --runs) {
      for (uint32_t vsan = below(4096), left = below(40); vsan < 4096 && left > 0; ++vsan, --left) vsans.set(vsan);
    }
    return vsans;
  }

  // Not one that the manager's rules allow: anything that can be kept.
  manager::Config config() {
    manager::Config config;
    config.threshold = static_cast<uint32_t>(engine_());
    for (uint32_t count = below(8); count > 0; --count)
      config.port_modes[any_interface()] = chassis::PortMode{1 + below(2)};
    for (size_t i = 0; i < config.sessions.size(); ++i) {
      if (!one_in(3)) config.sessions[i] = session(static_cast<uint32_t>(i));
    }
    return config;
  }

 private:
  uint32_t any_interface() { return 1 + below(0xFFFFFFFF); }

  manager::Session session(uint32_t index) {
    manager::Session session;
    session.configured = true;
    session.suspended = one_in(2);
    session.destination = one_in(3) ? 0 : 0x01000000 + below(1000) * 16 + index;
    session.filter = vsans();
    session.source_vsans = vsans();
    for (manager::Sources& sources : session.sources) {
      for (uint32_t count = below(70); count > 0; --count) sources[any_interface()] = vsans();
    }
    return session;
  }

  std::mt19937 engine_;
};

}  // namespace daemon_test

#endif
