// Interface lists of session records.
#ifndef LIBSPAN_INTERNAL_IF_LIST_H
#define LIBSPAN_INTERNAL_IF_LIST_H

#include <cstdint>
#include <span>

#include "internal/bytes.h"
#include "libspan.h"

namespace libspan {

using IfList = std::span<const span_net_if_t>;

// The list that starts here, a count and that many interfaces; the cursor goes behind it.
inline IfList take_if_list(Cursor& cursor) {
  const uint32_t count = get(*cursor.take<span_be32_t>());
  return {cursor.take<span_net_if_t>(count), count};
}

// The two source lists of a session, as the walkers of libspan.h take them.
struct SourceLists {
  const void* rx;
  const void* tx;
};

inline SourceLists source_lists(const span_session_info_t& session) {
  Cursor cursor(session.rx_if_count.b);
  take_if_list(cursor);
  return {session.rx_if_count.b, cursor.at()};
}

// The source interfaces of a session.
struct SourceIfs {
  IfList rx;
  IfList tx;
};

inline SourceIfs source_ifs(const span_session_info_t& session) {
  Cursor cursor(session.rx_if_count.b);
  const IfList rx = take_if_list(cursor);
  return {rx, take_if_list(cursor)};
}

}  // namespace libspan

#endif
