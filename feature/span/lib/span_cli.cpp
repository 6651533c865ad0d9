// Command-line front end: the handlers behind the shell's mirroring commands. Each picks its arguments from the command
// record, sends one request, and says what came of it.
//
//   Results ................. printers of a source configuration's result
//   Sessions ................ create and delete, destination, suspend
//   Sources ................. VSANs, session filter, interface filter, interfaces
//   Port mode
//   Show: pieces ............ VSAN lines, traffic names, one source interface
//   Show: sessions .......... detailed, brief, the loop over sessions

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "internal/bytes.h"
#include "internal/command.h"
#include "internal/heap.h"
#include "internal/if_class.h"
#include "internal/if_list.h"
#include "internal/service_module.h"
#include "internal/text.h"
#include "internal/vsan_set.h"
#include "internal/wire.h"
#include "libspan.h"
#include "platform/brio.h"
#include "platform/if_index.h"
#include "platform/quill.h"
#include "platform/syserr.h"
#include "platform/vex.h"

using namespace libspan;

// ---- Results --------------------------------------------------------------------------------------------------------

namespace {

constexpr char kModulePath[] = "../feature/span/lib/span_cli";
constexpr uint32_t kErrorSeverity = 2;

void print_transport_error(uint32_t queue) { brio_print_quill_error_message(kErrorSeverity, quill_errno_get(queue)); }

void print_refused_vsans(const char* headline, const VsanSet& refused) {
  std::puts(headline);
  Text text;
  text.add_ranges(refused);
  text.add("\n");
}

}  // namespace

void span_print_set_src_config_info_res(const void* result) {
  switch (static_cast<SourceType>(view<span_set_src_config_res_t>(result).source_type)) {
    case SourceType::kInterface:
    case SourceType::kPortChannel:
    case SourceType::kInband:
      return span_print_src_config_info_res_if(result);
    case SourceType::kVsan:
      return span_print_src_config_info_res_vsan(result);
    case SourceType::kSourceFilter:
      return span_print_src_config_info_res_src_filter(result);
    case SourceType::kSessionFilter:
      return span_print_src_config_info_res_ssn_filter(result);
  }
}

void span_print_src_config_info_res_if(const void* result) {
  static constexpr char kBanner[] = "=================================================\n";
  Cursor cursor(static_cast<const uint8_t*>(result));
  const uint32_t count = get(cursor.take<span_set_src_config_res_t>()->if_count);
  Text text;
  bool headed = false;
  for (uint32_t i = 0; i < count; ++i) {
    const auto& element = *cursor.take<span_if_result_t>();
    char name[IF_INDEX_NAME_SIZE] = "";
    sprintf_if_index(name, get(element.if_index));
    const uint32_t status = get(element.result);
    if (status == SPAN_OK) continue;
    if (!headed) {
      text.add(kBanner);
      text.add("Configuration failed on the following interface(s)\n");
      text.add(kBanner);
      headed = true;
    }
    text.add(name);
    text.add(" ");
    text.add(syserr2str(status));
    text.add("\n");
  }
}

void span_print_src_config_info_res_vsan(const void* result) {
  const auto& res = view<span_set_src_config_res_t>(result);
  const VsanSet refused(res.refused_vsans);
  const uint32_t status = get(res.result);
  if (!refused.empty()) {
    print_refused_vsans("Following vsans are not allowed as a SPAN source", refused);
  } else if (status == SPAN_E_SOURCE_VSANS_FIRST || status == SPAN_E_SOURCE_VSANS_LAST) {
    std::puts(syserr2str(status));
  }
}

void span_print_src_config_info_res_ssn_filter(const void* result) {
  const auto& res = view<span_set_src_config_res_t>(result);
  const VsanSet refused(res.refused_vsans);
  const uint32_t status = get(res.result);
  if (status == SPAN_OK) return;  // KEEP: also when VSANs were refused.
  if (refused.empty()) {
    std::puts("Configuration failed for the session filter ");
    std::puts(syserr2str(status));
  } else {
    print_refused_vsans("Following vsans are not allowed as SPAN session filters", refused);
  }
}

void span_print_src_config_info_res_src_filter(const void*) {}

// ---- Sessions -------------------------------------------------------------------------------------------------------

