#include "host/daemon/notify.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "tests/daemon/daemon_support.h"

namespace {

// The service manager's end.
class Listener {
 public:
  explicit Listener(const std::string& name) : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    EXPECT_EQ(bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), length), 0);
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
  }
  ~Listener() {
    unsetenv("NOTIFY_SOCKET");
    close(descriptor_);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  std::string heard() const {
    char text[100];
    const ssize_t length = recv(descriptor_, text, sizeof text, MSG_DONTWAIT);
    return length < 0 ? "nothing" : std::string(text, static_cast<size_t>(length));
  }

 private:
  int descriptor_;
};

TEST(Notify, ReachesASocketWithAPath) {
  const daemon_test::Directory directory;
  const Listener listener(directory.file("notify"));
  spand::notify("READY=1\nSTATUS=Active");
  EXPECT_EQ(listener.heard(), "READY=1\nSTATUS=Active");
}

TEST(Notify, ReachesASocketWithoutAFile) {
  const Listener listener("@span-notify-test-" + std::to_string(getpid()));
  spand::notify("STOPPING=1");
  EXPECT_EQ(listener.heard(), "STOPPING=1");
}

TEST(Notify, HarmsNobodyWithoutAServiceManager) {
  for (const std::string& name :
       {std::string(), std::string("relative"), std::string("/nonexistent/notify"), "/" + std::string(200, 'x')}) {
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
    spand::notify("READY=1");
  }
  unsetenv("NOTIFY_SOCKET");
  spand::notify("READY=1");
}

}  // namespace
