/* Module inventory of the chassis.
 *
 * Provided by the host process, called by libspan. */
#ifndef PLATFORM_INVENTORY_H
#define PLATFORM_INVENTORY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Fills a record of 16 bytes whose first two bytes are the numbers of the supervisor modules. Returns a negative value
 * on failure. */
int get_platform_info(void *record);

/* One module of the chassis; entry i of the table describes module i + 1. */
typedef struct {
  uint8_t unused1[2];
  uint8_t present;      /* nonzero: a module is in the slot */
  uint8_t node_address; /* of the module, for the message transport */
  uint8_t online;       /* nonzero: the module runs */
  uint8_t unused2[11];
} rook_module_t;

/* Fills `entries` entries of rook_module_t. */
int rook_get_all_modules_in_chassis(uint32_t queue, void *table, uint32_t entries);

/* Sends the module information request for one module and leaves the handle of the message sent in `message`, which
 * the caller releases with quill_drop(). Returns nonzero on failure. */
int wren_get_module_info(uint32_t queue, void *message, uint32_t module);

#ifdef __cplusplus
}
#endif

#endif