uint32_t span_cli_create_session_id(const span_cli_parms_t* parms) {
  const uint8_t session_index = Command(*parms).session_index(0);
  uint32_t result = 0;
  Owned<void> response;
  const uint32_t status = span_delete_session(parms->queue, parms->requester1, parms->requester2, 1, &session_index,
                                              static_cast<uint8_t>(parms->negated), &result, response.out());
  if (status == SPAN_OK) return 0;  // KEEP: whatever the manager's result is.
  std::puts(syserr2str(result));    // KEEP: a failed call wrote no result, so this is the text of 0.
  return 1;
}

uint32_t span_cli_set_dest_config(const span_cli_parms_t* parms) {
  const Command command(*parms);
  const uint32_t destination = command.number(0);
  char name[IF_INDEX_NAME_SIZE];
  sprintf_if_index(name, destination);  // KEEP: asked, the name is not used.

  const DestOperation operation = command.negated() ? DestOperation::kRemove : DestOperation::kAdd;
  uint32_t result = 0;
  Owned<void> response;
  const uint32_t status =
      span_set_dest_info(parms->queue, parms->requester1, parms->requester2, command.session_index(1),
                         static_cast<uint8_t>(operation), destination, 0, 0, &result, response.out());
  if (status != SPAN_OK) std::printf("config failed: %s\n", syserr2str(status));
  if (result != SPAN_OK) std::printf("config failed: %s\n", syserr2str(result));
  return status != SPAN_OK || result != SPAN_OK;
}

uint32_t span_cli_set_session_state(const span_cli_parms_t* parms) {
  const Command command(*parms);
  uint32_t result = 0;
  Owned<void> response;
  const uint32_t status = span_set_session_state(parms->queue, parms->requester1, parms->requester2,
                                                 command.session_index(0), command.negated(), &result, response.out());
  if (status != SPAN_OK) {
    std::printf("(%x) command failed\n", status);
    return 1;
  }
  if (result != SPAN_OK) std::puts(syserr2str(result));
  return 0;
}

// ---- Sources --------------------------------------------------------------------------------------------------------

namespace {

struct SourceChange {
  uint8_t session_index;
  uint8_t direction;
  SrcOperation operation;
  SourceType source_type;
  const uint32_t* vsans;               // first and last, or null
  const span_if_range_list_t* ranges;  // or null
};

uint32_t send(const span_cli_parms_t& parms, const SourceChange& change, Owned<void>& response) {
  return span_set_src_config(parms.queue, parms.requester1, parms.requester2, change.session_index, change.direction,
                             static_cast<uint8_t>(change.operation), static_cast<uint8_t>(change.source_type),
                             change.vsans, nullptr, change.ranges, 0, response.out());
}

uint32_t send_and_print(const span_cli_parms_t& parms, const SourceChange& change) {
  Owned<void> response;
  const uint32_t status = send(parms, change, response);
  if (response) span_print_set_src_config_info_res(response.get());
  return status != SPAN_OK;
}

// The ranges of a token; none when the token is not there.
const span_if_range_list_t& ranges_of(const void* value) {
  static constexpr span_if_range_list_t kNoRanges = {};
  return value != nullptr ? *static_cast<const span_if_range_list_t*>(value) : kNoRanges;
}

// The first interface as typed decides for the whole list.
SourceClass source_class_of(const span_if_range_list_t& ranges) {
  return libspan::source_class_of(ranges.ranges[0].first);
}

bool is_traffic_type(uint32_t token_id) {
  return token_id == SPAN_TOKEN_TRAFFIC_MGMT || token_id == SPAN_TOKEN_TRAFFIC_INITIATOR ||
         token_id == SPAN_TOKEN_TRAFFIC_TARGET;
}

uint8_t traffic_type_of(uint32_t token_id) {
  switch (token_id) {
    case SPAN_TOKEN_TRAFFIC_INITIATOR:
      return 0;
    case SPAN_TOKEN_TRAFFIC_TARGET:
      return 1;
    case SPAN_TOKEN_TRAFFIC_MGMT:
      return 2;
    default:
      return kAllTraffic;
  }
}

}  // namespace

