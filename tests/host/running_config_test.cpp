// The running configuration in its file, and what no command can say.
#include "host/shell/running_config.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/host/running_config_support.h"

namespace shell {
namespace {

constexpr char kHead[] = "! Running configuration of lab\nconfigure\n";

class RunningConfig : public RunningConfigTest {};

TEST_F(RunningConfig, OfASwitchThatNobodyHasConfigured) {
  EXPECT_EQ(text(), std::string(kHead) + "span max-queued-packets 1024\nend\n");
  EXPECT_EQ(section(), "");
}

// Ports have to be in their modes before sessions name them.
TEST_F(RunningConfig, HasItsOwnSectionsBeforeTheSessions) {
  configure({"configure", "interface fc1/1, fc2/3", "port mode span-destination", "interface fc2/4", "no port mode",
             "span max-queued-packets 77", "span session 2", "destination interface fc1/1",
             "source interface fc2/4 rx"});
  EXPECT_EQ(text(), std::string(kHead) +
                        "interface fc1/1\n"
                        "port mode span-destination\n"
                        "interface fc2/3\n"
                        "port mode span-destination\n"
                        "interface fc2/4\n"
                        "port mode normal\n"
                        "span max-queued-packets 77\n"
                        "span session 2\n"
                        "destination interface fc1/1\n"
                        "source interface fc2/4 rx \n"
                        "\n"
                        "\n"
                        "end\n");
  expect_inverse();
}

TEST_F(RunningConfig, IsTheSameForEveryRole) {
  configure({"configure", "span session 1", "source interface fc2/1"});
  const chassis::Role nobody{"nobody", false, {}, {}};
  Session guest(host::switch_chassis(), {"guest", &nobody});
  Capture capture;
  const auto seen = capture.of([&] { guest.run("show running-config"); });
  EXPECT_EQ(seen, text());
}

TEST_F(RunningConfig, TellsAManagerThatIsAway) {
  host::set_manager_reachable(false);
  EXPECT_EQ(run("show running-config"), Status::kUnreachable);
  EXPECT_EQ(run("show running-config span"), Status::kUnreachable);
}

// ---- What the text can and cannot say -------------------------------------------------------------------------------

TEST_F(RunningConfig, SaysFiltersOfOrdinarySourcesWithAnyVsan) {
  configure({"configure", "span session 1", "source interface fc1/1 filter vsan 4080-4087",
             "source interface port-channel 1 rx", "source interface port-channel 2 rx filter vsan 4016-4023",
             "source interface fcip 1 filter vsan 4093"});
  expect_inverse();
}

TEST_F(RunningConfig, SaysServiceTrafficWithoutAFilter) {
  configure({"configure", "span session 1", "source interface svc 2/1 rx traffic-type mgmt",
             "source interface port-channel 201 tx", "source interface svc 2/2"});
  EXPECT_EQ(section(),
            "span session 1\n"
            "source interface svc 2/1 rx traffic-type mgmt\n"
            "\n"
            "source interface svc 2/2 rx traffic-type target\n"
            "\n"
            "source interface svc 2/1 tx traffic-type initiator\n"
            "\n"
            "source interface svc 2/2 tx traffic-type target\n"
            "\n"
            "\n"
            "\n");
  expect_inverse();
}

// The manager has one filter for both directions: nothing is lost.
TEST_F(RunningConfig, SaysTheSessionFilterWithoutADirection) {
  configure({"configure", "span session 1", "source filter vsan 5 rx", "source filter vsan 6 tx"});
  EXPECT_EQ(section(), "span session 1\nsource filter vsan  5\nsource filter vsan  6\n\n\n");
  expect_inverse();
}

class Unsaid : public RunningConfigTest {
 protected:
  // The section of session 3 with that one source.
  std::string section_of(const std::string& source) {
    start();
    configure({"configure", "span session 3", source});
    return section();
  }
};

// The filter is read 8 bytes before it begins: at the name of the traffic, and 64 VSANs off.
TEST_F(Unsaid, KeepsFiltersOfServiceTrafficReadFromTheirNames) {
  EXPECT_EQ(section_of("source interface port-channel 202 rx filter vsan 5"),
            "span session 3\n"
            "source interface svc 2/1 rx filter vsan  7\n"
            "source interface svc 2/1 rx filter vsan  69\n"
            "source interface svc 2/1 rx filter vsan \n"
            "\n"
            "\n");
  EXPECT_EQ(section_of("source interface port-channel 203 tx filter vsan 5"),
            "span session 3\n"
            "source interface svc 2/1 tx filter vsan  15\n"
            "source interface svc 2/1 tx filter vsan  69\n"
            "source interface svc 2/1 tx filter vsan traffic-type mgmt\n"
            "\n"
            "\n"
            "\n");
  EXPECT_EQ(section_of("source interface port-channel 201 tx filter vsan 4032-4093"),
            "span session 3\n"
            "source interface svc 2/1 tx filter vsan  23\n"
            "source interface svc 2/1 tx filter vsan traffic-type initiator\n"
            "\n"
            "\n"
            "\n");
}

// Behind an rx filter, the traffic flag is read among VSANs 4016 to 4023 of the filter, and the names among 4064 to
// 4087.
TEST_F(Unsaid, KeepsTrafficTypesReadInsideTheFilter) {
  EXPECT_EQ(section_of("source interface port-channel 202 rx filter vsan 4016"),
            "span session 3\n"
            "source interface svc 2/1 rx filter vsan  7\n"
            "source interface svc 2/1 rx filter vsan  4080\n"
            "source interface svc 2/1 rx filter vsan traffic-type \n"
            "\n"
            "\n");
  configure({"source interface port-channel 202 rx filter vsan 4064",
             "source interface port-channel 202 rx filter vsan "
             "4080"});
  EXPECT_NE(section().find("source interface svc 2/1 rx filter vsan traffic-type targetinitiator\n"),
            std::string::npos);
  configure({"source interface port-channel 202 rx filter vsan 4072"});
  EXPECT_NE(section().find("source interface svc 2/1 rx filter vsan traffic-type targetinitiatormgmt\n"),
            std::string::npos);
}

TEST_F(Unsaid, LinesOfFilteredServiceTrafficMeanSomethingElse) {
  configure({"configure", "span session 3", "source interface port-channel 202 rx filter vsan 5"});
  const manager::Config state = host::configuration();
  const std::string before = text();
  start();
  std::istringstream lines(before);
  for (std::string line; std::getline(lines, line);) EXPECT_NE(run(line), Status::kUsage) << line;
  EXPECT_FALSE(host::configuration() == state);
}

// ---- The file -------------------------------------------------------------------------------------------------------

class CopyRunningConfig : public RunningConfigTest {
 protected:
  CopyRunningConfig() {
    std::string pattern = testing::TempDir() + "copy.XXXXXX";
    folder_ = mkdtemp(pattern.data());
    file_ = folder_ + "/switch.span";
    configure({"configure", "span session 3", "source interface fc1/1 rx filter vsan 1"});
  }
  ~CopyRunningConfig() override { std::filesystem::remove_all(folder_); }

