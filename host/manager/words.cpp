#include "host/manager/words.h"

#include <algorithm>

#include "feature/span/lib/internal/vsan_set.h"
#include "feature/span/lib/internal/wire.h"
#include "host/tlv/tlv.h"

namespace manager {
namespace {

using libspan::get;
using libspan::Opcode;
using libspan::SourceType;
using libspan::SrcOperation;
using Payload = std::span<const uint8_t>;
using Words = std::string;  // none: the bytes are no such request

template <libspan::Layout T>
const T* head(Payload payload) {
  return payload.size() < sizeof(T) ? nullptr : &libspan::view<T>(payload.data());
}

// The `count` elements behind the first `offset` bytes, as far as they are there.
template <libspan::Layout T>
std::span<const T> tail(Payload payload, size_t offset, size_t count) {
  const size_t there = std::min(count, (payload.size() - offset) / sizeof(T));
  return there == 0 ? std::span<const T>{} : std::span(&libspan::view<T>(payload.data() + offset), there);
}

Words hexadecimal(uint32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", number);
  return text;
}

Words name_of(const chassis::Chassis& chassis, uint32_t if_index) {
  const chassis::Interface* interface = chassis.find(if_index);
  return interface != nullptr ? interface->name : hexadecimal(if_index);
}

// "fc1/3-4"; ends that are not of one kind are both named in full.
Words range_name(const chassis::Chassis& chassis, uint32_t first, uint32_t last) {
  const Words from = name_of(chassis, first);
  if (last == first) return from;
  const Words to = name_of(chassis, last);
  const size_t number = to.find_last_not_of("0123456789") + 1;
  const bool alike = from.find_last_not_of("0123456789") + 1 == number && from.starts_with(to.substr(0, number));
  return from + (alike ? "-" : " - ") + (alike ? to.substr(number) : to);
}

Words names(const chassis::Chassis& chassis, std::span<const libspan::WireIfRange> ranges) {
  Words all;
  for (const libspan::WireIfRange& range : ranges) {
    if (all.size() > kMaxWords) break;
    if (!all.empty()) all += ", ";
    all += range_name(chassis, get(range.first), get(range.last));
  }
  return all.empty() ? "no interface" : all;
}

Words vsans(const uint8_t (&bits)[SPAN_VSAN_BYTES]) {
  char text[libspan::kRangeTextSize];
  return {text, libspan::put_ranges(text, libspan::VsanSet(bits))};
}

Words session(uint8_t index) { return "session " + std::to_string(index + 1); }

Words destination(const chassis::Chassis& chassis, Payload payload) {
  const auto* request = head<libspan::SetDestRequest>(payload);
  if (request == nullptr) return {};
  const bool remove = libspan::DestOperation{request->operation} == libspan::DestOperation::kRemove;
  return session(request->session_index) + (remove ? ": no" : ":") + " destination " +
         name_of(chassis, get(request->dest_if_index));
}

Words direction(uint8_t bits) {
  return bits == SPAN_RX ? " rx" : bits == SPAN_TX ? " tx" : bits == SPAN_BOTH ? " both" : " no direction";
}

// What of the session is changed, and how.
Words source_change(const libspan::SetSrcConfigRequest& request, const Words& interfaces) {
  const SrcOperation operation{request.operation};
  const SourceType type{request.source_type};
  const bool no = operation == SrcOperation::kRemove || operation == SrcOperation::kRemoveFilter;
  const Words vsan = " vsan " + vsans(request.vsans);
  if (type == SourceType::kVsan) return (no ? "no source" : "source") + vsan;
  if (type == SourceType::kSessionFilter) return (no ? "no filter" : "filter") + vsan;
  const Words source = (no ? "no source " : "source ") + interfaces + direction(request.direction);
  if (no || libspan::VsanSet(request.vsans).empty()) return source;
  return source + (operation == SrcOperation::kRemoveIfFilter ? " no filter" : " filter") + vsan;
}

Words sources(const chassis::Chassis& chassis, Payload payload) {
  const auto* request = head<libspan::SetSrcConfigRequest>(payload);
  if (request == nullptr) return {};
  const auto ranges = tail<libspan::WireIfRange>(payload, sizeof *request, get(request->range_count));
  return session(request->session_index) + ": " + source_change(*request, names(chassis, ranges));
}

Words create_or_delete(const chassis::Chassis& /*chassis*/, Payload payload) {
  const auto* request = head<libspan::DeleteSessionRequest>(payload);
  if (request == nullptr) return {};
  const bool create = libspan::SessionAction{request->action} == libspan::SessionAction::kCreate;
  Words text = create ? "create session" : "delete session";
  const char* separator = " ";
  for (const uint8_t index : tail<uint8_t>(payload, sizeof *request, request->count)) {
    text.append(separator).append(std::to_string(index + 1));
    separator = ", ";
  }
  return text;
}

Words suspend_or_resume(const chassis::Chassis& /*chassis*/, Payload payload) {
  const auto* request = head<libspan::SetSessionStateRequest>(payload);
  if (request == nullptr) return {};
  const bool suspend = libspan::SessionState{request->state} == libspan::SessionState::kSuspend;
  return session(request->session_index) + (suspend ? ": suspend" : ": resume");
}

Words mode_name(uint32_t mode) {
  switch (chassis::PortMode{mode}) {
    case chassis::PortMode::kNormal:
      return "normal";
    case chassis::PortMode::kSpanDestination:
      return "span-destination";
    case chassis::PortMode::kTunnelSource:
      return "tunnel-source";
  }
  return std::to_string(mode);
}

Words port_mode(const chassis::Chassis& chassis, Payload payload) {
  const auto* request = head<libspan::PortConfigRequest>(payload);
  if (request == nullptr || payload.size() < sizeof *request + sizeof(span_cfg_tlv_t)) return {};
  const Payload body = payload.first(payload.size() - sizeof(span_cfg_tlv_t));
  const auto& entry = libspan::view<span_cfg_tlv_t>(payload.data() + body.size());
  return names(chassis, tail<libspan::WireIfRange>(body, sizeof *request, get(request->range_count))) + ": port mode " +
         mode_name(get(entry.value));
}

Words threshold(const chassis::Chassis& /*chassis*/, Payload payload) {
  const auto fields = tlv::decode(payload);
  if (!fields) return {};
  const auto found = std::ranges::find(*fields, uint16_t{1}, &tlv::Field::tag);
  if (found == fields->end()) return {};
  return "drop threshold " + (found->value == 0xFFFFFFFF ? Words("default") : std::to_string(found->value));
}

struct Describer {
  Opcode opcode;
  Words (*words)(const chassis::Chassis& chassis, Payload payload);
};

constexpr Describer kDescribers[] = {
    {Opcode::kSetDestInfo, destination},        {Opcode::kSetSrcConfig, sources},
    {Opcode::kDeleteSession, create_or_delete}, {Opcode::kSetSessionState, suspend_or_resume},
    {Opcode::kPortConfig, port_mode},           {Opcode::kGlobalInfo, threshold},
};

}  // namespace

std::string describe(const chassis::Chassis& chassis, uint32_t opcode, std::span<const uint8_t> payload) {
  const auto* found = std::ranges::find(kDescribers, Opcode{opcode}, &Describer::opcode);
  Words words = found == std::end(kDescribers) ? Words() : found->words(chassis, payload);
  if (words.empty()) words = "request " + std::to_string(opcode) + ", " + std::to_string(payload.size()) + " bytes";
  if (words.size() > kMaxWords) words.replace(kMaxWords - 3, Words::npos, "...");
  return words;
}

}  // namespace manager
