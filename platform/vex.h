/* Request/response service: one exchange with a service of the control plane.
 *
 * Provided by the host process, called by libspan. */
#ifndef PLATFORM_VEX_H
#define PLATFORM_VEX_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Kinds of request. */
enum {
  VEX_KIND_QUERY = 1,  /* the service answers with data */
  VEX_KIND_CHANGE = 3, /* the service changes its configuration */
};

/* The result of an exchange whose transport failed. */
#define VEX_TRANSPORT_FAILED 0xFFFFFFFFu

/* Sends one request and waits for its answer.
 *
 * opcode      what is asked; its meaning belongs to the service
 * kind        VEX_KIND_QUERY or VEX_KIND_CHANGE; any other value is passed to the service as it is
 * payload     the request, `*length` bytes; stays the caller's, is only read
 * response    the answer is stored here; the caller sets it to null before. Where there is an answer it is one malloc
 *             block without a length of its own, which the caller releases with free, whatever the result
 * length      bytes of payload to send
 * requester1, requester2   who asks: two strings for the service's log, passed on untouched; either may be null
 * service     number of the service
 * queue       the caller's message-queue handle
 * option      option bits of the exchange
 *
 * Returns 0 when the exchange took place and an answer is stored; otherwise a nonzero code, VEX_TRANSPORT_FAILED
 * meaning that quill_errno_get() tells how. */
uint32_t vex_req_resp(uint32_t opcode, uint32_t kind, void *payload, void **response, uint32_t *length,
                      const char *requester1, const char *requester2, uint32_t service, uint32_t queue,
                      uint32_t option);

#ifdef __cplusplus
}
#endif

#endif
