// What an interface is, as sources of a session need to know it.
#ifndef LIBSPAN_INTERNAL_IF_CLASS_H
#define LIBSPAN_INTERNAL_IF_CLASS_H

#include <cstdint>

#include "internal/wire.h"
#include "libspan.h"
#include "platform/if_index.h"

namespace libspan {

// The platform's type of an interface, 0 when it is not known.
inline uint8_t if_type(uint32_t if_index) {
  uint8_t type = 0;
  return if_index_get_type(if_index, &type) == 0 ? type : uint8_t{0};
}

// How an interface is named in a source configuration.
struct SourceClass {
  SourceType source_type;
  uint8_t type;  // the platform's
};

inline SourceClass source_class_of(uint32_t if_index) {
  if (span_check_pch_subtype(if_index, IF_INDEX_PORT_CHANNEL_PLAIN) != 0) {
    return {SourceType::kPortChannel, IF_INDEX_TYPE_PORT_CHANNEL};
  }
  const uint8_t type = if_type(if_index);
  return {type == IF_INDEX_TYPE_INBAND ? SourceType::kInband : SourceType::kInterface, type};
}

}  // namespace libspan

#endif
