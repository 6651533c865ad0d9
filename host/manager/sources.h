// Rules for what a session mirrors: source interfaces with their filters, source VSANs, the session's filter.
#ifndef HOST_MANAGER_SOURCES_H
#define HOST_MANAGER_SOURCES_H

#include <cstdint>
#include <optional>

#include "feature/span/lib/internal/wire.h"
#include "host/manager/config.h"

namespace manager {

struct SourceChange {
  libspan::SourceType type;
  libspan::SrcOperation operation;
  uint8_t direction;  // bits SPAN_RX and SPAN_TX
  Vsans vsans;

  bool names_interfaces() const {
    return type == libspan::SourceType::kInterface || type == libspan::SourceType::kPortChannel ||
           type == libspan::SourceType::kInband;
  }
};

// The type of request that names the interface, none = it is never a source.
std::optional<libspan::SourceType> source_type_of(const chassis::Interface& interface);

struct VsanOutcome {
  uint32_t result = 0;  // a reason; the VSANs that are not refused are changed all the same
  Vsans refused;
};

// Why the change makes no sense, whatever the session; 0 = it does.
uint32_t refusal(const SourceChange& change);

// Those VSANs of the change that the switch does not have.
Vsans unusable_vsans(const Switch& on, const SourceChange& change);

// The change for one interface, in every direction that it names or in none. Returns 0 or the reason.
uint32_t change_source(Switch& on, Session& session, const SourceChange& change, uint32_t if_index);

// The change for its VSANs.
VsanOutcome change_vsans(const Switch& on, Session& session, const SourceChange& change);

}  // namespace manager

#endif
