/* libspan: client library of the switch's port mirroring.
 *
 * A mirroring session, 1 to 16, copies the frames of source interfaces or VSANs to one destination. The sessions live
 * in the SPAN manager, another process. Each function here is called from the command shell or the SNMP agent, does
 * one job and returns: it builds a request, exchanges it with the manager, and prints text or fills records.
 *
 * Five conventions hold throughout.
 *
 *   Blocks     A block that a function hands out comes from malloc and is the caller's to free(), also after a failed
 *              call where one was stored. No response carries its length.
 *   Borrowed   Pointers that go in are read during the call only; nothing is kept. Requester strings may be null.
 *   Out        An out-argument is written on success; it is written on failure only where its function says so.
 *              `response_out` is handed to the exchange as it is: the caller sets it to null first.
 *   Strings    Text ends with NUL. A requester string goes out with its first 59 (the second one: 39) characters.
 *   Threads    None. A host process calls the library from one thread.
 *
 * Results are status words: 0 is success, 1 a failed allocation, all others are platform status words (SPAN_E_ below,
 * or the manager's own). "Prints" means standard output. `queue` is the caller's message-queue handle. */
#ifndef LIBSPAN_H
#define LIBSPAN_H

#include <stdint.h>

#include "platform/if_index.h"
#include "platform/tlvu.h"

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/* ---- Status words ------------------------------------------------------------------------------------------------ */

#define SPAN_OK 0u
#define SPAN_E_NO_MEMORY 1u
#define SPAN_E_BAD_ARGUMENT 0x40290000u       /* port configuration: a needed argument is missing */
#define SPAN_E_EXCHANGE 0x40340008u           /* session query: the manager could not be asked */
#define SPAN_E_SNMP_FAILED 0x40340000u        /* SNMP: the manager could not be asked or its answer not be used */
#define SPAN_E_SNMP_NO_SESSION 0x40340002u    /* SNMP: the session is not present, or the table ends */
#define SPAN_E_SNMP_NO_SOURCE 0x40340004u     /* SNMP: the source interface is not present, or the table ends */
#define SPAN_E_INVALID_PARAM 0x40340015u      /* null queue handle or argument */
#define SPAN_E_STANDBY 0x4034002Bu            /* the manager is a stateless standby */
#define SPAN_E_TLV_TYPE 0x40340035u           /* configuration TLV type not handled */
#define SPAN_E_NO_RESPONSE 0x40340036u        /* port configuration: no response payload */
#define SPAN_E_SOURCE_VSANS_FIRST 0x4034003Bu /* two overall results for source VSANs that are told also when no */
#define SPAN_E_SOURCE_VSANS_LAST 0x4034003Cu  /* VSAN was refused */
#define SPAN_E_SNMP_WRONG_SESSION 0x40340044u /* SNMP: session number outside 1 to 16 */
#define SPAN_E_SNMP_WRONG_IF 0x40340045u      /* SNMP: the interface is not known, or not fit for the role */
#define SPAN_E_SNMP_WRONG_VSAN 0x40340046u    /* SNMP: a VSAN that may not be configured, or was refused */
#define SPAN_E_SNMP_WRONG_SOURCE 0x40340048u  /* SNMP: an interface of this type may not be a source */

/* ---- Fields that travel ------------------------------------------------------------------------------------------ */

/* A field of a request or a response says by its type in which order its bytes are. All have alignment 1. */
typedef struct { uint8_t b[2]; } span_be16_t;   /* number, big-endian */
typedef struct { uint8_t b[4]; } span_be32_t;   /* number, big-endian */
typedef struct { uint8_t b[4]; } span_host32_t; /* number, host order */
typedef struct { uint8_t b[4]; } span_net_if_t; /* interface index, order of hton_if_index() */

/* ---- Records shared by requests and screens ---------------------------------------------------------------------- */

enum {
  SPAN_SESSIONS = 16,
  SPAN_VSANS = 4096,
  SPAN_VSAN_BYTES = 512,
  SPAN_IF_RANGES = 64,
};

/* Directions of a source, as codes of requests. */
enum { SPAN_RX = 1, SPAN_TX = 2, SPAN_BOTH = 3 };

/* Operational states of a session; any other value: there are no active sources. */
enum { SPAN_OPER_ACTIVE = 0, SPAN_OPER_DEST_DOWN = 2, SPAN_OPER_NO_DEST = 4 };

/* A set of VSANs behind a length word. VSAN v is bit 0x80 >> v % 8 of byte v / 8. 516 bytes. */
typedef struct {
  uint32_t length; /* 512 */
  uint8_t bits[SPAN_VSAN_BYTES];
} span_vsan_holder_t;

typedef struct {
  uint32_t first; /* if_index, host order */
  uint32_t last;
} span_if_range_t;

/* The shell's list of interface ranges. 528 bytes. */
typedef struct {
  uint32_t word0;
  uint32_t count; /* ranges in use */
  uint32_t word2;
  uint32_t word3;
  span_if_range_t ranges[SPAN_IF_RANGES];
} span_if_range_list_t;

/* A session as the manager tells it. Right behind it come the ingress interfaces, rx_if_count of them (span_net_if_t),
 * then the number of egress interfaces (span_be32_t) and these. */
