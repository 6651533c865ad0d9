/* Interface index library, and the map from service-module interfaces to port channels.
 *
 * Provided by the host process, called by libspan. An interface index is a 32-bit number in host order unless a
 * function says otherwise. */
#ifndef PLATFORM_IF_INDEX_H
#define PLATFORM_IF_INDEX_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Types of interface. */
enum {
  IF_INDEX_TYPE_FC = 1,
  IF_INDEX_TYPE_PORT_CHANNEL = 4,
  IF_INDEX_TYPE_INBAND = 6,
  IF_INDEX_TYPE_FCIP = 10,
  IF_INDEX_TYPE_ISCSI = 11,
  IF_INDEX_TYPE_SVC = 12,
  IF_INDEX_TYPE_RSPAN_TUNNEL = 15,
};

/* Subtypes of a port channel. */
enum {
  IF_INDEX_PORT_CHANNEL_PLAIN = 0,
  IF_INDEX_PORT_CHANNEL_SERVICE = 2, /* carries one traffic type of a service-module interface */
};

/* Room for any interface name with its NUL: sprintf_if_index() never writes more. */
enum { IF_INDEX_NAME_SIZE = 128 };

/* Stores the type of an interface. Returns 0 when the interface is known; otherwise *type is left as it is. */
int if_index_get_type(uint32_t if_index, uint8_t *type);

/* Stores the subtype of a port channel. Returns 0 when the port channel is known. */
int if_index_port_channel_get_subtype(uint32_t if_index, uint8_t *subtype);

/* The in-band interface of the active supervisor. */
uint32_t if_index_inband_get_active_sup_priority_hi(void);

/* Interface index to and from network order. */
uint32_t hton_if_index(uint32_t if_index);
uint32_t ntoh_if_index(uint32_t if_index);

/* Writes the name of an interface, at most IF_INDEX_NAME_SIZE bytes with its NUL. Returns the length written, or a
 * value below 1 when there is no name. */
int sprintf_if_index(char *text, uint32_t if_index);

/* Maps service-module interfaces to the port channels that carry their traffic. `request`: a 32-bit count, then that
 * many pairs of first and last interface, host order. `seven` is 7. *reply becomes a malloc block, the caller's to
 * free even on failure: a word, a 32-bit count, then ksm_map_entry_t entries. Returns 0 or a status. */
uint32_t ksm_if_to_pch_get_map(uint32_t queue, uint32_t seven, const void *request, void **reply);

typedef struct {
  uint32_t error; /* nonzero: there is no map for this interface */
  uint32_t unused;
  uint32_t port_channel[3]; /* by traffic type: 0 initiator, 1 target, 2 management; 0 = none */
} ksm_map_entry_t;

#ifdef __cplusplus
}
#endif

#endif
