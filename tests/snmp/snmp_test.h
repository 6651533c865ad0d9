// What the tests of the SNMP handlers share: the agent's state, the manager's sessions, and the steps of a handler.
#ifndef TESTS_SNMP_SNMP_TEST_H
#define TESTS_SNMP_SNMP_TEST_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "feature/span/lib/libspan.h"
#include "tests/support/libspan_test.h"

namespace testkit {

constexpr uint32_t kOk = 0;
constexpr uint32_t kNoMemory = 1;
constexpr uint32_t kFailed = 0x40340000;
constexpr uint32_t kNoSession = 0x40340002;
constexpr uint32_t kNoSource = 0x40340004;
constexpr uint32_t kInvalidParam = 0x40340015;
constexpr uint32_t kStandby = 0x4034002b;
constexpr uint32_t kWrongSession = 0x40340044;
constexpr uint32_t kWrongIf = 0x40340045;
constexpr uint32_t kWrongVsan = 0x40340046;
constexpr uint32_t kWrongSource = 0x40340048;
constexpr uint32_t kTransportFailed = 0xFFFFFFFF;

constexpr int32_t kGet = 1;
constexpr int32_t kGetNext = 2;

constexpr uint32_t kContext = 0x510067;
constexpr char kQuery[] = "vex_req_resp(2001, 1, [4 bytes], null, null, 68, 7, 35)";
constexpr char kAskTime[] = "gettimeofday()";

// The text of a session query whose exchange failed: status 0x40340008.
constexpr char kQueryFailed[] = "err(1077149704)\n";

// What a handler did, in order: a platform call as the journal shows it, a trace as its text.
using Steps = std::vector<std::string>;

inline Steps operator+(Steps steps, const Steps& more) {
  steps.insert(steps.end(), more.begin(), more.end());
  return steps;
}

// Where traces go. Context 0 is debug output without asking for it.
struct TraceMode {
  const char* name;
  uint32_t context;
  bool history;
  bool debug;
};

constexpr TraceMode kTraceModes[] = {
    {"history", kContext, true, false}, {"history and debug", kContext, true, true}, {"debug", kContext, false, true},
    {"context 0", 0, true, false},      {"context 0, no history", 0, false, false},
};

template <class Row>
Bytes bytes_of(const Row& row) {
  return copy_of(&row, sizeof row);
}

// A record in which every byte is 0xEE, to see what a handler writes.
template <class Row>
Row unwritten() {
  Row row;
  std::memset(&row, 0xEE, sizeof row);
  return row;
}

template <class Row>
testing::AssertionResult all_zero(const Row& row) {
  return same_bytes(bytes_of(row), Bytes(sizeof row));
}

template <class Row>
testing::AssertionResult untouched(const Row& row) {
  return same_bytes(bytes_of(row), Bytes(sizeof row, 0xEE));
}

class SnmpTest : public LibspanTest {
 protected:
  void SetUp() override {
    LibspanTest::SetUp();
    span_snmp_set_quill_q(&queue_);
    trace_as(kTraceModes[0]);
  }

  void trace_as(const TraceMode& mode) {
    context_ = mode.context;
    fake.history_on = mode.history;
    fake.debug_on = mode.debug;
    span_snmp_set_tarn(mode.context);
    forget_steps();
  }

  // Runs `scenario` wherever traces may go; it has to leave no block behind.
  template <class Scenario>
  void in_each_trace_mode(Scenario scenario) {
    for (const TraceMode& mode : kTraceModes) {
      SCOPED_TRACE(mode.name);
      trace_as(mode);
      scenario();
      EXPECT_EQ(heap::live(), 0u);
    }
  }

  // Calls a handler.
  template <class Result, class... Parameters>
  Result ask(Result (*handler)(Parameters...), std::type_identity_t<Parameters>... arguments) {
    return run([&] { return handler(arguments...); });
  }

  // What was done since the last time this was asked. A trace that went elsewhere than the mode says, or in another
  // form, stays as its single calls.
  Steps steps() {
    Steps done;
    const Steps lines = new_lines();
    for (size_t i = 0; i < lines.size();) {
      const Steps trace = trace_at(lines, i);
      done.push_back(trace.empty() ? lines[i] : unquoted(trace.back()));
      i += trace.empty() ? 1 : trace.size() - 1;
    }
    return done;
  }

