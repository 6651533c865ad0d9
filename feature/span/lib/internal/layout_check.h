// The offsets of libspan.h's records, asserted: those that travel, then those of the host process.
#ifndef LIBSPAN_INTERNAL_LAYOUT_CHECK_H
#define LIBSPAN_INTERNAL_LAYOUT_CHECK_H

#include <cstddef>

#include "libspan.h"
#include "platform/tlvu.h"

namespace libspan {

// ---- Travelling -----------------------------------------------------------------------------------------------------

static_assert(offsetof(span_session_info_t, dest_if_index) == 84);
static_assert(offsetof(span_session_info_t, dest_configured) == 88);
static_assert(offsetof(span_session_info_t, admin_suspended) == 92);
static_assert(offsetof(span_session_info_t, filter_vsans_len) == 100);
static_assert(offsetof(span_session_info_t, filter_vsans) == 104);
static_assert(offsetof(span_session_info_t, rx_vsans_len) == 1132);
static_assert(offsetof(span_session_info_t, rx_vsans) == 1136);
static_assert(offsetof(span_session_info_t, rx_if_count) == 1648);
static_assert(sizeof(span_session_info_t) == 1652 && alignof(span_session_info_t) == 1);
static_assert(offsetof(span_session_info_res_payload_t, session_info) == 4);

static_assert(offsetof(span_src_if_info_req_t, session_index) == 4);
static_assert(offsetof(span_src_if_info_req_t, direction) == 5);
static_assert(sizeof(span_src_if_info_req_t) == 8 && alignof(span_src_if_info_req_t) == 1);

static_assert(offsetof(span_src_if_info_res_t, valid) == 4);
static_assert(offsetof(span_src_if_info_res_t, rx_filter) == 14);
static_assert(offsetof(span_src_if_info_res_t, tx_filter) == 15);
static_assert(offsetof(span_src_if_info_res_t, rx_traffic_type) == 16);
static_assert(offsetof(span_src_if_info_res_t, tx_traffic_type) == 17);
static_assert(offsetof(span_src_if_info_res_t, member_if_index) == 18);
static_assert(offsetof(span_src_if_info_res_t, detail) == 22);
static_assert(sizeof(span_src_if_info_res_t) == 542 && alignof(span_src_if_info_res_t) == 1);
static_assert(offsetof(span_service_source_t, mgmt) == 1);
static_assert(offsetof(span_service_source_t, initiator) == 2);
static_assert(offsetof(span_service_source_t, filter_vsans) == 8);
static_assert(sizeof(span_service_source_t) == 520 && alignof(span_service_source_t) == 1);
static_assert(offsetof(span_traffic_names_t, target) == 4);
static_assert(offsetof(span_traffic_names_t, mgmt) == 5);
static_assert(offsetof(span_traffic_names_t, initiator) == 6);

static_assert(offsetof(span_set_src_config_res_t, source_type) == 1);
static_assert(offsetof(span_set_src_config_res_t, result) == 4);
static_assert(offsetof(span_set_src_config_res_t, if_count) == 8);
static_assert(offsetof(span_set_src_config_res_t, refused_vsans) == 16);
static_assert(sizeof(span_set_src_config_res_t) == 528 && alignof(span_set_src_config_res_t) == 1);
static_assert(sizeof(span_if_result_t) == 8 && alignof(span_if_result_t) == 1);

static_assert(offsetof(span_cfg_tlv_t, value) == 2);
static_assert(sizeof(span_cfg_tlv_t) == 6 && alignof(span_cfg_tlv_t) == 1);

// ---- Records of the host process ------------------------------------------------------------------------------------

static_assert(offsetof(span_vsan_holder_t, bits) == 4 && sizeof(span_vsan_holder_t) == 516);
static_assert(offsetof(span_if_range_list_t, count) == 4);
static_assert(offsetof(span_if_range_list_t, ranges) == 16 && sizeof(span_if_range_list_t) == 528);
static_assert(sizeof(span_global_info_payload_t) == 12 && sizeof(span_global_admin_info_tlv_data_t) == 4);
static_assert(sizeof(tlvu_field_t) == 48);
static_assert(offsetof(span_token_t, value_type) == 4 && offsetof(span_token_t, value) == 16);
static_assert(offsetof(span_cli_parms_t, negated) == 12);
static_assert(offsetof(span_cli_parms_t, skip) == 36);
static_assert(offsetof(span_cli_parms_t, queue) == 40);
static_assert(offsetof(span_cli_parms_t, requester1) == 776);
static_assert(offsetof(span_cli_parms_t, requester2) == 840);
static_assert(sizeof(void*) != 4 ||
              (offsetof(span_cli_parms_t, tokens) == 900 && offsetof(span_cli_parms_t, display_ctx) == 1212));
static_assert(sizeof(void*) != 4 || sizeof(tlvu_table_header_t) == 16);
static_assert(offsetof(span_snmp_session_entry_t, oper_reason) == 16 && sizeof(span_snmp_session_entry_t) == 276);
static_assert(sizeof(span_snmp_source_if_entry_t) == 12 && sizeof(span_snmp_vsan_entry_t) == 516);
static_assert(offsetof(span_snmp_vsan_modify_req_t, vsans) == 12 && sizeof(span_snmp_vsan_modify_req_t) == 524);
static_assert(offsetof(span_pm_src_if_t, if_pch) == 8 && offsetof(span_pm_src_if_t, vsans) == 16);
static_assert(sizeof(span_pm_src_if_t) == 528);
static_assert(sizeof(void*) != 4 || (sizeof(span_pm_src_pch_t) == 16 && sizeof(span_pm_src_vsan_t) == 16));
static_assert(sizeof(void*) != 4 || (offsetof(span_pm_port_info_t, body) == 4 && sizeof(span_pm_port_info_t) == 524));

}  // namespace libspan

#endif