uint32_t span_cli_set_src_config_vsan(const span_cli_parms_t* parms) {
  const Command command(*parms);
  return send_and_print(*parms, {.session_index = command.session_index(1),
                                 .direction = SPAN_RX,
                                 .operation = command.negated() ? SrcOperation::kRemove : SrcOperation::kAdd,
                                 .source_type = SourceType::kVsan,
                                 .vsans = command.value<uint32_t>(0),
                                 .ranges = nullptr});
}

uint32_t span_cli_set_src_config_ssn_filter(const span_cli_parms_t* parms) {
  const Command command(*parms);
  const bool both = command.id(0) == SPAN_TOKEN_FILTER_VSANS;
  const uint32_t vsans_at = both ? 0 : 1;
  // KEEP: the id of the direction keyword goes out as the direction.
  const uint8_t direction = both ? uint8_t{SPAN_BOTH} : static_cast<uint8_t>(command.id(0));
  return send_and_print(*parms,
                        {.session_index = command.session_index(vsans_at + 1),
                         .direction = direction,
                         .operation = command.negated() ? SrcOperation::kRemoveFilter : SrcOperation::kAddFilter,
                         .source_type = SourceType::kSessionFilter,
                         .vsans = command.value<uint32_t>(vsans_at),
                         .ranges = nullptr});
}

uint32_t span_cli_set_src_config_if_dir_filter(const span_cli_parms_t* parms) {
  const Command command(*parms);
  const uint32_t id = command.id(2);
  const uint32_t ranges_at = id == SPAN_TOKEN_IF_RANGES ? 2 : 3;
  uint8_t direction = SPAN_BOTH;
  if (id != SPAN_TOKEN_IF_RANGES) direction = id == SPAN_TOKEN_EGRESS ? SPAN_TX : SPAN_RX;
  const span_if_range_list_t& ranges = ranges_of(command.value<void>(ranges_at));
  return send_and_print(*parms, {.session_index = command.session_index(ranges_at + 1),
                                 .direction = direction,
                                 .operation = command.negated() ? SrcOperation::kRemoveIfFilter : SrcOperation::kAddIf,
                                 .source_type = source_class_of(ranges).source_type,
                                 .vsans = command.value<uint32_t>(0),
                                 .ranges = &ranges});
}

void span_print_cli_parms(const span_cli_parms_t*) {}

uint32_t span_get_set_src_config_cli_params(const span_cli_parms_t* parms, void** if_list, uint32_t** session,
                                            uint8_t* session_index, uint8_t* direction) {
  span_print_cli_parms(parms);
  const Command command(*parms);
  // A traffic type and the keyword before it stand behind the rest.
  const uint32_t last = is_traffic_type(command.id(0)) ? 2 : 0;
  const uint32_t id = command.id(last);
  const bool directed = id == SPAN_TOKEN_INGRESS || id == SPAN_TOKEN_EGRESS;
  if (!directed && id != SPAN_TOKEN_IF_RANGES && last == 0) return SPAN_OK;
  if (directed) *direction = id == SPAN_TOKEN_EGRESS ? SPAN_TX : SPAN_RX;

  const uint32_t ranges_at = id == SPAN_TOKEN_IF_RANGES ? last : last + 1;
  *if_list = const_cast<void*>(command.value<void>(ranges_at));
  *session = const_cast<uint32_t*>(command.value<uint32_t>(ranges_at + 1));
  *session_index = command.session_index(ranges_at + 1);
  return SPAN_OK;
}

uint32_t span_cli_set_src_config_if(const span_cli_parms_t* parms) {
  const Command command(*parms);
  SourceChange change = {.session_index = 0,
                         .direction = SPAN_BOTH,
                         .operation = command.negated() ? SrcOperation::kRemove : SrcOperation::kAddIf,
                         .source_type = SourceType::kInterface,
                         .vsans = nullptr,
                         .ranges = nullptr};
  void* if_list = nullptr;
  uint32_t* session = nullptr;
  span_get_set_src_config_cli_params(parms, &if_list, &session, &change.session_index, &change.direction);
  change.ranges = &ranges_of(if_list);
  const SourceClass source = source_class_of(*change.ranges);
  change.source_type = source.source_type;

  Owned<span_if_range_list_t> port_channels;
  const uint32_t last_id = command.id(0);
  if (source.type == IF_INDEX_TYPE_SVC) {
    if (map_to_port_channels(parms->queue, *change.ranges, traffic_type_of(last_id), port_channels) != SPAN_OK) {
      std::puts("Error in getting information about interfaces");
      return 1;
    }
    change.ranges = port_channels.get();
  } else if (is_traffic_type(last_id)) {
    std::puts("traffic-type option is supported for only svc interfaces");
    return 0;
  }

  Owned<void> response;
  const uint32_t status = send(*parms, change, response);
  if (response) {
    const uint32_t result = get(view<span_set_src_config_res_t>(response.get()).result);
    if (result != SPAN_OK) std::puts(syserr2str(result));
    span_print_set_src_config_info_res(response.get());
  }
  return status != SPAN_OK;
}

