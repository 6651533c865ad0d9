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

// How an interface is named in a source configuration, by its type, when it is not a plain port channel.
inline SourceType source_type_of(uint8_t type) {
  return type == IF_INDEX_TYPE_INBAND ? SourceType::kInband : SourceType::kInterface;
}

}  // namespace libspan

#endif
