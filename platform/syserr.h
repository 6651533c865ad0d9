/* Texts of status words.
 *
 * Provided by the host process, called by libspan. */
#ifndef PLATFORM_SYSERR_H
#define PLATFORM_SYSERR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The text of a status word, never null, without a line end. It stays the platform's. */
const char *syserr2str(uint32_t status);

#ifdef __cplusplus
}
#endif

#endif