uint32_t span_cli_set_src_config_if_dir(const span_cli_parms_t* parms) { return span_cli_set_src_config_if(parms); }

uint32_t span_cli_set_src_config_if_dir_traffic_type(const span_cli_parms_t* parms) {
  return span_cli_set_src_config_if(parms);
}

// ---- Port mode ------------------------------------------------------------------------------------------------------

namespace {

// KEEP: operators search their logs for these line numbers.
constexpr int kRangesLine = 1261;
constexpr int kEntryLine = 1292;

void print_malloc_failure(int line, size_t size) {
  std::printf("(Error) Malloc Failure in %s[%d] for size %d\n", kModulePath, line, static_cast<int>(size));
}

// Position of the interface mode's token, 0 when there is none.
uint32_t find_interface_mode(const Command& command) {
  for (uint32_t position = 1; position <= command.token_count(); ++position) {
    const span_token_t* const token = command.token(position);
    if (token != nullptr && token->id == SPAN_TOKEN_CONF_INTF) return position;
  }
  return 0;
}

// The configuration entry of the mode whose keyword is at `position`, its value still in host order; of type 0, which
// no request takes, when there is no such keyword.
span_cfg_tlv_t* new_port_mode_entry(const Command& command, uint32_t position) {
  auto* const entry = new_array<span_cfg_tlv_t>(1);
  if (entry == nullptr) return nullptr;
  *entry = {};
  const span_token_t* const keyword = command.token(position);
  if (keyword == nullptr || keyword->id != SPAN_TOKEN_PORT_MODE) return entry;
  entry->type = kCfgTlvPortMode;
  entry->length = sizeof(uint32_t);
  const span_token_t* const mode = command.token(position + 1);
  const bool given = !command.negated() && mode != nullptr && mode->value != nullptr;
  if (given) std::memcpy(&entry->value, mode->value, sizeof entry->value);
  return entry;
}

// The interfaces' ranges in a block of their own.
uint32_t* copy_ranges(const span_if_range_list_t& list) {
  void* const ranges = new_block(0, list.count, sizeof(span_if_range_t));
  if (ranges != nullptr) std::memcpy(ranges, list.ranges, list.count * sizeof(span_if_range_t));
  return static_cast<uint32_t*>(ranges);
}

void print_port_config_outcome(const span_cli_parms_t& parms, uint32_t status, uint32_t count,
                               const uint32_t* results) {
  if (status == VEX_TRANSPORT_FAILED) return print_transport_error(parms.queue);
  if (status != SPAN_OK) {
    std::printf("config_failed: %s\n", syserr2str(status));
    return;
  }
  Text text;
  for (uint32_t i = 0; i < count; ++i) {
    if (results[2 * i + 1] == SPAN_OK) continue;
    text.add_if_name(results[2 * i]);
    text.add(": (error) ");
    text.add(syserr2str(results[2 * i + 1]));
    text.add("\n");
  }
}

}  // namespace

uint32_t span_cli_set_port_config(const span_cli_parms_t* parms) {
  if (parms == nullptr) return 1;
  if (parms->skip != 0) return 0;
  const Command command(*parms);
  const uint32_t position = find_interface_mode(command);
  if (position == 0) {
    std::puts("error: token id list does not contain CONF_INTF");
    return 1;
  }

  const span_if_range_list_t& list = ranges_of(command.token(position)->value);
  const Owned<uint32_t> ranges(copy_ranges(list));
  if (!ranges) {
    print_malloc_failure(kRangesLine, list.count * sizeof(span_if_range_t));
    std::puts("error: allocating memory for range list");
    return 1;
  }
  const Owned<span_cfg_tlv_t> entry(new_port_mode_entry(command, position + 1));
  if (!entry) {
    print_malloc_failure(kEntryLine, sizeof(span_cfg_tlv_t));
    std::printf("error: malloc failure - size(%d)\n", static_cast<int>(sizeof(span_cfg_tlv_t)));
    return 1;
  }

  const uint32_t mode = get(view<span_host32_t>(&entry->value));
  uint32_t result_count = 0;
  Owned<uint32_t> results;
  const uint32_t status =
      span_vex_set_port_config(parms->queue, parms->requester1, parms->requester2, list.count, ranges.get(),
                               entry->type, entry->length, &mode, &result_count, results.out());
  print_port_config_outcome(*parms, status, result_count, results.get());
  return 0;
}

