// A switch in this process for tests of what looks at it, configured through the library like any other.
#ifndef TESTS_AGENT_SMON_SUPPORT_H
#define TESTS_AGENT_SMON_SUPPORT_H

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/agent/subtree.h"
#include "host/manager/config.h"
#include "host/platform/link.h"
#include "host/platform/state.h"
#include "libspan.h"
#include "tests/host/manager_support.h"

namespace agent_test {

using manager_test::fc;
using manager_test::fcip;
using manager_test::inband;
using manager_test::iscsi;
using manager_test::port_channel;
using manager_test::tunnel;

using IfList = std::initializer_list<uint32_t>;

class SwitchTest : public ::testing::Test {
 protected:
  SwitchTest() { start(manager_test::kChassis); }
  ~SwitchTest() override { host::set_clock({}); }

  void start(const std::string& chassis) {
    std::string error;
    auto description = chassis::Chassis::parse(chassis, "test.toml", error);
    ASSERT_TRUE(description) << error;
    host::start_switch(std::move(*description));
    queue_ = host::switch_queue();
    span_snmp_set_quill_q(&queue_);
    span_snmp_set_tarn(1);
  }

  // A destination that is a port becomes one in its own mode, too: the session is active as soon as it has a source.
  void make_session(uint32_t session, uint32_t destination, const IfList& rx, const IfList& tx) {
    ASSERT_EQ(span_snmp_session_create(session), SPAN_OK);
    if (destination != 0) {
      ASSERT_EQ(span_snmp_session_dest_set(session, destination), SPAN_OK);
      span_snmp_set_port_config(queue_, "test", "test", destination, 1);
    }
    for (const uint32_t each : rx) ASSERT_EQ(span_snmp_source_if_create(session, each, SPAN_RX), SPAN_OK);
    for (const uint32_t each : tx) ASSERT_EQ(span_snmp_source_if_create(session, each, SPAN_TX), SPAN_OK);
  }

  void suspend(uint32_t session) { ASSERT_EQ(span_snmp_session_admin_status_set(session, 2), SPAN_OK); }
  void resume(uint32_t session) { ASSERT_EQ(span_snmp_session_admin_status_set(session, 1), SPAN_OK); }

 private:
  uint32_t queue_ = 0;
};

inline std::string text_of(const agent::Value& value) {
  if (value.type != ASN_OCTET_STR) return std::to_string(value.number);
  std::string text;
  for (const char each : value.octets) {
    char hex[4];
    std::snprintf(hex, sizeof hex, "%02x", static_cast<unsigned char>(each));
    text += hex;
  }
  return text;
}

constexpr uint32_t kThresholdOpcode = 2019;

// Stands before the switch, counts what is asked and lets it fail.
class WatchedLink : public host::Link {
 public:
  explicit WatchedLink(std::unique_ptr<host::Link> link) : link_(std::move(link)) {}

  size_t exchanges = 0;
  size_t commands = 0;
  size_t receives = 0;
  std::vector<uint32_t> addresses;  // that messages were sent to
  size_t last_exchange = SIZE_MAX;  // those behind it fail
  std::function<void()> before_exchange = [] {};
  std::function<void(std::vector<uint8_t>& response)> on_threshold = [](auto&) {};

  int exchange(const host::ManagerRequest& request, manager::Reply& reply) override {
    before_exchange();
    if (++exchanges > last_exchange) return ECONNRESET;
    const int error = link_->exchange(request, reply);
    if (request.opcode == kThresholdOpcode) on_threshold(reply.response);
    return error;
  }
  int dump(std::string_view function, std::span<const uint8_t> record, manager::Dump& dump) override {
    return link_->dump(function, record, dump);
  }
  int port_roles(host::PortRoles& roles) override { return link_->port_roles(roles); }
  int send(uint32_t address, uint32_t service, uint32_t opcode, std::span<const uint8_t> payload,
           uint32_t& token) override {
    addresses.push_back(address);
    return link_->send(address, service, opcode, payload, token);
  }
  int receive(uint32_t token, std::vector<uint8_t>& answer) override {
    ++receives;
    return link_->receive(token, answer);
  }
  void begin_command() override { ++commands; }

 private:
  std::unique_ptr<host::Link> link_;
};

// From here on, until the switch is started anew.
inline WatchedLink& watch_link() {
  auto watched = std::make_unique<WatchedLink>(std::move(host::running()->link));
  WatchedLink& link = *watched;
  host::running()->link = std::move(watched);
  return link;
}

// The values behind a name up to the end of the subtree, or to a failure: NAME = VALUE, without what all names begin
// with.
inline std::string walk(const agent::Subtree& subtree, agent::Oid name = {}) {
  std::string text;
  const size_t begin = agent::text_of(subtree.root()).size() + 1;
  for (int rows = 0; rows < 10'000; ++rows) {
    agent::Value value;
    const agent::Oid before = name;
    const agent::Found found = subtree.next(name, value);
    if (found == agent::Found::kFailed) return text + "failed\n";
    if (found == agent::Found::kNo) return text;
    if (!(before < name)) return text + "stuck\n";
    text += agent::text_of(name).substr(begin) + " = " + text_of(value) + "\n";
  }
  return text + "endless\n";
}

}  // namespace agent_test

#endif
