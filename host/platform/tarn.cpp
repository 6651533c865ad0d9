#include "platform/tarn.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>

#include "host/platform/state.h"
#include "host/platform/status.h"
#include "platform/syserr.h"

namespace host {
namespace {

constexpr size_t kEventsKept = 1024;
constexpr size_t kEventText = 512;

std::deque<HistoryEvent>& history() {
  static std::deque<HistoryEvent> events;
  return events;
}

bool debug_is_on = false;

std::string without_line_end(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

constexpr uint32_t kManagerAddress = 0xFE000000;

// The debug output of the manager goes to the operator's screen.
uint32_t dump(const char* function, std::span<const uint8_t> record) {
  manager::Dump dump;
  if (const int error = running()->link->dump(function, record, dump)) return unreachable(error);
  std::fputs(dump.text.c_str(), stdout);
  return dump.status != 0 ? unhandled(dump.status) : 0;
}

// The handlers of the library leave it to this service to tell the operator.
uint32_t told(uint32_t status) {
  if (status != 0) std::printf("Error: debug dump: %s\n", syserr2str(status));
  return status;
}

int record_event(std::span<const uint8_t> record) {
  HistoryEvent event = {};
  std::memcpy(&event.event, record.data(), sizeof event.event);
  const auto* text = reinterpret_cast<const char*>(record.data() + sizeof event.event);
  event.text.assign(text, strnlen(text, std::min(record.size() - sizeof event.event, kEventText)));
  if (history().size() == kEventsKept) history().pop_front();
  history().push_back(std::move(event));
  return 0;
}

}  // namespace

void set_debug_output(bool on) { debug_is_on = on; }

bool debug_output() { return debug_is_on; }

void debug_line(const char* module, const char* text) {
  const size_t length = std::strlen(text);
  const bool ends = length != 0 && text[length - 1] == '\n';
  std::fprintf(stderr, "%s: %s%s", module, text, ends ? "" : "\n");
}

std::vector<HistoryEvent> event_history() { return {history().begin(), history().end()}; }

std::string event_history_text() {
  std::string out;
  for (const HistoryEvent& each : history()) {
    out += std::to_string(each.event) + " " + without_line_end(each.text) + "\n";
  }
  return out;
}

}  // namespace host

using namespace host;

uint32_t tarn_dbg_modname[2] = {std::bit_cast<uint32_t>(std::array<char, 4>{'s', 'p', 'a', 'n'}), 0};

int tarn_hist_event_subtype_check(uint32_t, uint32_t) { return 0; }

int tarn_hist_event(uint32_t, uint32_t length, const void* record) {
  if (record == nullptr || length <= sizeof(uint32_t)) return -1;
  return guarded([&] { return record_event({static_cast<const uint8_t*>(record), length}); }, [] { return -1; });
}

int tarn_chk_int(uint32_t, uint32_t, uint32_t, uint32_t) { return debug_is_on ? 1 : 0; }

int murmur(int, void* modname, uint32_t, const char* format, ...) {
  if (!debug_is_on || format == nullptr) return 0;
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (length < 0) return length;
  debug_line(modname != nullptr ? static_cast<const char*>(modname) : "debug", text);
  return length;
}

uint32_t tarn_debug_dump(uint32_t queue, uint32_t address, uint32_t service, const void* record, uint32_t length,
                         const char* function) {
  const bool known = address == kManagerAddress && service == kSpanManager;
  if (!known || function == nullptr || (record == nullptr && length != 0)) return told(refused(kNoDebugDump));
  if (running() == nullptr || queue != switch_queue()) return told(unreachable(EBADF));
  const std::span<const uint8_t> bytes = {static_cast<const uint8_t*>(record), length};
  return told(guarded([&] { return dump(function, bytes); }, [] { return unreachable(ENOMEM); }));
}