typedef struct {
  uint8_t session_id; /* session number - 1 */
  uint8_t configured; /* 0: every other field is without meaning */
  uint8_t oper_state;
  uint8_t reserved1[81];
  span_net_if_t dest_if_index;
  span_be32_t dest_configured;
  span_be32_t admin_suspended;
  uint8_t reserved2[4];
  span_be32_t filter_vsans_len; /* bytes of filter_vsans with a meaning */
  uint8_t filter_vsans[SPAN_VSAN_BYTES];
  uint8_t reserved3[516];
  span_be32_t rx_vsans_len; /* bytes of rx_vsans with a meaning */
  uint8_t rx_vsans[SPAN_VSAN_BYTES];
  span_be32_t rx_if_count;
} span_session_info_t;

/* Response of the session query. */
typedef struct {
  span_be32_t manager_status; /* 0: the record is valid; SPAN_E_STANDBY: the manager has no sessions to tell */
  span_session_info_t session_info;
} span_session_info_res_payload_t;

/* Request for one source interface of a session. 8 bytes. */
typedef struct {
  span_net_if_t if_index; /* given in host order; span_get_src_if_info() turns it round in place */
  uint8_t session_index;  /* session number - 1 */
  uint8_t direction;      /* SPAN_RX or SPAN_TX */
  uint8_t unused[2];
} span_src_if_info_req_t;

/* Names of the traffic that a port channel of subtype 2 carries; lies at offset 18 of span_src_if_info_res_t. */
typedef struct {
  uint8_t unused[4];
  uint8_t target;
  uint8_t mgmt;
  uint8_t initiator;
} span_traffic_names_t;

/* The detail of a port channel of subtype 2 whose traffic type is present. 520 bytes. */
typedef struct {
  uint8_t target;
  uint8_t mgmt;
  uint8_t initiator;
  uint8_t unused[5];
  uint8_t filter_vsans[SPAN_VSAN_BYTES];
} span_service_source_t;

/* Response for one source interface. 542 bytes. */
typedef struct {
  span_net_if_t if_index;
  uint8_t valid; /* 1: the interface is a source of the session in the direction asked for */
  uint8_t unused[9];
  uint8_t rx_filter; /* nonzero: there is a VSAN filter */
  uint8_t tx_filter;
  uint8_t rx_traffic_type; /* nonzero: a port channel of subtype 2 carries the traffic named below */
  uint8_t tx_traffic_type;
  span_net_if_t member_if_index; /* shown instead of a port channel of subtype 2 */
  uint8_t detail[520];           /* the filter's VSANs, 512 bytes; with a traffic type: span_service_source_t */
} span_src_if_info_res_t;

/* Result of one interface of a source configuration. */
typedef struct {
  span_net_if_t if_index;
  span_be32_t result; /* 0 = accepted */
} span_if_result_t;

/* Result of a source configuration; behind it if_count results of interfaces (span_if_result_t). */
typedef struct {
  uint8_t unused;
  uint8_t source_type; /* as in the request */
  uint8_t unused2[2];
  span_be32_t result; /* overall; 0 = done */
  span_be32_t if_count;
  uint8_t unused3[4];
  uint8_t refused_vsans[SPAN_VSAN_BYTES];
} span_set_src_config_res_t;

/* Configuration entry, 6 bytes. Only type 1, a number of 32 bits, is handled. */
typedef struct {
  uint8_t type;
  uint8_t length; /* of the value, bytes */
  span_be32_t value;
} span_cfg_tlv_t;

/* Global information: the drop threshold. 12 bytes, host order; encoded with span_global_info_payload_tbl. */
enum { SPAN_GLOBAL_WRITE = 0, SPAN_GLOBAL_READ = 1 };

typedef struct {
  uint32_t threshold; /* packets that may be queued for mirroring; 0xFFFFFFFF resets it to the manager's default */
  uint32_t operation; /* SPAN_GLOBAL_READ or SPAN_GLOBAL_WRITE */
  uint32_t result;    /* the manager's result of a write */
} span_global_info_payload_t;

typedef struct {
  uint32_t value;
} span_global_admin_info_tlv_data_t;

/* Descriptions of the two records for the TLV codec. */
typedef struct {
  tlvu_table_header_t header;
  tlvu_field_t fields[4]; /* the last one ends the table */
} span_global_info_payload_tbl_t;

typedef struct {
  tlvu_table_header_t header;
  tlvu_field_t fields[2];
} span_global_admin_info_tlv_data_tbl_t;

extern span_global_info_payload_tbl_t span_global_info_payload_tbl;
extern span_global_admin_info_tlv_data_tbl_t span_global_admin_info_tlv_data_tbl;

/* ---- Rows of the SNMP tables ------------------------------------------------------------------------------------- */

enum { SPAN_SNMP_GET_REQ = 1, SPAN_SNMP_GETNEXT_REQ = 2 }; /* kinds of read */

typedef struct {
  uint32_t session;      /* 1 to 16 */
  uint32_t destination;  /* if_index, 0 = none */
  uint32_t admin_status; /* 1 = active, 2 = suspended */
  uint32_t oper_status;  /* 1 = active, 2 = inactive */
  char oper_reason[256];
  uint32_t trailing; /* 0 */
} span_snmp_session_entry_t;

typedef struct {
  uint32_t session; /* 1 to 16 */
  uint32_t if_index;
  uint32_t direction; /* SPAN_RX or SPAN_TX; 0 in a record without a row */
} span_snmp_source_if_entry_t;