// ---- Show: pieces ---------------------------------------------------------------------------------------------------

void span_print_sp(uint32_t count) {
  for (; count > 0; --count) std::putchar(' ');
}

void span_print_vsan_cfg(const char* prefix, const void* holder) {
  const VsanSet vsans(vsans_of(holder));
  if (vsans.empty()) {
    std::puts(prefix);
    return;
  }
  Text text;
  const size_t length = std::strlen(prefix);
  for (uint32_t vsan = vsans.next(0); vsan != kNoVsan; vsan = vsans.next(vsan + 1)) {
    text.add(prefix, length);
    text.add_vsan_line_end(vsan);
  }
}

int strcat_span_ks_info(char* text, const void* info) {
  const auto& names = view<span_traffic_names_t>(info);
  char* const start = text + std::strlen(text);
  char* end = start;
  if (names.target != 0) end = stpcpy(end, "target");
  if (names.initiator != 0) end = stpcpy(end, "initiator");
  if (names.mgmt != 0) end = stpcpy(end, "mgmt");
  return static_cast<int>(end - start);
}

int sprintf_ks_info(char* text, const void* info) {
  const auto& names = view<span_traffic_names_t>(info);
  int length = 0;
  // KEEP: each over the one before.
  if (names.target != 0) length += std::sprintf(text, "target");
  if (names.initiator != 0) length += std::sprintf(text, "initiator");
  if (names.mgmt != 0) length += std::sprintf(text, "mgmt");
  return length;
}

namespace {

constexpr int32_t kListWidth = 50;
constexpr char kListIndent[] = "     ";

bool is_service_port_channel(uint32_t if_index) {
  return span_check_pch_subtype(if_index, IF_INDEX_PORT_CHANNEL_SERVICE) != 0;
}

// What the source in one direction says of itself, in parentheses. Returns the number of characters.
uint32_t add_source_details(Text& text, bool filtered, bool typed, const span_src_if_info_res_t& source) {
  uint32_t length = 0;
  const VsanBits* filter = &view<VsanBits>(source.detail);
  if (typed) {
    const auto& service = view<span_service_source_t>(source.detail);
    // KEEP: each name opens a parenthesis, one closes.
    if (service.target != 0) length += text.add(" (target");
    if (service.initiator != 0) length += text.add(" (initiator");
    if (service.mgmt != 0) length += text.add(" (mgmt");
    filter = &service.filter_vsans;
  }
  if (filtered) {
    length += text.add(length == 0 ? " (vsan " : ", vsan ");
    length += text.add_ranges(VsanSet(*filter));
  }
  if (length != 0) length += text.add(")");
  return length;
}

}  // namespace

uint32_t span_print_src_if_info(const void* request, const void* response, int32_t* column) {
  const auto& req = view<span_src_if_info_req_t>(request);
  const auto& res = view<span_src_if_info_res_t>(response);
  if (res.valid != 1) return 0;
  Text text;
  const uint32_t if_index = get(res.if_index);
  uint32_t length = text.add_if_name(is_service_port_channel(if_index) ? get(res.member_if_index) : if_index);
  const bool rx = req.direction == SPAN_RX;
  const bool directed = rx || req.direction == SPAN_TX;
  if (directed) {
    const bool typed =
        (rx ? res.rx_traffic_type : res.tx_traffic_type) != 0 && is_service_port_channel(get(req.if_index));
    length += add_source_details(text, (rx ? res.rx_filter : res.tx_filter) != 0, typed, res);
    length += text.add(", ");  // KEEP: behind the last entry too.
  }
  *column += static_cast<int32_t>(length);
  if (directed && *column > kListWidth) {
    text.add("\n");
    text.add(kListIndent);
    *column = 0;
  }
  return 0;
}

