/* Codec of the line cards' counter service.
 *
 * Provided by the host process, called by libspan. The blocks that it hands out stay the codec's own. */
#ifndef PLATFORM_HW_COUNTERS_H
#define PLATFORM_HW_COUNTERS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct {
  uint32_t word0;
  uint32_t module_index; /* module number - 1 */
  uint32_t word2;        /* 1 */
} span_hw_counters_request_t;

typedef struct {
  uint32_t word0;
  uint32_t module_index; /* module number - 1 */
  uint32_t word2;
  uint32_t drop_counter; /* packets */
} span_hw_counters_result_t;

/* Encodes a request; stores the payload and its length in bytes. Returns nonzero on failure. */
int span_hw_counters_payload_to_tlv(const void *request, void **payload, uint32_t *consumed, uint32_t,
                                    uint32_t *length, uint32_t);

/* Decodes an answer; stores the address of the result, or null when there is none. Returns nonzero on failure. */
int span_hw_counters_payload_to_struct(void **result, const void *payload, uint32_t, uint32_t);

#ifdef __cplusplus
}
#endif

#endif