typedef struct {
  uint32_t session; /* 1 to 16 */
  uint8_t vsans[SPAN_VSAN_BYTES];
} span_snmp_vsan_entry_t;

typedef struct {
  uint32_t unused;
  uint32_t session;   /* 1 to 16, in the low byte */
  uint32_t operation; /* source VSANs: 4 adds, 8 removes; filter VSANs: 16 adds, 32 removes */
  uint8_t vsans[SPAN_VSAN_BYTES];
} span_snmp_vsan_modify_req_t;

/* ---- Source information of the port manager ---------------------------------------------------------------------- */

/* Decoded records, host order. Each array is one malloc block; the arrays of members go before the arrays that point
 * to them. */
typedef struct {
  uint32_t if_index;
  uint8_t is_valid;
  uint8_t is_pch;       /* 1: the interface belongs to a port channel */
  uint32_t if_pch;      /* that port channel */
  uint32_t vsans_length; /* 512 */
  uint8_t vsans[SPAN_VSAN_BYTES];
} span_pm_src_if_t;

typedef struct {
  uint32_t if_index;
  uint8_t validity; /* 0: invalid, without members */
  uint32_t member_count;
  span_pm_src_if_t *members;
} span_pm_src_pch_t;

typedef struct {
  uint32_t vsan;
  uint8_t flag; /* nonzero: there are members */
  uint32_t member_count;
  span_pm_src_if_t *members;
} span_pm_src_vsan_t;

typedef struct {
  uint32_t count;
  span_pm_src_if_t *ifs;
} span_pm_src_info_if_t;

typedef struct {
  uint32_t count;
  span_pm_src_pch_t *pchs;
} span_pm_src_info_pch_t;

typedef struct {
  uint32_t vsans_length; /* 512 */
  uint8_t vsans[SPAN_VSAN_BYTES];
  span_pm_src_vsan_t *entries; /* one for each member of vsans */
} span_pm_src_info_vsan_t;

enum { SPAN_PM_INTERFACES = 1, SPAN_PM_PORT_CHANNELS = 2, SPAN_PM_VSANS = 3 };

typedef struct {
  uint8_t kind; /* SPAN_PM_*; any other: there is no body */
  union {
    span_pm_src_info_if_t interfaces;
    span_pm_src_info_pch_t port_channels;
    span_pm_src_info_vsan_t vsans;
  } body;
} span_pm_port_info_t;

/* ---- The shell's command record ---------------------------------------------------------------------------------- */

/* Token ids and value types that handlers test. */
enum {
  SPAN_TOKEN_IF_RANGES = 1,     /* value: span_if_range_list_t */
  SPAN_TOKEN_INGRESS = 2,
  SPAN_TOKEN_EGRESS = 3,
  SPAN_TOKEN_FILTER_VSANS = 6,  /* value: first and last VSAN */
  SPAN_TOKEN_PORT_MODE = 12,    /* the next token's value: the mode */
  SPAN_TOKEN_TRAFFIC_MGMT = 17,
  SPAN_TOKEN_TRAFFIC_INITIATOR = 18,
  SPAN_TOKEN_TRAFFIC_TARGET = 19,
  SPAN_TOKEN_CONF_INTF = 0xd030001, /* interfaces of the interface mode; value: span_if_range_list_t */
  SPAN_VALUE_NUMBER = 0x40100001,
};

/* One word of a parsed command. */
typedef struct {
  uint32_t id;
  uint32_t value_type;
  uint32_t unused[2];
  const void *value; /* null for a keyword */
} span_token_t;

enum { SPAN_TOKENS = 77 };

/* A parsed command. Offsets, where a pointer has 4 bytes: negated 12, skip 36, queue 40, requester1 776,
 * requester2 840, tokens 900, display_ctx 1212. */
typedef struct {
  uint8_t token_count;
  uint8_t unused1[11];
  uint32_t negated; /* 1: the "no" form */
  uint32_t unused2[5];
  uint32_t skip; /* nonzero: the port mode command does nothing */
  uint32_t queue;
  uint32_t unused3[183];
  char requester1[64];
  char requester2[60];
  const span_token_t *tokens[SPAN_TOKENS + 1]; /* 1 .. token_count; slot 0 is not used */
  uintptr_t display_ctx[8]; /* the platform's: the library passes its address to the permission checks */
} span_cli_parms_t;

/* ---- Global information ------------------------------------------------------------------------------------------ */

/* span_global_info reads (`operation` 1) or writes (0) the drop threshold. On success *reply is the manager's answer,
 * the caller's to free. *reply must be null before; a null argument, a null queue, or a failed exchange give
 * SPAN_E_INVALID_PARAM, a codec failure its status. Source: SPAN manager, opcode 2019. */
uint32_t span_global_info(uint32_t queue, const char *requester1, const char *requester2,
                          const span_global_info_payload_t *request, span_global_info_payload_t **reply);

/* span_parse_global_info_res_payload decodes a response that the caller holds into a new block; *reply must be null
 * before and is null after a failure. A response that is null or does not start with a 0 byte gives
 * SPAN_E_INVALID_PARAM. */
uint32_t span_parse_global_info_res_payload(const uint8_t *payload, span_global_info_payload_t **reply);

/* Codec wrappers, one set for each record. Each passes its record's table to the TLV codec and returns the codec's
 * result; to_tlv, to_struct and get_struct_sz report a failure with tlvu_error_print(), the last one returns -1 then.
 * The words a to e are the codec's own. Blocks that the codec stores are the caller's to free. */
