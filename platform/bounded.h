/* Copies that know the size of what they write to.
 *
 * Provided by the host process, called by libspan. `size` is the size in bytes of the block at `to`; nothing is
 * written beyond it. Each returns `to`. */
#ifndef PLATFORM_BOUNDED_H
#define PLATFORM_BOUNDED_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void *__memcpy_to_buf(uint32_t size, void *to, const void *from, uint32_t count);
void *__memset_to_buf(uint32_t size, void *to, int byte, uint32_t count);
char *__strcat_to_buf(uint32_t size, char *to, const char *piece); /* the text stays NUL-terminated */

#ifdef __cplusplus
}
#endif

#endif