  // Runs the copy; what it says on standard error becomes errors_.
  Status copy(const std::string& path) {
    testing::internal::CaptureStderr();
    const Status status = run("copy running-config " + path);
    errors_ = testing::internal::GetCapturedStderr();
    EXPECT_EQ(output_, "");
    return status;
  }

  static std::string read(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  static void write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) found.push_back(entry.path().filename());
    return found;
  }

  std::string folder_, file_, errors_;
};

TEST_F(CopyRunningConfig, WritesWhatShowShows) {
  EXPECT_EQ(copy(file_), Status::kDone);
  EXPECT_EQ(errors_, "");
  EXPECT_EQ(read(file_), text());
  EXPECT_NE(read(file_).find(section()), std::string::npos);
  EXPECT_EQ(names(), std::vector<std::string>{"switch.span"});
}

TEST_F(CopyRunningConfig, ReplacesAFileAndKeepsItsPermissions) {
  write(file_, std::string(100000, 'x'));
  chmod(file_.c_str(), 0640);
  EXPECT_EQ(copy(file_), Status::kDone);
  EXPECT_EQ(read(file_), text());
  struct stat now {};
  stat(file_.c_str(), &now);
  EXPECT_EQ(now.st_mode & 07777, 0640u);
}

TEST_F(CopyRunningConfig, FollowsLinks) {
  write(file_, "old");
  std::filesystem::create_symlink("switch.span", folder_ + "/link");
  EXPECT_EQ(copy(folder_ + "/link"), Status::kDone);
  EXPECT_TRUE(std::filesystem::is_symlink(folder_ + "/link"));
  EXPECT_EQ(read(file_), text());
}

TEST_F(CopyRunningConfig, TellsFilesThatCannotBeWritten) {
  EXPECT_EQ(copy(folder_ + "/none/file"), Status::kUsage);
  EXPECT_EQ(errors_, "spansh: " + folder_ + "/none/file: No such file or directory\n");
  EXPECT_EQ(copy(folder_), Status::kUsage);
  EXPECT_EQ(errors_, "spansh: " + folder_ + ": Is a directory\n");
  EXPECT_EQ(copy("/dev/null"), Status::kUsage);
  EXPECT_EQ(errors_, "spansh: /dev/null: not a regular file\n");
  EXPECT_EQ(copy(folder_ + "/" + std::string(300, 'n')), Status::kUsage);
  EXPECT_NE(errors_.find("File name too long"), std::string::npos);
}

TEST_F(CopyRunningConfig, LosesNothingWhenTheDiskIsFull) {
  write(file_, "old");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit tiny{16, before.rlim_max};
  std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &tiny);
  Status status{};
  const std::string error = [&] {
    testing::internal::CaptureStderr();
    Session session(host::switch_chassis(), {"ann", &host::switch_chassis().roles().front()});
    status = session.run("copy running-config " + file_).status;
    setrlimit(RLIMIT_FSIZE, &before);
    return testing::internal::GetCapturedStderr();
  }();
  EXPECT_EQ(status, Status::kUsage);
  EXPECT_EQ(read(file_), "old");
  EXPECT_EQ(names(), std::vector<std::string>{"switch.span"});
}