uint32_t span_global_info_payload_to_tlv(const void *record, void **tlv, uint32_t *length, uintptr_t a, uintptr_t b,
                                         uintptr_t c);
uint32_t span_global_info_payload_to_struct(span_global_info_payload_t **record, const void *tlv, uintptr_t a,
                                            uintptr_t b);
int32_t span_global_info_payload_get_struct_sz(const void *tlv);
uint32_t span_global_info_payload_get_tlv_sz(const void *record);
uint32_t span_global_info_payload_get_field(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e);
uint32_t span_global_info_payload_field_itr_init(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uint16_t e);
uint32_t span_global_info_payload_field_get_next(uintptr_t itr, uintptr_t a);
uint32_t span_global_admin_info_tlv_data_to_tlv(const void *record, void **tlv, uint32_t *length, uintptr_t a,
                                                uintptr_t b, uintptr_t c);
uint32_t span_global_admin_info_tlv_data_to_struct(span_global_admin_info_tlv_data_t **record, const void *tlv,
                                                   uintptr_t a, uintptr_t b);
int32_t span_global_admin_info_tlv_data_get_struct_sz(const void *tlv);
uint32_t span_global_admin_info_tlv_data_get_tlv_sz(const void *record);
uint32_t span_global_admin_info_tlv_data_get_field(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e);
uint32_t span_global_admin_info_tlv_data_field_itr_init(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d,
                                                        uint16_t e);
uint32_t span_global_admin_info_tlv_data_field_get_next(uintptr_t itr, uintptr_t a);

/* ---- Session queries --------------------------------------------------------------------------------------------- */

/* span_get_session_info asks for one session by its number, 1 to 16. On success *valid is 1, *record points at the
 * span_session_info_t inside *response_out (span_session_info_res_payload_t), which the caller frees. The caller tests
 * manager_status before it reads the record. A failed exchange gives SPAN_E_EXCHANGE. `all_flag` is not sent.
 * Source: SPAN manager, opcode 2001. */
uint32_t span_get_session_info(uint32_t queue, const char *requester1, const char *requester2, const uint32_t *session,
                               uint8_t all_flag, uint8_t *valid, uint8_t **record, void **response_out);

/* span_get_session_info_brief asks for several sessions: all of them when `all_flag` is 1, otherwise numbers range[0]
 * to range[1], of which the low bytes count. On success *count is the number of records and *records the first one's
 * address inside *response_out. Source: SPAN manager, opcode 2005. */
uint32_t span_get_session_info_brief(uint32_t queue, const char *requester1, const char *requester2,
                                     const uint32_t *range, uint8_t all_flag, uint8_t *count, uint8_t **records,
                                     void **response_out);

/* Builders of the two requests. *payload is the caller's to free; on failure it is null, while *length and *count
 * are set. */
uint32_t span_const_get_session_info_req_payload(const uint32_t *session, uint8_t all_flag, uint8_t **payload,
                                                 uint32_t *length);
uint32_t span_const_get_session_info_brief_req_payload(const uint32_t *range, uint8_t all_flag, uint8_t *count,
                                                       uint8_t **payload, uint32_t *length);

/* ---- Session configuration requests ------------------------------------------------------------------------------ */

/* Each returns the status of the exchange; *status is the manager's result, written after a successful exchange only.
 * `session_index` is the session number - 1. The caller frees *response_out. A null queue gives SPAN_E_INVALID_PARAM,
 * but span_set_src_config does not test it. */

/* span_set_dest_info adds (operation 1) or removes (2) a session's destination. `destination` and `value` are in host
 * order. Source: SPAN manager, opcode 2000. */
uint32_t span_set_dest_info(uint32_t queue, const char *requester1, const char *requester2, uint8_t session_index,
                            uint8_t operation, uint32_t destination, uint32_t value, uint32_t unused, uint32_t *status,
                            void **response_out);

/* span_set_src_config changes a session's sources or its filter. The VSANs are those of `bitmap`
 * (span_vsan_holder_t), or else vsan_range[0] to vsan_range[1] (those above 4095 are skipped), or else none.
 * `if_ranges` (span_if_range_list_t; its count may exceed 64 when the list has that room) may be null. The response is
 * a span_set_src_config_res_t. Source: SPAN manager, opcode 2002. */
uint32_t span_set_src_config(uint32_t queue, const char *requester1, const char *requester2, uint8_t session_index,
                             uint8_t direction, uint8_t operation, uint8_t source_type, const uint32_t *vsan_range,
                             const void *bitmap, const void *if_ranges, uint32_t unused, void **response_out);

/* span_delete_session deletes (flag 1) or creates (any other flag) `count` sessions. Source: SPAN manager, opcode
 * 2004. */
uint32_t span_delete_session(uint32_t queue, const char *requester1, const char *requester2, uint8_t count,
                             const uint8_t *indexes, uint8_t flag, uint32_t *status, void **response_out);

/* span_set_session_state resumes (flag 1) or suspends (any other flag) a session. Source: SPAN manager, opcode 2006. */
uint32_t span_set_session_state(uint32_t queue, const char *requester1, const char *requester2, uint8_t session_index,
                                uint8_t flag, uint32_t *status, void **response_out);

/* Builders of the four requests. *payload, *length bytes, is the caller's to free. SPAN_E_NO_MEMORY is told on
 * standard output, each in its own words. */
