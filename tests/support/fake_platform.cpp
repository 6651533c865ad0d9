#include "tests/support/fake_platform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "tests/support/capture.h"
#include "tests/support/heap.h"

namespace testkit {
namespace {

FakePlatform* playing = nullptr;

constexpr uint32_t kRefused = 0xFFFFFFFF;

}  // namespace

// ---- Scripts ---------------------------------------------------------------------------------------------------------

Script& Script::returns(uint32_t result) {
  result_ = result;
  return *this;
}

Script& Script::gives(Bytes block) {
  block_ = std::move(block);
  return *this;
}

Script& Script::preset(const void* response) {
  preset_ = response;
  return *this;
}

Script& Script::times(int count) {
  count_ = count;
  return *this;
}

Script& Script::does(std::function<void()> effect) {
  effect_ = std::move(effect);
  return *this;
}

void* Answer::hand_out(const std::string& origin) const { return block ? heap::hand_out(*block, origin) : nullptr; }

void Answer::copy_to(void* target, size_t room) const {
  if (block) std::memcpy(target, block->data(), std::min(room, block->size()));
}

// ---- The fake --------------------------------------------------------------------------------------------------------

FakePlatform::FakePlatform() { playing = this; }

FakePlatform::~FakePlatform() { playing = nullptr; }

FakePlatform& FakePlatform::current() {
  if (playing != nullptr) return *playing;
  std::fprintf(stderr, "a platform function was called while no FakePlatform lives\n");
  std::abort();
}

bool FakePlatform::plays() { return playing != nullptr; }

Script& FakePlatform::expect(const std::string& call) { return scripts_.emplace_back(call); }

Script& FakePlatform::expect_exchange(uint32_t opcode) {
  return expect("vex_req_resp(" + std::to_string(opcode) + ",");
}

Answer FakePlatform::play(const std::string& line) {
  record(line);
  if (scripts_.empty() && answers) return answers(line);
  if (scripts_.empty() || !line.starts_with(scripts_.front().call_)) {
    fail("unscripted call: " + line +
         "\nnext in the script: " + (scripts_.empty() ? "nothing" : scripts_.front().call_));
    return {kRefused, std::nullopt, nullptr};
  }
  const Script script = scripts_.front();
  if (--scripts_.front().count_ == 0) scripts_.pop_front();
  if (script.effect_) script.effect_();
  return {script.result_, script.block_, script.preset_};
}

uint32_t FakePlatform::lookup(const std::string& line, const std::optional<uint32_t>& value) {
  record(line);
  if (!value) fail("unscripted call: " + line);
  return value.value_or(0);
}

void FakePlatform::verify() {
  for (const Script& script : scripts_) fail("scripted, but not called: " + script.call_);
  scripts_.clear();
  if (messages_.size() != messages_left) {
    fail(std::to_string(messages_.size()) + " messages are not dropped, expected " + std::to_string(messages_left));
  }
}

std::string FakePlatform::calls(const std::string& prefix) const {
  std::string lines;
  for (const std::string& line : journal_) {
    if (line.starts_with(prefix)) lines += line + "\n";
  }
  return lines;
}

const Exchange& FakePlatform::exchange() const {
  static const Exchange kNone{};
  if (!exchanges.empty()) return exchanges.back();
  fail("nothing was sent");
  return kNone;
}

void FakePlatform::name_pointer(const void* pointer, const std::string& name) { names_[pointer] = name; }

std::string FakePlatform::name_of(const void* pointer) const {
  if (pointer == nullptr) return "null";
  const auto found = names_.find(pointer);
  return found == names_.end() ? "?" : found->second;
}

uint32_t FakePlatform::open_message(Bytes payload, bool has_payload) {
  messages_[++last_message_] = has_payload ? std::optional(std::move(payload)) : std::nullopt;
  return last_message_;
}

void FakePlatform::close_message(uint32_t id) { messages_.erase(id); }

const void* FakePlatform::payload_of(uint32_t id) const {
  const auto found = messages_.find(id);
  return found == messages_.end() || !found->second ? nullptr : found->second->data();
}

const void* FakePlatform::store(const Bytes& block) { return stored_.emplace_back(block).data(); }

}  // namespace testkit
