/* Shell library: what the operator may see, error texts of the transport, scripts.
 *
 * Provided by the host process, called by libspan. */
#ifndef PLATFORM_BRIO_H
#define PLATFORM_BRIO_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Display permissions. `display_ctx` is the address of the permission context in the shell's command record. Nonzero
 * when the operator may see the VSAN or the interface. */
int brio_is_vsan_allowed(const void *display_ctx, uint32_t vsan);
int brio_is_interface_display_allowed(uint32_t queue, const void *display_ctx, uint32_t if_index);

/* Tells the operator about a transport error, `error` as quill_errno_get() gave it. */
void brio_print_quill_error_message(uint32_t severity, uint32_t error);

/* Runs each line of a file as a command of the shell. Returns 0, or nonzero when the file cannot be read. */
int brio_execute_script_file(const char *path);

#ifdef __cplusplus
}
#endif

#endif