uint32_t span_show_src_if_info(const span_cli_parms_t* parms, uint8_t session_index, uint32_t if_index,
                               uint8_t direction, int32_t* column) {
  span_src_if_info_req_t request = {
      .if_index = {}, .session_index = session_index, .direction = direction, .unused = {}};
  put(view<span_host32_t>(&request), if_index);
  Owned<void> response;
  const uint32_t status =
      span_get_src_if_info(parms->queue, parms->requester1, parms->requester2, &request, response.out());
  if (status != SPAN_OK) {
    std::printf("err(%d)\n", status);
    return status;
  }
  span_print_src_if_info(&request, response.get(), column);
  return SPAN_OK;
}

// ---- Show: sessions -------------------------------------------------------------------------------------------------

namespace {

const char* state_text(const span_session_info_t& session) {
  if (session.oper_state == SPAN_OPER_ACTIVE) return "active)";  // KEEP: also when suspended.
  if (get(session.admin_suspended) != 0) return "admin suspended)";
  if (session.oper_state == SPAN_OPER_DEST_DOWN) return "inactive as destination is down)";
  if (session.oper_state == SPAN_OPER_NO_DEST) return "inactive as no destination)";
  return "inactive as no active sources)";
}

void add_head(Text& text, const span_session_info_t& session) {
  text.add("Session ");
  text.add_number(session.session_id + 1u);
  text.add(" (");
  text.add(state_text(session));
  text.add("\n   Destination is ");
  if (get(session.dest_configured) != 0) {
    text.add_if_name(get(session.dest_if_index));
  } else {
    text.add("not configured");
  }
  text.add("\n");
  const VsanSet filter(session.filter_vsans);
  if (filter.empty()) {
    text.add("   No session filters configured\n");
    return;
  }
  text.add("   Session filter vsans are ");
  text.add_ranges(filter);
  text.add("\n");
}

// The interfaces of one direction, asked for one by one.
void show_source_ifs(Text& text, const span_cli_parms_t& parms, uint8_t session_index, const IfList& ifs,
                     uint8_t direction) {
  text.add(kListIndent);
  int32_t column = 0;
  for (const span_net_if_t& entry : ifs) {
    text.flush();
    span_show_src_if_info(&parms, session_index, get(entry), direction, &column);
  }
  text.add("\n");
}

void show_rx(Text& text, const span_cli_parms_t& parms, const span_session_info_t& session, const IfList& ifs) {
  const VsanSet vsans(session.rx_vsans);
  if (vsans.empty() && ifs.empty()) {
    text.add("   No ingress (rx) sources\n");
    return;
  }
  text.add("   Ingress (rx) sources are \n");
  if (!vsans.empty()) {
    text.add("      vsans ");
    text.add_ranges(vsans);
    text.add("\n");
  }
  if (!ifs.empty()) show_source_ifs(text, parms, session.session_id, ifs, SPAN_RX);
}

void show_tx(Text& text, const span_cli_parms_t& parms, const span_session_info_t& session, const IfList& ifs) {
  if (ifs.empty()) {
    text.add("   No egress (tx) sources\n");
  } else {
    text.add("   Egress (tx) sources are \n");
    show_source_ifs(text, parms, session.session_id, ifs, SPAN_TX);
  }
  text.add("\n");
}

}  // namespace

int span_check_is_session_print_allowed(const span_cli_parms_t* parms, const void* session_record) {
  const auto& session = view<span_session_info_t>(session_record);
  const VsanSet vsans(session.rx_vsans);
  for (uint32_t vsan = vsans.next(0); vsan != kNoVsan; vsan = vsans.next(vsan + 1)) {
    if (brio_is_vsan_allowed(parms->display_ctx, vsan) != 0) return 1;
  }
  const SourceIfs ifs = source_ifs(session);
  for (const IfList& list : {ifs.rx, ifs.tx}) {
    for (const span_net_if_t& entry : list) {
      if (brio_is_interface_display_allowed(parms->queue, parms->display_ctx, get(entry)) != 0) return 1;
    }
  }
  return vsans.empty() && ifs.rx.empty() && ifs.tx.empty();
}