TEST_F(CopyRunningConfig, LosesNothingWhenTheManagerIsAway) {
  write(file_, "old");
  host::set_manager_reachable(false);
  EXPECT_EQ(copy(file_), Status::kUnreachable);
  EXPECT_EQ(errors_, "spansh: " + file_ + ": not written; SPAN manager: the service does not run\n");
  EXPECT_EQ(read(file_), "old");
  EXPECT_EQ(names(), std::vector<std::string>{"switch.span"});
}

TEST_F(CopyRunningConfig, WarnsOfWhatCannotBeSaid) {
  configure({"span session 7", "source interface port-channel 204 tx filter vsan 9", "span session 3",
             "source interface svc 2/1 rx traffic-type target", "source interface svc 2/1 rx filter vsan 5"});
  EXPECT_EQ(copy(file_), Status::kDone);
  EXPECT_EQ(errors_, "spansh: " + file_ +
                         ": session 3: the VSAN filter of svc 2/1 (port-channel 202) rx cannot be said; its lines are "
                         "wrong\n"
                         "spansh: " +
                         file_ +
                         ": session 7: the VSAN filter of svc 2/2 (port-channel 204) tx cannot be said; its lines are "
                         "wrong\n");
  EXPECT_EQ(read(file_), text());
}

}  // namespace
}  // namespace shell
