#include "tests/support/heap.h"

#include <cstdlib>
#include <cstring>
#include <unordered_map>

extern "C" {
void* __real_malloc(size_t size);
void __real_free(void* block);
void* __wrap_malloc(size_t size);
void* __wrap_calloc(size_t count, size_t size);
void* __wrap_realloc(void* block, size_t size);
void __wrap_free(void* block);
}

namespace testkit::heap {
namespace {

constexpr int kFreed = 0xDD;

struct Block {
  size_t size;
  std::string origin;
};

struct State {
  std::unordered_map<void*, Block> live;
  size_t requests = 0;
  size_t until_failure = 0;
};

State& state() {
  static State& instance = *new State;
  return instance;
}

void* make(size_t size, int fill, const std::string& origin) {
  void* const block = __real_malloc(size != 0 ? size : 1);
  std::memset(block, fill, size);
  state().live[block] = {size, origin};
  return block;
}

void* request(size_t size, int fill) {
  ++state().requests;
  if (state().until_failure != 0 && --state().until_failure == 0) return nullptr;
  if (size == 0) return nullptr;
  return make(size, fill, "the code under test");
}

}  // namespace

void fail_nth(size_t n) { state().until_failure = n; }

size_t requests() { return state().requests; }

size_t live() { return state().live.size(); }

void begin() { state() = State{}; }

void* hand_out(const Bytes& content, const std::string& origin) {
  void* const block = make(content.size(), kFill, origin);
  if (!content.empty()) std::memcpy(block, content.data(), content.size());
  return block;
}

std::string sweep() {
  std::string report;
  for (const auto& [block, made] : state().live) {
    report += std::to_string(made.size) + " bytes from " + made.origin + "\n";
    __real_free(block);
  }
  state().live.clear();
  return report;
}

namespace {

void release(void* block) {
  const auto found = state().live.find(block);
  if (found != state().live.end()) {
    std::memset(block, kFreed, found->second.size);
    state().live.erase(found);
  }
  __real_free(block);
}

void* resize(void* block, size_t size) {
  const auto found = state().live.find(block);
  const size_t old_size = found == state().live.end() ? 0 : found->second.size;
  void* const larger = request(size, kFill);
  if (larger == nullptr) return nullptr;
  if (block == nullptr) return larger;
  std::memcpy(larger, block, old_size < size ? old_size : size);
  release(block);
  return larger;
}

}  // namespace
}  // namespace testkit::heap

void* __wrap_malloc(size_t size) { return testkit::heap::request(size, testkit::heap::kFill); }

void* __wrap_calloc(size_t count, size_t size) {
  size_t bytes;
  if (__builtin_mul_overflow(count, size, &bytes)) return nullptr;
  return testkit::heap::request(bytes, 0);
}

void* __wrap_realloc(void* block, size_t size) { return testkit::heap::resize(block, size); }

void __wrap_free(void* block) { testkit::heap::release(block); }
