// The trace event: a step of an operation, recorded in the event history and printed as debug output.
#ifndef LIBSPAN_INTERNAL_TRACE_H
#define LIBSPAN_INTERNAL_TRACE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "platform/tarn.h"

namespace libspan {

constexpr uint32_t kTraceFacility = 0x730000;

struct TraceRecord {
  uint32_t event;
  char text[512];
};
static_assert(offsetof(TraceRecord, text) == 4);

// Records the event in the history, when the history takes it. Longer texts are cut.
template <class... Args>
void trace_history(uint32_t event, const char* format, Args... args) {
  if (tarn_hist_event_subtype_check(kTraceFacility, event) != 0) return;
  TraceRecord record;
  record.event = event;
  const int written = std::snprintf(record.text, sizeof record.text, format, args...);
  const auto length = static_cast<size_t>(std::clamp(written, 0, static_cast<int>(sizeof record.text) - 1));
  tarn_hist_event(kTraceFacility, static_cast<uint32_t>(offsetof(TraceRecord, text) + length + 1), &record);
}

template <class... Args>
void trace_debug(const char* format, Args... args) {
  murmur(1, &tarn_dbg_modname, 0, format, args...);
}

// Trace event `event` with a text. The result of the operation never depends on it.
template <class... Args>
void trace(uint32_t event, const char* format, Args... args) {
  trace_history(event, format, args...);
  if (tarn_chk_int(event, 0, 0, 1) != 0) trace_debug(format, args...);
}

}  // namespace libspan

#endif
