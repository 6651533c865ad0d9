/* Debug and event history.
 *
 * Provided by the host process, called by libspan. */
#ifndef PLATFORM_TARN_H
#define PLATFORM_TARN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Returns 0 when events of this number are recorded. */
int tarn_hist_event_subtype_check(uint32_t facility, uint32_t event);

/* Records an event: `length` bytes of `record`, a 32-bit event number in host order and a text with its NUL. */
int tarn_hist_event(uint32_t facility, uint32_t length, const void *record);

/* Returns nonzero when debug output of this event is on. The last three arguments are 0, 0 and 1. */
int tarn_chk_int(uint32_t event, uint32_t, uint32_t, uint32_t);

/* Name of the module that debugs, for murmur(). */
extern uint32_t tarn_dbg_modname[];

/* Debug output; printf format. */
int murmur(int level, void *modname, uint32_t zero, const char *format, ...);

/* Asks `function` of the process behind `service` to dump what `record` names into its own debug output. */
uint32_t tarn_debug_dump(uint32_t queue, uint32_t, uint32_t service, const void *record, uint32_t length,
                         const char *function);

#ifdef __cplusplus
}
#endif

#endif
