// The platform as the tests play it: every function of platform/, at link time.
//
// Each call is written into a journal, one readable line a call. Calls that do something take their answer from a
// script, in the order in which the test announced them; a call that nobody announced and an announcement that nobody
// used fail the test. `answers` can stand in for the announcements. Lookups (interfaces, names, permissions, status
// texts, what is traced) are answered from the tables below. The conversions of interface indexes and the bounded
// copies are plain functions and not in the journal.
#ifndef TESTS_SUPPORT_FAKE_PLATFORM_H
#define TESTS_SUPPORT_FAKE_PLATFORM_H

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/bytes.h"

namespace testkit {

// One announced call and its answer.
class Script {
 public:
  explicit Script(std::string call) : call_(std::move(call)) {}

  Script& returns(uint32_t result);
  Script& gives(Bytes block);                  // the response, record, reply or message that the call stores
  Script& preset(const void* response);        // of an exchange: its response pointer holds this before the call
  Script& times(int count);                    // answers that many calls
  Script& does(std::function<void()> effect);  // runs before the call returns

 private:
  friend class FakePlatform;
  friend struct Answer;

  std::string call_;
  uint32_t result_ = 0;
  std::optional<Bytes> block_;
  const void* preset_ = nullptr;
  int count_ = 1;
  std::function<void()> effect_;
};

struct Answer {
  uint32_t result = 0;
  std::optional<Bytes> block = std::nullopt;
  const void* preset = nullptr;

  int status() const { return static_cast<int>(result); }
  void* hand_out(const std::string& origin) const;  // the block as a malloc block, or null
  void copy_to(void* record, size_t room) const;    // the block into a record of the caller
};

// What went through vex_req_resp.
struct Exchange {
  uint32_t opcode;
  uint32_t kind;
  Bytes payload;
  std::optional<std::string> requester1;  // nothing: null
  std::optional<std::string> requester2;
  uint32_t service;
  uint32_t queue;
  uint32_t option;
};

// What went through tarn_hist_event.
struct TraceRecord {
  uint32_t facility;
  uint32_t length;
  uint32_t event;
  std::string text;
};

// What the platform says to one question for a type.
struct TypeAnswer {
  uint8_t type;
  int result = 0;
};

struct Interface {
  uint8_t type = 0;
  std::string name;
  std::optional<uint8_t> subtype = std::nullopt;  // of a port channel
  std::vector<TypeAnswer> type_answers = {};      // given first, one by one, in place of `type`
};

class FakePlatform {
 public:
  FakePlatform();
  ~FakePlatform();
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;

  // The one that plays now.
  static FakePlatform& current();
  static bool plays();

  // Announces a call by the start of its journal line: "quill_send", "brio_print_quill_error_message(2, 113)".
  Script& expect(const std::string& call);
  Script& expect_exchange(uint32_t opcode);

  // Answers, when it is set, what nobody announced.
  std::function<Answer(const std::string& line)> answers;

  // Runs, when it is set, at the start of each trace.
  std::function<void()> at_trace;

  // Fails the test for announcements that were not used and messages that were not dropped.
  void verify();

  // The journal's lines, each with "\n"; only those that start with `prefix`.
  std::string calls(const std::string& prefix = "") const;

  // Pointers are shown in the journal by the name given here, others as "?".
  void name_pointer(const void* pointer, const std::string& name);

  // What was sent, oldest first. exchange() is the last one.
  std::vector<Exchange> exchanges;
  const Exchange& exchange() const;
  std::vector<TraceRecord> traces;

  // Tables of the lookups.
  std::map<uint32_t, Interface> interfaces;         // all others are unknown
  std::map<uint32_t, std::string> status_texts;     // others: "status 0x40340015"
  std::optional<std::set<uint32_t>> allowed_vsans;  // nothing: all
  std::optional<std::set<uint32_t>> allowed_interfaces;
  std::optional<uint32_t> quill_errno;       // asking for it without one fails the test
  std::optional<uint32_t> inband_interface;  // likewise
  bool history_on = true;
  bool debug_on = false;
  int time_result = 0;       // of gettimeofday
  int close_result = 0;      // of close, which closes all the same
  size_t messages_left = 0;  // received or sent messages that may stay undropped

  // For the platform functions.
  void record(const std::string& line) { journal_.push_back(line); }
  Answer play(const std::string& line);
  uint32_t lookup(const std::string& line, const std::optional<uint32_t>& value);
  std::string name_of(const void* pointer) const;
  uint32_t open_message(Bytes payload, bool has_payload);
  void close_message(uint32_t id);
  const void* payload_of(uint32_t id) const;
  const void* store(const Bytes& block);  // the codec's own storage

 private:
  std::vector<std::string> journal_;
  std::deque<Script> scripts_;
  std::map<const void*, std::string> names_;
  std::map<uint32_t, std::optional<Bytes>> messages_;
  uint32_t last_message_ = 0;
  std::deque<Bytes> stored_;
};

}  // namespace testkit

#endif