uint32_t span_const_set_dest_info_payload(const char *requester1, const char *requester2, uint8_t session_index,
                                          uint8_t operation, uint32_t destination, uint32_t value, uint8_t **payload,
                                          uint32_t *length);
uint32_t span_const_set_src_config_info_req_payload(const char *requester1, const char *requester2,
                                                    uint8_t session_index, uint8_t direction, uint8_t operation,
                                                    uint8_t source_type, const uint32_t *vsan_range,
                                                    const void *bitmap, const void *if_ranges, uint8_t **payload,
                                                    uint32_t *length);
uint32_t span_const_delete_session_payload(const char *requester1, const char *requester2, uint8_t count,
                                           const uint8_t *indexes, uint8_t flag, uint8_t **payload, uint32_t *length);
uint32_t span_const_set_session_state_payload(const char *requester1, const char *requester2, uint8_t session_index,
                                              uint8_t flag, uint8_t **payload, uint32_t *length);

/* span_encode_cfg_tlv writes a span_cfg_tlv_t: type, length, and for type 1 the value, which is in host order.
 * Any other type gives SPAN_E_TLV_TYPE, type and length being written. */
uint32_t span_encode_cfg_tlv(uint8_t *entry, uint8_t type, uint8_t length, const uint32_t *value);

/* ---- Interfaces and port configuration --------------------------------------------------------------------------- */

/* Predicates: 1 when the interface is known and of that kind, else 0. Source: interface index library. */
int span_is_iscsi_if(uint32_t if_index);
int span_is_fcip_if(uint32_t if_index);
int span_is_rspan_tunnel_if(uint32_t if_index);

/* span_check_pch_subtype: 1 when the interface is a known port channel of that subtype, else 0; 0 for interface 0.
 * Source: interface index library. */
int span_check_pch_subtype(uint32_t if_index, uint32_t subtype);

/* Walkers over an interface list of a session record: a big-endian count, then interfaces in network order.
 * span_if_list_get_next stores the first entry, in list order, that is greater than `current`; the first of all when
 * `current` is 0; 0 when there is none. span_if_list_if_is_present: 1 when an entry equals `if_index`, else 0. */
void span_if_list_get_next(const void *list, uint32_t current, uint32_t *next);
int span_if_list_if_is_present(const void *list, uint32_t if_index);

/* span_get_src_if_info asks for one source interface of a session. `request` is a span_src_if_info_req_t, whose
 * interface is turned into network order in place. The response is a span_src_if_info_res_t, the caller's to free.
 * Source: SPAN manager, opcode 2010. */
uint32_t span_get_src_if_info(uint32_t queue, const char *requester1, const char *requester2, void *request,
                              void **response_out);

/* span_get_rspan_tunnel_config stores the RSPAN tunnel (host order) of a port (host order); 0 is stored first.
 * Source: SPAN manager, opcode 2016. */
uint32_t span_get_rspan_tunnel_config(uint32_t queue, uint32_t port, uint32_t *tunnel);

/* span_convert_ks_intf_to_ipch replaces the service-module interfaces of a range list by the port channels that carry
 * their traffic: of type 0, 1 or 2, or all three for 255 (-1). The caller's list has room for all of them: three for
 * each interface. On failure the list is untouched. Source: service-module map. */
uint32_t span_convert_ks_intf_to_ipch(uint32_t queue, void *if_ranges, signed char traffic_type);

/* span_vex_set_port_config sets one configuration entry on `count` interface ranges, pairs of first and last in host
 * order. On success *results is an array of *count_out pairs (interface, result), host order, the caller's to free.
 * A null `ranges`, `count_out` or `results`, or a count of 0, give SPAN_E_BAD_ARGUMENT; otherwise both out-arguments
 * are cleared first. Source: SPAN manager, opcode 2014. */
uint32_t span_vex_set_port_config(uint32_t queue, const char *requester1, const char *requester2, uint32_t count,
                                  const uint32_t *ranges, uint8_t tlv_type, uint8_t tlv_length,
                                  const uint32_t *tlv_value, uint32_t *count_out, uint32_t **results);

/* span_parse_set_port_config_res_payload decodes the response of a port configuration and returns its status word.
 * *results is null when there is no response (SPAN_E_NO_RESPONSE) or no memory. */
uint32_t span_parse_set_port_config_res_payload(const void *response, uint32_t *count_out, uint32_t **results);

/* span_snmp_set_port_config sets one number on one interface and returns the first result that is not 0: of the
 * exchange (the transport's error number in place of 0xFFFFFFFF), or of the interface. */
uint32_t span_snmp_set_port_config(uint32_t queue, const char *requester1, const char *requester2, uint32_t if_index,
                                   uint32_t value);

/* ---- Source information of the port manager ---------------------------------------------------------------------- */

/* span_parse_pm_span_get_port_info decodes a port information message into a new span_pm_port_info_t, which the caller
 * frees, as the arrays in it; null when there is no memory for it. The others decode the body of one kind into
 * span_pm_src_info_if_t, span_pm_src_info_pch_t or span_pm_src_info_vsan_t. The message's counts are trusted. Each
 * returns 0, or SPAN_E_NO_MEMORY: counts stay, and an array whose members found no memory is released. */