void span_print_get_session_info(const span_cli_parms_t* parms, uint8_t, const void* session_record,
                                 uint8_t all_sessions) {
  const auto& session = view<span_session_info_t>(session_record);
  if (session.configured == 0) {
    if (all_sessions == 0) std::printf("Session %d is %s\n", session.session_id + 1, "not configured");
    return;
  }
  if (span_check_is_session_print_allowed(parms, session_record) == 0) return;
  const SourceIfs ifs = source_ifs(session);
  Text text;
  add_head(text, session);
  show_rx(text, *parms, session, ifs.rx);
  show_tx(text, *parms, session, ifs.tx);
}

void span_print_session_info_brief_header(void) {
  std::fputs(
      "--------------------------------------------------------\n"
      " Session  Admin          Oper           Destination     \n"
      "          State          State          Interface         \n"
      "--------------------------------------------------------\n",
      stdout);
}

void span_print_get_session_info_brief(const span_cli_parms_t* parms, uint8_t, const void* session_record,
                                       uint8_t all_sessions) {
  const auto& session = view<span_session_info_t>(session_record);
  if (session.configured == 0) {
    if (all_sessions == 0) std::printf("Session %d %s\n", session.session_id + 1, "not configured");
    return;
  }
  if (span_check_is_session_print_allowed(parms, session_record) == 0) return;
  Text text;
  text.pad(text.add(" ") + text.add_number(session.session_id + 1u), 10);
  text.pad(text.add(get(session.admin_suspended) != 0 ? "suspend" : "no suspend"), 15);
  text.pad(text.add(session.oper_state == SPAN_OPER_ACTIVE ? "active" : "inactive"), 15);
  const bool has_dest = get(session.dest_configured) != 0;
  text.pad(has_dest ? text.add_if_name(get(session.dest_if_index)) : text.add("not configured"), 16);
  text.add("\n");
}

uint32_t span_cli_show_session_info(const span_cli_parms_t* parms) {
  if (parms == nullptr) return 0;
  return span_cli_show_session_info_common(parms, parms->token_count, nullptr, span_print_get_session_info);
}

uint32_t span_cli_show_session_info_brief(const span_cli_parms_t* parms) {
  if (parms == nullptr) return 0;
  return span_cli_show_session_info_common(parms, parms->token_count - 1u, span_print_session_info_brief_header,
                                           span_print_get_session_info_brief);
}

namespace {

// Numbers of the sessions to show, `end` not included.
struct Selection {
  uint32_t first;
  uint32_t end;
  uint8_t all_sessions;
};

Selection select_sessions(const span_token_t* token) {
  if (token == nullptr || token->value == nullptr) return {1, SPAN_SESSIONS + 1, 1};
  if (token->value_type != SPAN_VALUE_NUMBER) return {0, 1, 0};
  const uint32_t number = *static_cast<const uint32_t*>(token->value);
  return {number % 256, number + 1, 0};
}

void print_query_failure(uint32_t queue, uint32_t status) {
  if (status == SPAN_E_EXCHANGE) return print_transport_error(queue);
  std::puts("Command could not be completed");
}

}  // namespace

uint32_t span_cli_show_session_info_common(const span_cli_parms_t* parms, uint32_t token_position,
                                           span_header_printer header, span_row_printer row) {
  const Selection sessions = select_sessions(Command(*parms).token(token_position));
  for (uint32_t number = sessions.first; number < sessions.end; ++number) {
    uint8_t valid = 0;
    uint8_t* record = nullptr;
    Owned<void> response;
    const uint32_t status = span_get_session_info(parms->queue, parms->requester1, parms->requester2, &number,
                                                  sessions.all_sessions, &valid, &record, response.out());
    if (status != SPAN_OK) {
      print_query_failure(parms->queue, status);
      return 0;
    }
    if (get(view<span_session_info_res_payload_t>(response.get()).manager_status) == SPAN_E_STANDBY) {
      std::puts(syserr2str(SPAN_E_STANDBY));
      return 0;
    }
    if (row == nullptr) continue;
    // In a list of all sessions, the header waits for the first one that is configured.
    const bool listed = sessions.all_sessions == 0 || view<span_session_info_t>(record).configured != 0;
    if (header != nullptr && listed) {
      header();
      header = nullptr;
    }
    row(parms, 0, record, sessions.all_sessions);
  }
  return 0;
}
