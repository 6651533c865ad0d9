// Layouts of the port manager's source information messages. Their counts are trusted like those of a response.
#ifndef LIBSPAN_INTERNAL_PM_WIRE_H
#define LIBSPAN_INTERNAL_PM_WIRE_H

#include <cstddef>
#include <cstdint>

#include "libspan.h"

namespace libspan {

// Its body starts behind the head.
struct PmHead {
  uint8_t unused1[4];
  uint8_t kind;
  uint8_t unused2[4];
};
static_assert(offsetof(PmHead, kind) == 4 && sizeof(PmHead) == 9);

struct PmIf {
  span_net_if_t if_index;
  uint8_t is_valid;
  uint8_t is_pch;
  span_net_if_t if_pch;
  uint8_t unused[12];
};
static_assert(offsetof(PmIf, is_valid) == 4 && offsetof(PmIf, is_pch) == 5 && offsetof(PmIf, if_pch) == 6);
static_assert(sizeof(PmIf) == 22 && alignof(PmIf) == 1);

// Behind a PmIf that is valid.
struct PmIfVsans {
  uint8_t unused[4];
  uint8_t vsans[SPAN_VSAN_BYTES];
};
static_assert(offsetof(PmIfVsans, vsans) == 4 && sizeof(PmIfVsans) == 516 && alignof(PmIfVsans) == 1);

// Behind a valid one `member_count` interfaces.
struct PmPch {
  span_net_if_t if_index;
  uint8_t validity;
  uint8_t unused[4];
  uint8_t vsans[SPAN_VSAN_BYTES];
  span_be32_t member_count;
};
static_assert(offsetof(PmPch, validity) == 4 && offsetof(PmPch, vsans) == 9 && offsetof(PmPch, member_count) == 521);
static_assert(sizeof(PmPch) == 525 && alignof(PmPch) == 1);

// Behind it a PmVsan for each member of `vsans`.
struct PmVsanBody {
  uint8_t unused[4];
  uint8_t vsans[SPAN_VSAN_BYTES];
};
static_assert(offsetof(PmVsanBody, vsans) == 4 && sizeof(PmVsanBody) == 516 && alignof(PmVsanBody) == 1);

// Behind it `member_count` interfaces, always with their VSANs. Without the flag there are none, whatever is counted.
struct PmVsan {
  span_be32_t vsan;
  uint8_t flag;
  span_be32_t member_count;
};
static_assert(offsetof(PmVsan, flag) == 4 && offsetof(PmVsan, member_count) == 5);
static_assert(sizeof(PmVsan) == 9 && alignof(PmVsan) == 1);

}  // namespace libspan

#endif
