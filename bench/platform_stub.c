/* The platform's functions, so that the library can be loaded. What is measured calls none of them. */
#include <stdint.h>
#include <stdlib.h>

#define STUB(name) \
  void name(void); \
  void name(void) { abort(); }

uint32_t tarn_dbg_modname[1];

STUB(__memcpy_to_buf)
STUB(__memset_to_buf)
STUB(__strcat_to_buf)
STUB(brio_execute_script_file)
STUB(brio_is_interface_display_allowed)
STUB(brio_is_vsan_allowed)
STUB(brio_print_quill_error_message)
STUB(get_platform_info)
STUB(hton_if_index)
STUB(if_index_get_type)
STUB(if_index_inband_get_active_sup_priority_hi)
STUB(if_index_port_channel_get_subtype)
STUB(ksm_if_to_pch_get_map)
STUB(murmur)
STUB(ntoh_if_index)
STUB(quill_drop)
STUB(quill_errno_get)
STUB(quill_payload_get)
STUB(quill_recv)
STUB(quill_rr_token_get)
STUB(quill_send)
STUB(rook_get_all_modules_in_chassis)
STUB(span_hw_counters_payload_to_struct)
STUB(span_hw_counters_payload_to_tlv)
STUB(sprintf_if_index)
STUB(syserr2str)
STUB(tarn_chk_int)
STUB(tarn_debug_dump)
STUB(tarn_hist_event)
STUB(tarn_hist_event_subtype_check)
STUB(tlv_array_size_get)
STUB(tlvu_error_print)
STUB(tlvu_field_itr_get_next)
STUB(tlvu_field_itr_init)
STUB(tlvu_get_field)
STUB(tlvu_table_convert_struct_to_tlv)
STUB(tlvu_table_convert_tlv_to_struct)
STUB(tlvu_table_get_struct_size_from_tlv)
STUB(tlvu_table_size)
STUB(vex_req_resp)
STUB(wren_get_module_info)