uint32_t span_parse_pm_span_get_port_info(span_pm_port_info_t **out, const void *message, uint32_t unused);
uint32_t span_parse_pm_src_info_if(void *body_out, const void *body);
uint32_t span_parse_pm_src_info_pch(void *body_out, const void *body);
uint32_t span_parse_pm_src_info_vsan(void *body_out, const void *body);

/* ---- VSAN text, time --------------------------------------------------------------------------------------------- */

/* span_vsan_bitset_sprintf prints the VSANs of a span_vsan_holder_t as ranges, "1-3,7,4095", without a line end, and
 * returns the number of characters. The length word is not read. */
int span_vsan_bitset_sprintf(const void *holder);

/* span_print_time reads the time of day and drops it; returns the result of gettimeofday. Prints nothing. */
int span_print_time(void);

/* ---- Configuration commands -------------------------------------------------------------------------------------- */

/* Handlers of the shell's configuration commands. Each takes its arguments from the end of the token list (L0 is the
 * last token), sends one request, prints the outcome, and returns 0, or 1 for failure. */

/* L0: session number. Creates the session, in the "no" form deletes it. */
uint32_t span_cli_create_session_id(const span_cli_parms_t *parms);

/* L1: session number, L0: interface. Sets the destination, in the "no" form removes it. */
uint32_t span_cli_set_dest_config(const span_cli_parms_t *parms);

/* L0: session number. Suspends the session, in the "no" form resumes it. */
uint32_t span_cli_set_session_state(const span_cli_parms_t *parms);

/* L1: session number, L0: VSAN range. Adds or removes source VSANs. */
uint32_t span_cli_set_src_config_vsan(const span_cli_parms_t *parms);

/* Session number, VSAN range (SPAN_TOKEN_FILTER_VSANS), and maybe a direction keyword whose id is the direction.
 * Adds or removes session filter VSANs. */
uint32_t span_cli_set_src_config_ssn_filter(const span_cli_parms_t *parms);

/* Session number, interface ranges, maybe a direction keyword, a keyword, VSAN range. Adds or removes a VSAN filter on
 * source interfaces. */
uint32_t span_cli_set_src_config_if_dir_filter(const span_cli_parms_t *parms);

/* Session number, interface ranges, maybe a direction keyword, maybe a keyword and a traffic type. Adds or removes
 * source interfaces. The three are one handler. */
uint32_t span_cli_set_src_config_if(const span_cli_parms_t *parms);
uint32_t span_cli_set_src_config_if_dir(const span_cli_parms_t *parms);
uint32_t span_cli_set_src_config_if_dir_traffic_type(const span_cli_parms_t *parms);

/* SPAN_TOKEN_CONF_INTF anywhere, behind it SPAN_TOKEN_PORT_MODE and the mode. Sets the port mode; 0 in the "no"
 * form. */
uint32_t span_cli_set_port_config(const span_cli_parms_t *parms);

/* span_get_set_src_config_cli_params finds the arguments of span_cli_set_src_config_if: the interface ranges, the
 * session number and its index, the direction. What the command does not carry is left as the caller set it.
 * Returns 0. */
uint32_t span_get_set_src_config_cli_params(const span_cli_parms_t *parms, void **if_list, uint32_t **session,
                                            uint8_t *session_index, uint8_t *direction);

/* span_print_cli_parms is a place for debug output; it does nothing. */
void span_print_cli_parms(const span_cli_parms_t *parms);

/* Printers of a span_set_src_config_res_t. The first one picks one of the others by the source type. */
void span_print_set_src_config_info_res(const void *result);
void span_print_src_config_info_res_if(const void *result);
void span_print_src_config_info_res_vsan(const void *result);
void span_print_src_config_info_res_ssn_filter(const void *result);
void span_print_src_config_info_res_src_filter(const void *result);

/* ---- Session display --------------------------------------------------------------------------------------------- */

typedef void (*span_header_printer)(void);
typedef void (*span_row_printer)(const span_cli_parms_t *parms, uint8_t unused, const void *session_record,
                                 uint8_t all_sessions);

/* Handlers of the show commands: in detail, and as a table. They return 0. Source: SPAN manager. */
uint32_t span_cli_show_session_info(const span_cli_parms_t *parms);
uint32_t span_cli_show_session_info_brief(const span_cli_parms_t *parms);

/* span_cli_show_session_info_common asks for the session whose number is the value of token `token_position`, or for
 * all sessions, and hands each record to `row`; `header` goes before the first one shown. Both may be null.
 * Returns 0. */
uint32_t span_cli_show_session_info_common(const span_cli_parms_t *parms, uint32_t token_position,
                                           span_header_printer header, span_row_printer row);

/* Row printers and the table's header. `session_record` is a span_session_info_t. */
void span_print_get_session_info(const span_cli_parms_t *parms, uint8_t unused, const void *session_record,
                                 uint8_t all_sessions);
void span_print_get_session_info_brief(const span_cli_parms_t *parms, uint8_t unused, const void *session_record,
                                       uint8_t all_sessions);
void span_print_session_info_brief_header(void);

/* span_check_is_session_print_allowed: 1 when the operator may see at least one source of the session or the session
 * has none, else 0. Source: the shell's permission checks. */
int span_check_is_session_print_allowed(const span_cli_parms_t *parms, const void *session_record);

/* span_show_src_if_info asks for one source interface (host order) and prints its entry of the interface list.
 * `column` counts the characters on the current line. Returns the result of the query. */
