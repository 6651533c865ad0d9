// The tables of port mirroring, read through the library's handlers.
#ifndef HOST_AGENT_TABLES_H
#define HOST_AGENT_TABLES_H

#include <array>
#include <span>

#include "host/agent/asking.h"
#include "libspan.h"

namespace agent {

// Ascending by their places below portMirrorObjects.
std::span<const Table> mirror_tables();

// An index that a table can have: the numbers behind it.
std::optional<uint32_t> session_of(const Oid& index);
std::optional<span_snmp_source_if_entry_t> source_of(const Oid& index);

// The rows that changes look at.
Found read_session(uint32_t session, span_snmp_session_entry_t& row);
Found read_source(const span_snmp_source_if_entry_t& source);
Found read_threshold(uint32_t& threshold);

using VsanBits = std::array<uint8_t, SPAN_VSAN_BYTES>;
constexpr size_t kQuarter = SPAN_VSAN_BYTES / 4;

// Of the source VSAN table or the VSAN filter table.
Found read_vsans(oid table, uint32_t session, VsanBits& vsans);

}  // namespace agent

#endif
