// The RSPAN tunnel of a port.
#include "tests/cli/cli_test.h"

namespace testkit {
namespace {

constexpr uint32_t kTunnel = 0x0f000102;

class RspanTunnel : public CliTest {
 protected:
  using Function = uint32_t(uint32_t port, uint32_t queue);

  RspanTunnel() { fake.interfaces[kTunnel] = {.type = 15, .name = "rspan-tunnel 1", .subtype = {}}; }

  void expect_tunnel(uint32_t tunnel) { fake.expect_exchange(2016).gives(tunnel_response(tunnel)); }

  uint32_t ask(Function* function, uint32_t port = kFc1, uint32_t queue = 7) {
    return run([&] { return function(port, queue); });
  }
};

TEST_F(RspanTunnel, IsAskedForByThePortAsAPlainNumber) {
  expect_tunnel(0);
  EXPECT_EQ(ask(span_show_rspan_tunnel_config_for_st_port, 0x01020304), 0u);
  EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("01 02 03 04 00 00 00 00")));
  EXPECT_EQ(fake.calls(), "vex_req_resp(2016, 1, [8 bytes], null, null, 68, 7, 35)\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(RspanTunnel, ThePortComesFirstAndTheQueueSecond) {
  for (Function* const function : {span_get_rspan_tunnel_config_for_st_port, span_print_rspan_tunnel_config_for_st_port,
                                   span_show_rspan_tunnel_config_for_st_port}) {
    fake.expect("vex_req_resp(2016, 1, [8 bytes], null, null, 68, 85, 35)").gives(tunnel_response(0));
    EXPECT_EQ(ask(function, 0x0A0B0C0D, 85), 0u);
    EXPECT_TRUE(same_bytes(fake.exchange().payload, hex("0a 0b 0c 0d 00 00 00 00")));
  }
  EXPECT_EQ(printed(), "  span_get_rspan_tunnel_config_for_st_port: rspan_tunnel is 0x0\n");
}

// ---- As a number -----------------------------------------------------------------------------------------------------

TEST_F(RspanTunnel, AsANumberIsPrintedInHexAndReturned) {
  expect_tunnel(kTunnel);
  EXPECT_EQ(ask(span_get_rspan_tunnel_config_for_st_port), kTunnel);
  EXPECT_EQ(printed(), "  span_get_rspan_tunnel_config_for_st_port: rspan_tunnel is 0xf000102\n");
  expect_tunnel(0xFFFFFFFF);
  EXPECT_EQ(ask(span_get_rspan_tunnel_config_for_st_port), 0xFFFFFFFFu);
  EXPECT_EQ(printed(), "  span_get_rspan_tunnel_config_for_st_port: rspan_tunnel is 0xffffffff\n");
  EXPECT_EQ(fake.calls("sprintf"), "");
}

TEST_F(RspanTunnel, KeepsTheNumber0ForAFailedQuery) {
  fake.expect_exchange(2016).returns(0x40340008).gives(tunnel_response(kTunnel));
  EXPECT_EQ(ask(span_get_rspan_tunnel_config_for_st_port), 0u);
  EXPECT_EQ(printed(), "  span_get_rspan_tunnel_config_for_st_port: rspan_tunnel is 0x0\n");
}

TEST_F(RspanTunnel, AsANumberWithoutAQueueIs0) {
  EXPECT_EQ(ask(span_get_rspan_tunnel_config_for_st_port, kFc1, 0), 0u);
  EXPECT_EQ(printed(),
            "Invalid param\n"
            "  span_get_rspan_tunnel_config_for_st_port: rspan_tunnel is 0x0\n");
  EXPECT_EQ(fake.calls(), "");
}

// ---- As a name -------------------------------------------------------------------------------------------------------

TEST_F(RspanTunnel, AsANameReturnsTheCharactersPrinted) {
  expect_tunnel(kTunnel);
  EXPECT_EQ(ask(span_print_rspan_tunnel_config_for_st_port), 38u);
  EXPECT_EQ(printed(), "rspan-tunnel interface rspan-tunnel 1\n");
  expect_tunnel(kTunnel);
  EXPECT_EQ(ask(span_show_rspan_tunnel_config_for_st_port), 35u);
  EXPECT_EQ(printed(), "    Rspan tunnel is rspan-tunnel 1\n");
  EXPECT_EQ(fake.calls("sprintf"),
            "sprintf_if_index(0xf000102)\n"
            "sprintf_if_index(0xf000102)\n");
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(RspanTunnel, OfAPortWithoutOnePrintsNothing) {
  for (Function* const function :
       {span_print_rspan_tunnel_config_for_st_port, span_show_rspan_tunnel_config_for_st_port}) {
    expect_tunnel(0);
    EXPECT_EQ(ask(function), 0u);
  }
  EXPECT_EQ(printed(), "");
  EXPECT_EQ(fake.calls("sprintf"), "");
}

TEST_F(RspanTunnel, AFailedQueryIsReturnedSilently) {
  for (Function* const function :
       {span_print_rspan_tunnel_config_for_st_port, span_show_rspan_tunnel_config_for_st_port}) {
    for (const uint32_t status : {1u, 0x40340008u, 0xFFFFFFFFu}) {
      fake.expect_exchange(2016).returns(status).gives(tunnel_response(kTunnel));
      EXPECT_EQ(ask(function), status);
    }
  }
  EXPECT_EQ(printed(), "");
}

TEST_F(RspanTunnel, AsANameWithoutAQueueIsRefused) {
  EXPECT_EQ(ask(span_print_rspan_tunnel_config_for_st_port, kFc1, 0), 0x40340015u);
  EXPECT_EQ(ask(span_show_rspan_tunnel_config_for_st_port, kFc1, 0), 0x40340015u);
  EXPECT_EQ(printed(),
            "Invalid param\n"
            "Invalid param\n");
}

TEST_F(RspanTunnel, WithoutANameKeepsItsLine) {
  expect_tunnel(kUnknownIf);
  EXPECT_EQ(ask(span_print_rspan_tunnel_config_for_st_port), 24u);
  EXPECT_EQ(printed(), "rspan-tunnel interface \n");
  expect_tunnel(kUnknownIf);
  EXPECT_EQ(ask(span_show_rspan_tunnel_config_for_st_port), 21u);
  EXPECT_EQ(printed(), "    Rspan tunnel is \n");
}

TEST_F(RspanTunnel, TheLongestNameIsPrintedWhole) {
  const std::string name(127, 't');
  fake.interfaces[kTunnel].name = name;
  expect_tunnel(kTunnel);
  EXPECT_EQ(ask(span_print_rspan_tunnel_config_for_st_port), 151u);
  EXPECT_EQ(printed(), "rspan-tunnel interface " + name + "\n");
}

}  // namespace
}  // namespace testkit