  void forget_steps() { seen_ = fake.calls().size(); }

  // The platform knows an interface of this type.
  void know(uint32_t if_index, uint32_t type, const std::string& name = "fc1/1", std::optional<uint8_t> subtype = {}) {
    fake.interfaces[if_index] = {static_cast<uint8_t>(type), name, subtype};
  }

  // The manager answers for the sessions first to last, one query each. Those not in `sessions` do not exist, whatever
  // else their record says.
  void expect_reads(uint32_t first, uint32_t last) {
    for (uint32_t session = first; session <= last; ++session) {
      fake.expect_exchange(2001).gives(response_of(session));
    }
  }

  Bytes response_of(uint32_t session) const {
    const auto found = sessions.find(session);
    if (found != sessions.end()) return found->second.response();
    return SessionRecord{.configured = 0, .destination = 77, .has_destination = 1, .rx_vsans = {{1, 9}}, .rx = {5, 9}}
        .response();
  }

  // The session index of each query since the last time this was asked.
  Bytes asked() {
    Bytes indexes;
    for (; exchanges_seen_ < fake.exchanges.size(); ++exchanges_seen_) {
      const Exchange& exchange = fake.exchanges[exchanges_seen_];
      if (exchange.opcode == 2001) indexes.push_back(exchange.payload.at(0));
    }
    return indexes;
  }

  // What asked() tells of queries for the sessions first to last.
  static Bytes indexes(uint32_t first, uint32_t last) {
    Bytes expected;
    for (uint32_t session = first; session <= last; ++session) expected.push_back(static_cast<uint8_t>(session - 1));
    return expected;
  }

  uint32_t queue_ = 7;
  std::map<uint32_t, SessionRecord> sessions;

 private:
  Steps new_lines() {
    const std::string journal = fake.calls().substr(seen_);
    seen_ += journal.size();
    Steps lines;
    for (size_t start = 0; start < journal.size();) {
      const size_t end = journal.find('\n', start);
      lines.push_back(journal.substr(start, end - start));
      start = end + 1;
    }
    return lines;
  }

  // The lines of the trace that starts at lines[i] and, last, its text in quotes; empty when none starts there.
  Steps trace_at(const Steps& lines, size_t i) const {
    const size_t with_text = i + 1 + (!fake.history_on && context_ != 0);
    if (!lines[i].starts_with("tarn_hist_event_subtype_check") || with_text >= lines.size()) return {};
    const std::string& line = lines[with_text];
    const size_t first = line.find('"');
    const size_t last = line.rfind('"');
    if (first == last) return {};
    const std::string text = line.substr(first, last + 1 - first);
    const Steps trace = lines_of_trace(text);
    if (lines.size() - i < trace.size() || !std::equal(trace.begin(), trace.end(), lines.begin() + offset(i))) {
      return {};
    }
    return trace + Steps{text};
  }

  Steps lines_of_trace(const std::string& quoted) const {
    const std::string event = shown(context_);
    const size_t record_length = unquoted(quoted).size() + 5;
    Steps lines{"tarn_hist_event_subtype_check(0x730000, " + event + ")"};
    if (fake.history_on) {
      lines.push_back("tarn_hist_event(0x730000, " + std::to_string(record_length) + ", " + event + ", " + quoted +
                      ")");
    }
    if (context_ != 0) lines.push_back("tarn_chk_int(" + event + ", 0, 0, 1)");
    if (context_ == 0 || fake.debug_on) lines.push_back("murmur(1, tarn_dbg_modname, 0, " + quoted + ")");
    return lines;
  }

  static Steps::difference_type offset(size_t i) { return static_cast<Steps::difference_type>(i); }

  static std::string shown(uint32_t number) {
    char digits[16];
    std::snprintf(digits, sizeof digits, number < 0x10000 ? "%u" : "0x%x", number);
    return digits;
  }

  // A text without its quotes, "\n" being a line end again.
  static std::string unquoted(const std::string& quoted) {
    std::string text = quoted.substr(1, quoted.size() - 2);
    for (size_t at = 0; (at = text.find("\\n", at)) != std::string::npos; ++at) text.replace(at, 2, "\n");
    return text;
  }

  uint32_t context_ = 0;
  size_t seen_ = 0;
  size_t exchanges_seen_ = 0;
};

}  // namespace testkit

#endif
