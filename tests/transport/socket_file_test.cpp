// The server's socket in the file system: who gets the path, and what is left of it.
#include <fcntl.h>
#include <sys/stat.h>

#include <barrier>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "host/transport/server.h"
#include "transport_support.h"

namespace {

using namespace transport_test;

class SocketFile : public testing::Test {
 protected:
  // The error that a server at the path fails with.
  int failure_at(const std::string& path) {
    try {
      const Serving serving(path);
    } catch (const std::system_error& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with(path)) << error.what();
      return error.code().value();
    }
    return 0;
  }

  int call(const std::string& path) {
    Message answer{};
    return Channel(path, "test").call(Type::kSend, {}, answer, kPatience);
  }

  Folder folder_;
  const std::string path_ = folder_ / "s";
};

TEST_F(SocketFile, HasItsModeWhateverTheMaskIs) {
  for (const mode_t mode : {0600, 0660, 0666}) {
    const mode_t mask = umask(0077);
    const Serving serving(path_, echo, {}, mode);
    umask(mask);
    struct stat facts;
    ASSERT_EQ(lstat(path_.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode, S_IFSOCK | mode);
  }
}

TEST_F(SocketFile, IsAloneInItsFolderAndGoesWithTheServer) {
  {
    const Serving serving(path_);
    EXPECT_EQ(folder_.files(), 1u);
  }
  EXPECT_EQ(folder_.files(), 0u);
}

TEST_F(SocketFile, IsTakenFromAProcessThatHasDied) {
  Raw dead;
  dead.listen(path_);
  dead.close();
  ASSERT_EQ(call(path_), ECONNREFUSED);
  const Serving serving(path_);
  EXPECT_EQ(call(path_), 0);
  EXPECT_EQ(folder_.files(), 1u);
}

TEST_F(SocketFile, IsNotTakenFromOneWhoServesIt) {
  const Serving serving(path_);
  EXPECT_EQ(failure_at(path_), EADDRINUSE);
  EXPECT_EQ(call(path_), 0);
  EXPECT_EQ(folder_.files(), 1u);
}

TEST_F(SocketFile, IsNotTakenFromOneWhoIsTooBusyToAccept) {
  Raw busy;
  busy.listen(path_, 0);
  Raw first(path_);
  EXPECT_EQ(failure_at(path_), EADDRINUSE);
}

TEST_F(SocketFile, IsNotTakenFromASocketOfAnotherKind) {
  Raw stream(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  stream.listen(path_);
  EXPECT_EQ(failure_at(path_), EADDRINUSE);
}

TEST_F(SocketFile, ReplacesNoFileThatIsNoSocket) {
  std::ofstream(path_) << "precious";
  EXPECT_EQ(failure_at(path_), EEXIST);
  EXPECT_EQ(std::filesystem::file_size(path_), 8u);
  EXPECT_EQ(folder_.files(), 1u);
}

TEST_F(SocketFile, FollowsNoLink) {
  std::filesystem::create_symlink(folder_ / "elsewhere", path_);
  EXPECT_EQ(failure_at(path_), EEXIST);
  EXPECT_TRUE(std::filesystem::is_symlink(path_));
}

TEST_F(SocketFile, NeedsItsFolder) { EXPECT_EQ(failure_at(folder_ / "none/s"), ENOENT); }

TEST_F(SocketFile, HasAPathThatFitsASocket) {
  const std::string longest = folder_ / std::string(107 - folder_.path().size() - 1, 'x');
  {
    const Serving serving(longest);
    EXPECT_EQ(call(longest), 0);
  }
  try {
    const Serving serving(longest + "x");
    ADD_FAILURE() << "it was taken";
  } catch (const std::length_error& error) {
    EXPECT_EQ(error.what(), longest + "x: too long for a socket, at most 107 characters");
  }
  EXPECT_EQ(call(longest + "x"), ENAMETOOLONG);
}

TEST_F(SocketFile, OfAnotherOneIsLeftAlone) {
  Serving serving(path_);
  std::filesystem::remove(path_);
  const Serving successor(path_);
  serving.stop();
  EXPECT_EQ(call(path_), 0);
}

TEST_F(SocketFile, IsTakenByOneOfManyWhoStartTogether) {
  constexpr int kServers = 8;
  for (int round = 0; round < 30; ++round) {
    if (round % 2 == 0) Raw().listen(path_);  // and left behind
    std::atomic<int> taken{0};
    std::atomic<int> in_use{0};
    std::barrier together(kServers);
    std::vector<std::thread> threads;
    for (int i = 0; i < kServers; ++i) {
      threads.emplace_back([&] {
        together.arrive_and_wait();
        try {
          asio::io_context io;
          const Server server(io, path_, 0600, kWelcome, echo);
          ++taken;
          together.arrive_and_wait();  // nobody goes before all have tried
        } catch (const std::system_error& error) {
          in_use += error.code().value() == EADDRINUSE;
          together.arrive_and_wait();
        }
      });
    }
    for (auto& each : threads) each.join();
    ASSERT_EQ(taken, 1);
    ASSERT_EQ(in_use, kServers - 1);
    ASSERT_EQ(folder_.files(), 0u);
  }
}

// A process that was killed while it took the path leaves the lock's file, which nobody holds.
TEST_F(SocketFile, IsTakenInSpiteOfALockLeftBehind) {
  std::ofstream(path_ + ".lock").flush();
  const Serving serving(path_);
  EXPECT_EQ(folder_.files(), 1u);
}

TEST_F(SocketFile, MovesAndTheClientsKeepTheirLines) {
  Serving serving(path_);
  Channel channel(path_, "test");
  Message answer{};
  ASSERT_EQ(channel.call(Type::kSend, {1}, answer, kPatience), 0);
  serving.in_thread([&] { serving.server().move_to(folder_ / "manager.sock"); });
  EXPECT_EQ(call(path_), ENOENT);
  EXPECT_EQ(call(folder_ / "manager.sock"), 0);
  EXPECT_EQ(channel.call(Type::kSend, {1}, answer, kPatience), 0);
  EXPECT_EQ(folder_.files(), 1u);
  serving.stop();
  EXPECT_EQ(folder_.files(), 0u);
}

TEST_F(SocketFile, MovesToAPlaceWhereAServerDied) {
  Raw().listen(folder_ / "manager.sock");
  Serving serving(path_);
  serving.in_thread([&] { serving.server().move_to(folder_ / "manager.sock"); });
  EXPECT_EQ(call(folder_ / "manager.sock"), 0);
}

TEST_F(SocketFile, StaysWhenItCannotMove) {
  Serving serving(path_);
  Serving active(folder_ / "manager.sock");
  const auto failure = [&serving](const std::string& path) {
    return serving.in_thread([&] {
      try {
        serving.server().move_to(path);
      } catch (const std::system_error& error) {
        return error.code().value();
      } catch (const std::length_error&) {
        return ENAMETOOLONG;
      }
      return 0;
    });
  };
  EXPECT_EQ(failure(folder_ / "manager.sock"), EADDRINUSE);
  EXPECT_EQ(failure(folder_ / "none/s"), ENOENT);
  EXPECT_EQ(failure(folder_ / std::string(100, 'x')), ENAMETOOLONG);
  EXPECT_EQ(failure(path_), 0);
  EXPECT_EQ(call(path_), 0);
  EXPECT_EQ(serving.received(), 1);
}

}  // namespace
