#include "host/daemon/watchers.h"

#include <utility>

namespace spand {
namespace {

constexpr std::chrono::seconds kPatience{1};
constexpr size_t kMaxWaiting = 4096;  // beyond, the first ones are answered early

}  // namespace

// Generations begin with the time, so that none is mistaken for one of an earlier process.
Watchers::Watchers() {
  rates_.generation = static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
}

void Watchers::set_rates(linecard::CopyRates copies, uint32_t threshold) {
  if (copies == rates_.copies && threshold == rates_.threshold) return;
  rates_ = {rates_.generation + 1, threshold, std::move(copies)};
  answer_all();
}

void Watchers::add(uint64_t generation, transport::Responder answer, Time now) {
  if (waiting_.size() >= kMaxWaiting) answer_first();
  if (generation == rates_.generation) {
    waiting_.push_back({now + kPatience, std::move(answer)});
  } else {
    answer(transport::Type::kRates, transport::encode(rates_));
  }
}

std::optional<Watchers::Time> Watchers::next_due() const {
  return waiting_.empty() ? std::nullopt : std::optional(waiting_.front().due);
}

void Watchers::answer_due(Time now) {
  while (!waiting_.empty() && waiting_.front().due <= now) answer_first();
}

void Watchers::answer_all() {
  while (!waiting_.empty()) answer_first();
}

void Watchers::answer_first() {
  const transport::Responder answer = std::move(waiting_.front().answer);
  waiting_.pop_front();
  answer(transport::Type::kRates, transport::encode(rates_));
}

}  // namespace spand
