// The manager's tests of its own state, on states that it would never come to.
#include "host/manager/self_test.h"
#include "tests/host/manager_support.h"

namespace manager_test {
namespace {

using Faults = std::vector<std::string>;

class SelfCheck : public ManagerTest {
 protected:
  Faults faults(uint32_t number) const { return manager::find_self_test(number)->faults(on_); }

  manager::Session& session(size_t number) {
    on_.config.sessions[number - 1].configured = true;
    return on_.config.sessions[number - 1];
  }

  manager::Switch on_{lab(), {}};
};

TEST_F(SelfCheck, HasFiveTests) {
  for (uint32_t number = 1; number <= 5; ++number) EXPECT_EQ(faults(number), Faults{});
  EXPECT_EQ(manager::find_self_test(0), nullptr);
  EXPECT_EQ(manager::find_self_test(6), nullptr);
}

TEST_F(SelfCheck, FindsLeftoversOfASession) {
  session(2).destination = fc(1, 1);
  EXPECT_EQ(faults(1), Faults{});
  on_.config.sessions[1].configured = false;
  EXPECT_EQ(faults(1), Faults{"session 2 is not configured, but not empty"});
}

TEST_F(SelfCheck, FindsWrongDestinations) {
  session(1).destination = fc(1, 1);
  session(2).destination = fc(1, 1);
  session(3).destination = fcip(1);
  session(4).destination = 7;
  session(5).sources[0][fc(1, 1)];
  EXPECT_EQ(faults(2), (Faults{
                           "fc1/1, destination of session 1, is a source",
                           "fc1/1, destination of session 2, is that of session 1 too",
                           "fc1/1, destination of session 2, is a source",
                           "fcip 1, destination of session 3, cannot be one",
                           "unknown interface 7, destination of session 4, cannot be one",
                       }));
}

TEST_F(SelfCheck, FindsWrongSources) {
  session(1).sources[0][tunnel(1)];
  session(2).sources[1][fc(1, 2)];
  on_.config.port_modes[fc(1, 2)] = chassis::PortMode::kTunnelSource;
  for (uint32_t port = 1; port <= 48; ++port) session(3).sources[0][fc(1, port)];
  for (uint32_t port = 1; port <= 17; ++port) session(3).sources[0][fc(2, port)];
  EXPECT_EQ(faults(3), (Faults{
                           "rspan-tunnel 1, source of session 1, cannot be one",
                           "fc1/2, source of session 2, is in a port mode",
                           "session 3 has too many sources",
                           "fc1/2, source of session 3, is in a port mode",
                       }));
}

TEST_F(SelfCheck, FindsWrongVsans) {
  session(1).filter.set(401);
  session(2).source_vsans.set(402);
  session(3).sources[1][fc(1, 2)].set(403);
  for (size_t vsan = 1; vsan <= 257; ++vsan) session(4).source_vsans.set(vsan);
  EXPECT_EQ(faults(4), (Faults{"session 1 has VSANs that do not exist", "session 2 has VSANs that do not exist",
                               "session 3 has VSANs that do not exist", "session 4 has too many VSANs"}));
}

TEST_F(SelfCheck, FindsWrongPortModesAndThresholds) {
  on_.config.port_modes[fc(1, 1)] = chassis::PortMode::kNormal;
  on_.config.port_modes[fc(1, 45)] = chassis::PortMode::kSpanDestination;
  on_.config.port_modes[fcip(1)] = chassis::PortMode::kSpanDestination;
  on_.config.threshold = 0;
  EXPECT_EQ(faults(5), (Faults{"fc1/1 is listed in the normal mode", "fc1/45 cannot be in a port mode",
                               "fcip 1 cannot be in a port mode", "drop threshold 0 is out of range"}));
}

}  // namespace
}  // namespace manager_test
