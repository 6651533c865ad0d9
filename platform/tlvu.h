/* TLV codec: plain records to and from tag-length-value text, driven by a table.
 *
 * Provided by the host process, called by libspan. */
#ifndef PLATFORM_TLVU_H
#define PLATFORM_TLVU_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A description table is one header, one row for each field of the record, and a terminating row whose tag is
 * TLVU_END. 16 + 48 x rows bytes where a pointer has 4 bytes. */
#define TLVU_END 0xFFFFFFFFu

typedef struct {
  uint32_t struct_size; /* of the record, bytes */
  const char *name;     /* of the record */
  uint32_t zero[2];
} tlvu_table_header_t;

typedef struct {
  uint32_t tag;
  uint32_t width;  /* bytes */
  uint32_t offset; /* in the record, bytes */
  uint32_t count;  /* 1 = a single value */
  uint32_t zero[4];
  uint32_t word8;  /* 0 in a field, TLVU_END in the terminating row */
  uint32_t word9;  /* 4 in a field, TLVU_END in the terminating row */
  uint32_t word10; /* TLVU_END */
  uint32_t word11; /* 0 */
} tlvu_field_t;

/* Encodes `record`. *tlv is set to a malloc block of *length bytes, the caller's to free; it may be set on failure
 * too. a, b and c are the codec's own options, 0 for plain use. Returns 0 or the codec's status. */
uint32_t tlvu_table_convert_struct_to_tlv(void **tlv, uint32_t *length, const void *table, const void *record,
                                          uintptr_t a, uintptr_t b, uintptr_t c);

/* Decodes `tlv` into a record that the codec allocates with malloc; the caller frees *record, which may be set on
 * failure too. Returns 0 or the codec's status. */
uint32_t tlvu_table_convert_tlv_to_struct(void **record, const void *tlv, uintptr_t a, const void *table, uintptr_t b);

/* Stores the size in bytes of the record that `tlv` decodes to. Returns 0 or the codec's status. */
uint32_t tlvu_table_get_struct_size_from_tlv(uint32_t *size, const void *tlv, uintptr_t zero, const void *table);

/* The bytes that `record` takes when encoded. */
uint32_t tlvu_table_size(const void *table, const void *record);

/* Access to single fields of an encoded record. The words a to e are the codec's own. */
uint32_t tlvu_get_field(uintptr_t a, uintptr_t b, uintptr_t c, uintptr_t d, uintptr_t e, const void *table);
uint32_t tlvu_field_itr_init(uintptr_t a, uintptr_t b, uintptr_t c, const void *table, uintptr_t d, uint16_t e);
uint32_t tlvu_field_itr_get_next(uintptr_t itr, uintptr_t a);

/* Reports an error of the codec; printf format. */
void tlvu_error_print(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* The bytes of an array of encoded records; `one` is 1. */
uint32_t tlv_array_size_get(const void *tlv, uint32_t one);

#ifdef __cplusplus
}
#endif

#endif