uint32_t span_show_src_if_info(const span_cli_parms_t *parms, uint8_t session_index, uint32_t if_index,
                               uint8_t direction, int32_t *column);

/* span_print_src_if_info prints the entry of a span_src_if_info_res_t. `request` is the span_src_if_info_req_t as it
 * was sent, its interface in network order. Returns 0. */
uint32_t span_print_src_if_info(const void *request, const void *response, int32_t *column);

/* span_print_sp prints `count` blanks. */
void span_print_sp(uint32_t count);

/* span_print_vsan_cfg prints a line for each VSAN of a span_vsan_holder_t: the prefix, a blank, the number; the prefix
 * alone when there is none. */
void span_print_vsan_cfg(const char *prefix, const void *holder);

/* Names of the traffic in `info`, a span_traffic_names_t. strcat_span_ks_info appends "target", "initiator" and "mgmt"
 * to the text, in this order, and returns the number of characters appended. sprintf_ks_info writes each over the one
 * before, so that the last one stays, and returns the sum of their lengths. The text has room: 20 characters more. */
int strcat_span_ks_info(char *text, const void *info);
int sprintf_ks_info(char *text, const void *info);

/* ---- Running configuration --------------------------------------------------------------------------------------- */

/* span_cli_generate_session_config prints the commands that would make every configured session again. Returns 0, or 1
 * when a session could not be asked for; what was printed stays. Source: SPAN manager. */
uint32_t span_cli_generate_session_config(const span_cli_parms_t *parms);

/* span_show_running_session_info prints the commands of one session; nothing for a null record. */
void span_show_running_session_info(const span_cli_parms_t *parms, uint8_t unused, const void *session_record);

/* span_show_src_running_config asks for one source interface (host order) and prints its commands; returns the result
 * of the query. span_print_src_running_config prints the commands of a span_src_if_info_res_t, `request` being the
 * request as it was sent; returns 0. */
uint32_t span_show_src_running_config(const span_cli_parms_t *parms, uint8_t session_index, uint32_t if_index,
                                      uint8_t direction);
uint32_t span_print_src_running_config(const void *request, const void *response);

/* ---- Drop counters ----------------------------------------------------------------------------------------------- */

/* span_cli_get_drop_counters prints the drop counter of each line card that has one. Returns 0, 1, or
 * SPAN_E_INVALID_PARAM for a reply without payload. Source: the line cards' counter service. */
uint32_t span_cli_get_drop_counters(const span_cli_parms_t *parms);

/* syscli_get_module_swid stores the software identity of a module, 1 to 232. Returns 0, the result of the failed
 * request, or 0xFFFFFFFF when there is no reply. Source: module inventory. */
uint32_t syscli_get_module_swid(const span_cli_parms_t *parms, uint32_t module, uint16_t *swid);

/* span_show_send_receive sends one message and waits for its answer in the same handle, which the caller drops after
 * success. `timeout` is in the transport's unit. Returns 0, 1 when it could not be sent, or the transport's error
 * number. Source: message transport. */
uint32_t span_show_send_receive(uint32_t queue, uint32_t address, uint32_t service, uint32_t opcode,
                                const void *payload, uint32_t length, void *message, uint32_t timeout);

/* ---- Drop threshold ---------------------------------------------------------------------------------------------- */

/* Show the drop threshold; set it to L0's number, in the "no" form to the manager's default. Both return 0. */
uint32_t span_cli_get_drop_threshold(const span_cli_parms_t *parms);
uint32_t span_cli_set_drop_threshold(const span_cli_parms_t *parms);

/* ---- Diagnostics ------------------------------------------------------------------------------------------------- */

/* span_cli_print_session_id does nothing; returns 0. */
uint32_t span_cli_print_session_id(const span_cli_parms_t *parms);

/* Dumps: each asks the manager to write something of its inside into its own debug output and returns the result of
 * the debug dump service. L0: a session number, an interface, or a keyword whose id says what. */
uint32_t span_cli_test_adb(uint32_t queue, uint32_t number);
uint32_t span_cli_dump_memstats(const span_cli_parms_t *parms);
uint32_t span_cli_dump_global_info(const span_cli_parms_t *parms);
uint32_t span_cli_dump_session(const span_cli_parms_t *parms);
uint32_t span_cli_dump_if(const span_cli_parms_t *parms);
uint32_t span_cli_eventlog_session(const span_cli_parms_t *parms);
uint32_t span_cli_eventlog_if(const span_cli_parms_t *parms);
uint32_t span_cli_eventlog_stats(const span_cli_parms_t *parms);

/* span_cli_test runs test L0: 0 prints a text and returns its length, 1 to 5 are span_cli_test_adb(), any other number
 * is returned as it is. */
uint32_t span_cli_test(const span_cli_parms_t *parms);

/* Everything about a session, or an interface: four show commands, run by the shell from a script that is removed
 * afterwards. Returns the result of unlink; for an interface without a name, that of sprintf_if_index(). */
uint32_t span_cli_int_all_session(const span_cli_parms_t *parms);
uint32_t span_cli_int_all_if(const span_cli_parms_t *parms);

/* RSPAN tunnel of a port, both in host order. The first returns the tunnel, 0 for none, and prints it as a number; the
 * others print its name and return the status of a failed query, 0 without a tunnel, or the characters printed.
 * Source: SPAN manager, opcode 2016. */
