// What becomes of every exported function when something fails on its way: the scenarios, and the switch that they are
// played on.
#ifndef TESTS_FAILURE_SCENARIO_H
#define TESTS_FAILURE_SCENARIO_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "feature/span/lib/libspan.h"
#include "tests/support/fake_platform.h"
#include "tests/support/messages.h"

namespace testkit::failure {

constexpr uint32_t kOk = 0;
constexpr uint32_t kNoMemory = 1;
constexpr uint32_t kQueue = 7;
constexpr uint32_t kUntouched = 0xABCDEF01;
constexpr char kWho[] = "operator";
constexpr char kWhere[] = "vty 1";

// What the transport and the C library say when they are asked for the reason.
constexpr uint32_t kQuillErrno = 113;
constexpr int kErrno = 110;

// Interfaces of the switch.
constexpr uint32_t kFc1 = 0x01000000;
constexpr uint32_t kFc2 = 0x01001000;
constexpr uint32_t kPortChannel = 0x04000003;
constexpr uint32_t kSvc = 0x0c000000;
constexpr uint32_t kTurning = 0x0d000000;  // a port when it is asked for first, a service-module interface from then on

// What a call returned, and its out-arguments in words.
struct Seen {
  Seen(uint32_t status, std::string words = {}) : result(status), out(std::move(words)) {}

  uint32_t result;
  std::string out;
};

// A result that is the code of whatever failed.
inline constexpr std::nullopt_t kItsCode = std::nullopt;

// What a caller sees of a call. In the texts, %d and %x stand for the code of whatever failed, %? for "block" when that
// handed back a block all the same, else "null".
struct Outcome {
  std::optional<uint32_t> result;
  std::string printed = {};
  std::string out = {};
  std::string trace = {};     // the last one; empty: not looked at
  std::string left = {};      // blocks that are left behind on purpose
  size_t messages_left = {};  // likewise messages
};

// What a caller sees when an answer of the platform is a failure.
struct Broken {
  Outcome outcome;
  std::optional<Outcome> all_ones = {};    // when its code is 0xFFFFFFFF
  std::optional<std::string> handed = {};  // what is printed when it handed back a block
};

// A case in which an exported function works: what it asks the platform for is answered by the switch.
struct Scenario {
  std::string function;
  std::function<Seen()> call;
  Outcome works;
  std::vector<Outcome> without_memory = {};  // its n-th allocation fails
  std::vector<Broken> broken = {};           // the n-th answer that can be a failure is one
};

using Scenarios = std::vector<Scenario>;

Scenarios codec_scenarios();
Scenarios request_scenarios();
Scenarios interface_scenarios();
Scenarios port_manager_scenarios();
Scenarios command_scenarios();
Scenarios show_scenarios();
Scenarios running_config_scenarios();
Scenarios line_card_scenarios();
Scenarios diagnostics_scenarios();
Scenarios snmp_session_scenarios();
Scenarios snmp_source_scenarios();
Scenarios snmp_vsan_scenarios();

// One table of several.
inline Scenarios joined(const std::vector<Scenarios>& tables) {
  Scenarios all;
  for (const Scenarios& table : tables) all.insert(all.end(), table.begin(), table.end());
  return all;
}

// A block that a function hands out.
class OutBlock {
 public:
  OutBlock() = default;
  OutBlock(const OutBlock&) = delete;
  OutBlock& operator=(const OutBlock&) = delete;
  ~OutBlock() { std::free(block_); }

  template <class T>
  T** as() {
    return reinterpret_cast<T**>(&block_);
  }
  void** out() { return &block_; }
  std::string told() const { return block_ != nullptr ? "block" : "null"; }

 private:
  void* block_ = nullptr;
};

// A number that a function may set.
inline std::string told(uint32_t number) { return number == kUntouched ? "untouched" : std::to_string(number); }

inline Outcome printed(uint32_t result, std::string text) { return {.result = result, .printed = std::move(text)}; }

// The switch: two mirroring sessions, 2 and 5, and a line card in slot 1 that counts drops.
class Switch {
 public:
  explicit Switch(FakePlatform& fake);

  // The n-th answer from now on that could be a failure is one, with this code; 0: none.
  void fail(size_t n, uint32_t code = 0, bool handed = false);

  // Answers since then that could be a failure.
  size_t answers() const { return answers_; }

 private:
  Answer answer(const std::string& line);
  Answer working(const std::string& line);
  Bytes response_to(const Exchange& exchange) const;

  FakePlatform& fake_;
  size_t answers_ = 0;
  size_t failing_ = 0;
  uint32_t code_ = 0;
  bool handed_ = false;
  bool counting_ = false;  // a line card was asked, not the inventory
};

}  // namespace testkit::failure

#endif
