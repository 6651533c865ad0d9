/* Message transport: single messages to a process on this or another module.
 *
 * Provided by the host process, called by libspan. */
#ifndef PLATFORM_QUILL_H
#define PLATFORM_QUILL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A message handle is a block of the caller, at least this many bytes, zeroed before its first use. */
enum { QUILL_MESSAGE_SIZE = 64 };

/* How to wait for an answer. The words without a name are 0. */
typedef struct {
  uint32_t wait;    /* 1 = wait for the answer to one request */
  uint32_t zero1;
  uint32_t timeout; /* in the transport's own unit */
  uint32_t token;   /* quill_rr_token_get() of the message that was sent */
  uint32_t zero2[6];
} quill_recv_options_t;

/* Sends `length` bytes of `payload` to `service` at `address`. `message` becomes the handle of the message sent and is
 * released with quill_drop(). The payload stays the caller's. The last two arguments are 0. Returns -1 on failure. */
int quill_send(uint32_t queue, uint32_t address, uint32_t service, uint32_t opcode, const void *payload,
               uint32_t length, void *message, uint32_t, uint32_t);

/* Waits for a message as `options` (quill_recv_options_t, 40 bytes) say and stores its handle in `message`, which the
 * caller releases with quill_drop(). Returns 0, or -1 on failure. */
int quill_recv(uint32_t queue, void *message, const void *options);

/* Releases what the handle holds; the handle's own block stays the caller's. */
int quill_drop(uint32_t queue, void *message);

/* The payload of a received message, or null when it has none. It lives as long as the message. */
void *quill_payload_get(const void *message);

/* The token that ties the answer to the message that was sent. */
uint32_t quill_rr_token_get(const void *message);

/* The last transport error of this queue. */
uint32_t quill_errno_get(uint32_t queue);

#ifdef __cplusplus
}
#endif

#endif
