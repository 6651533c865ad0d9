// Sessions that the operator may see.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

class Permission : public CliTest {
 protected:
  Permission() { fake.name_pointer(command_.parms()->display_ctx, "display_ctx"); }

  int allowed(const SessionRecord& session) {
    const Bytes record = session.bytes();
    return run([&] { return span_check_is_session_print_allowed(command_, record.data()); });
  }

  void forbid_all() {
    fake.allowed_vsans.emplace();
    fake.allowed_interfaces.emplace();
  }

  Command command_;
};

TEST_F(Permission, ASessionWithoutSourcesIsShown) {
  forbid_all();
  EXPECT_EQ(allowed({}), 1);
  EXPECT_EQ(fake.calls(), "");
}

TEST_F(Permission, TheDestinationAndTheFilterAreNotConsidered) {
  forbid_all();
  EXPECT_EQ(allowed({.destination = kFc1, .has_destination = 1, .filter_vsans = {{1, 10}}}), 1);
  fake.allowed_vsans = {5};
  fake.allowed_interfaces = {kFc1};
  EXPECT_EQ(allowed({.destination = kFc1, .has_destination = 1, .filter_vsans = {{5, 5}}, .rx = {kFc2}}), 0);
}

TEST_F(Permission, OneVsanIsEnough) {
  forbid_all();
  fake.allowed_vsans = {4095};
  EXPECT_EQ(allowed({.rx_vsans = {{0, 0}, {31, 32}, {4095, 4095}}, .rx = {kFc1}}), 1);
  EXPECT_EQ(fake.calls(),
            "brio_is_vsan_allowed(display_ctx, 0)\n"
            "brio_is_vsan_allowed(display_ctx, 31)\n"
            "brio_is_vsan_allowed(display_ctx, 32)\n"
            "brio_is_vsan_allowed(display_ctx, 4095)\n");
}

TEST_F(Permission, TheFirstAllowedSourceEndsTheCheck) {
  EXPECT_EQ(allowed({.rx_vsans = {{7, 9}}, .rx = {kFc1}, .tx = {kFc2}}), 1);
  EXPECT_EQ(fake.calls(), "brio_is_vsan_allowed(display_ctx, 7)\n");
}

TEST_F(Permission, OneIngressInterfaceIsEnough) {
  forbid_all();
  fake.allowed_interfaces = {kFc2};
  EXPECT_EQ(allowed({.rx = {kPortChannel, kFc2, kFc1}, .tx = {kInband}}), 1);
  EXPECT_EQ(fake.calls(),
            "brio_is_interface_display_allowed(7, display_ctx, 0x4000003)\n"
            "brio_is_interface_display_allowed(7, display_ctx, 0x1001000)\n");
}

TEST_F(Permission, OneEgressInterfaceIsEnough) {
  forbid_all();
  fake.allowed_interfaces = {kInband};
  EXPECT_EQ(allowed({.rx_vsans = {{3, 3}}, .rx = {kFc2}, .tx = {kFc1, kInband}}), 1);
  EXPECT_EQ(fake.calls(),
            "brio_is_vsan_allowed(display_ctx, 3)\n"
            "brio_is_interface_display_allowed(7, display_ctx, 0x1001000)\n"
            "brio_is_interface_display_allowed(7, display_ctx, 0x1000000)\n"
            "brio_is_interface_display_allowed(7, display_ctx, 0x6000000)\n");
}

TEST_F(Permission, ASessionWithoutAnAllowedSourceIsHidden) {
  forbid_all();
  EXPECT_EQ(allowed({.rx_vsans = {{3, 3}}}), 0);
  EXPECT_EQ(allowed({.rx = {kFc1}}), 0);
  EXPECT_EQ(allowed({.tx = {kFc1}}), 0);
  EXPECT_EQ(allowed({.rx_vsans = {{0, 4095}}, .rx = {kFc1}, .tx = {kFc2}}), 0);
}

TEST_F(Permission, TheQueueOfTheCommandIsAsked) {
  command_.queue(0x12345678);
  EXPECT_EQ(allowed({.tx = {kFc1}}), 1);
  EXPECT_EQ(fake.calls(), "brio_is_interface_display_allowed(0x12345678, display_ctx, 0x1000000)\n");
}

}  // namespace
}  // namespace testkit