uint32_t span_get_rspan_tunnel_config_for_st_port(uint32_t port, uint32_t queue);
uint32_t span_print_rspan_tunnel_config_for_st_port(uint32_t port, uint32_t queue);
uint32_t span_show_rspan_tunnel_config_for_st_port(uint32_t port, uint32_t queue);

/* ---- SNMP -------------------------------------------------------------------------------------------------------- */

/* Handlers of the agent's tables. Sessions are numbers, 1 to 16; interfaces and rows are in host order. A row is the
 * agent's; who reads it clears it first and fills it on success, while a request that is refused leaves it as it is.
 * Reads ask the manager afresh (opcode 2001), writes send one request (2000, 2002, 2004 or 2006). Results: 0,
 * SPAN_E_SNMP_*, SPAN_E_INVALID_PARAM, or the manager's own result. */

/* To be called before any handler: the address of the agent's queue handle, which is read at each request, and the
 * event number of the handlers' trace events. With event number 0 every trace is debug output. */
void span_snmp_set_quill_q(uint32_t *queue);
void span_snmp_set_tarn(uint32_t value);

/* May the interface be a destination? 0 (no destination) may. */
uint32_t span_snmp_check_if_index_dest(uint32_t if_index);

/* Session table. `_get_curr` reads one row, `_get_next` the first row behind `previous` (0 asks for the first row),
 * `_get` either of them as `kind` says. */
uint32_t span_snmp_session_get_curr(uint32_t session, span_snmp_session_entry_t *row);
uint32_t span_snmp_session_get_next(int32_t previous, span_snmp_session_entry_t *row);
uint32_t span_snmp_session_get(uint32_t session, int32_t kind, span_snmp_session_entry_t *row);

uint32_t span_snmp_session_create(uint32_t session);
uint32_t span_snmp_session_destroy(uint32_t session);
uint32_t span_snmp_session(uint32_t session, uint32_t delete_flag);

/* A destination of 0 removes the one that the session has. */
uint32_t span_snmp_session_dest_set(uint32_t session, uint32_t if_index);

/* 1 resumes the session, any other value suspends it. */
uint32_t span_snmp_session_admin_status_set(uint32_t session, uint32_t admin_status);

/* Source interface table, indexed by session, interface and direction, in this order. `_get_curr` succeeds with a row
 * of zeros when the manager cannot be asked. */
uint32_t span_snmp_source_if_get(uint32_t session, uint32_t if_index, uint32_t direction, uint32_t kind,
                                 span_snmp_source_if_entry_t *row);
uint32_t span_snmp_source_if_get_curr(int32_t session, uint32_t if_index, int32_t direction,
                                      span_snmp_source_if_entry_t *row);
uint32_t span_snmp_source_if_get_next(uint32_t session, uint32_t if_index, uint32_t direction,
                                      span_snmp_source_if_entry_t *row);
uint32_t span_snmp_source_if_get_next_in_session(int32_t session, uint32_t if_index, uint32_t direction,
                                                 span_snmp_source_if_entry_t *row);

/* Is the interface known to the platform? */
uint32_t span_snmp_check_if_index(uint32_t if_index);

uint32_t span_snmp_source_if_create(uint32_t session, uint32_t if_index, int32_t direction);
uint32_t span_snmp_source_if_destroy(uint32_t session, uint32_t if_index, int32_t direction);
uint32_t span_snmp_source_if(uint8_t session, uint32_t if_index, int32_t direction, int32_t add);

/* May the interface be a source? */
uint32_t span_snmp_check_if_index_src(uint32_t if_index);

/* The first result of an interface in a span_set_src_config_res_t that is not 0, else 0. */
uint32_t span_snmp_get_src_config_info_res_if(const void *result);

/* Source VSAN table and VSAN filter table. A modification adds or removes a set of VSANs. When the manager refuses
 * some source VSANs, *refused (`refused` may be null) is a new span_vsan_holder_t of them, the caller's to free. */
uint32_t span_snmp_source_vsan_get_curr(uint32_t session, span_snmp_vsan_entry_t *row);
uint32_t span_snmp_source_vsan_get_next(int32_t previous, span_snmp_vsan_entry_t *row);
uint32_t span_snmp_source_vsan_get(uint32_t session, int32_t kind, span_snmp_vsan_entry_t *row);
uint32_t span_snmp_source_vsan_modify(const span_snmp_vsan_modify_req_t *req, void **refused);
uint32_t span_snmp_vsan_filter_get_curr(uint32_t session, span_snmp_vsan_entry_t *row);
uint32_t span_snmp_vsan_filter_get_next(int32_t previous, span_snmp_vsan_entry_t *row);
uint32_t span_snmp_vsan_filter_get(uint32_t session, int32_t kind, span_snmp_vsan_entry_t *row);
uint32_t span_snmp_vsan_filter_modify(const span_snmp_vsan_modify_req_t *req);

/* May these VSANs (span_vsan_holder_t) be configured? 0, 4094 and 4095 may not. */
uint32_t span_snmp_check_vsan_range(const void *holder);

/* Drop threshold, packets. The get returns the threshold itself, 0 when it cannot be read. The threshold of a session
 * has no effect. Source: SPAN manager, opcode 2019. */
uint32_t span_snmp_drop_threshold_get(void);
uint32_t span_snmp_drop_threshold_set(uint32_t value);
uint32_t span_snmp_session_drop_threshold_set(uint32_t session, uint32_t value);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif

#endif
