// Command-line front end: the handlers behind the shell's mirroring commands. Each picks its arguments from the command
// record, sends one request, and says what came of it.
//
//   Results ................. printers of a source configuration's result
//   Sessions ................ create and delete, destination, suspend
//   Sources ................. VSANs, session filter, interface filter, interfaces
//   Port mode
//   Show: pieces ............ VSAN lines, traffic names, one source interface
//   Show: sessions .......... detailed, brief, the loop over sessions
//   Running configuration ... the commands that would make every session again
//   Drop counters ........... of the line cards
//   Drop threshold
//   Diagnostics ............. dumps, scripts of show commands, RSPAN tunnel

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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
#include "platform/bounded.h"
#include "platform/brio.h"
#include "platform/hw_counters.h"
#include "platform/if_index.h"
#include "platform/inventory.h"
#include "platform/quill.h"
#include "platform/syserr.h"
#include "platform/tarn.h"
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

// How a list is named in a request; the first interface as typed decides.
struct SourceClass {
  SourceType source_type;
  uint8_t type;  // the platform's
};

SourceClass source_class_of(const span_if_range_list_t& ranges) {
  const uint32_t first = ranges.ranges[0].first;
  if (span_check_pch_subtype(first, IF_INDEX_PORT_CHANNEL_PLAIN) != 0) {
    return {SourceType::kPortChannel, IF_INDEX_TYPE_PORT_CHANNEL};
  }
  const uint8_t type = if_type(first);
  return {source_type_of(type), type};
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

  PortChannels port_channels;
  const uint32_t last_id = command.id(0);
  if (source.type == IF_INDEX_TYPE_SVC) {
    if (map_to_port_channels(parms->queue, *change.ranges, traffic_type_of(last_id), port_channels) != SPAN_OK) {
      std::puts("Error in getting information about interfaces");
      return 1;
    }
    change.ranges = &port_channels.list();
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

namespace {

// Room for all names of traffic types together, and a NUL.
constexpr size_t kTrafficNamesSize = sizeof "targetinitiatormgmt";

// A line for each VSAN, or the prefix as a line.
void print_vsan_lines(const char* prefix, const VsanSet& vsans) {
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

}  // namespace

void span_print_sp(uint32_t count) {
  for (; count > 0; --count) std::putchar(' ');
}

void span_print_vsan_cfg(const char* prefix, const void* holder) {
  print_vsan_lines(prefix, VsanSet(vsans_of(holder)));
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

// Asks for one source interface and prints what print(request, response) makes of it.
template <class Print>
uint32_t show_source(const span_cli_parms_t& parms, uint8_t session_index, uint32_t if_index, uint8_t direction,
                     Print print) {
  span_src_if_info_req_t request = {};
  put(view<span_host32_t>(&request), if_index);
  request.session_index = session_index;
  request.direction = direction;
  Owned<void> response;
  const uint32_t status =
      span_get_src_if_info(parms.queue, parms.requester1, parms.requester2, &request, response.out());
  if (status != SPAN_OK) {
    std::printf("err(%d)\n", status);
  } else {
    print(&request, response.get());
  }
  return status;
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
  return show_source(*parms, session_index, if_index, direction, [&](const void* request, const void* response) {
    span_print_src_if_info(request, response, column);
  });
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
  text.add(" ");
  text.pad(text.add_number(session.session_id + 1u), 9);
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

// ---- Running configuration ------------------------------------------------------------------------------------------

namespace {

constexpr size_t kLineSize = 128;

// Distance from the fields of a source to those that hold for rx behind a filter.
constexpr size_t kBehindFilter = 516;

// The traffic type of a source in one direction, where the response has it.
struct TrafficType {
  bool present;
  const span_traffic_names_t& names;
};

TrafficType traffic_type_in(const span_src_if_info_res_t& source, bool rx, bool filtered) {
  constexpr size_t kNamesAt = offsetof(span_src_if_info_res_t, member_if_index);
  // KEEP: for rx behind a filter, flag and names are read further on, inside the filter's VSANs.
  const size_t shift = rx && filtered ? kBehindFilter : 0;
  const size_t flag_at =
      (rx ? offsetof(span_src_if_info_res_t, rx_traffic_type) : offsetof(span_src_if_info_res_t, tx_traffic_type));
  const auto& bytes = view<uint8_t[sizeof(span_src_if_info_res_t)]>(&source);
  return {bytes[flag_at + shift] != 0, view<span_traffic_names_t>(bytes + kNamesAt + shift)};
}

void print_vsan_section(const char* prefix, const VsanBits& vsans) {
  if (VsanSet(vsans).empty()) return;
  print_vsan_lines(prefix, VsanSet(vsans));
  std::putchar('\n');
}

void print_running_head(const span_session_info_t& session) {
  Text text;
  text.add("span session ");
  text.add_number(session.session_id + 1u);
  text.add("\n");
  if (get(session.dest_configured) != 0) {
    text.add("destination interface ");
    text.add_if_name(get(session.dest_if_index));
    text.add("\n");
  }
  if (get(session.admin_suspended) != 0) text.add("suspend\n");
}

}  // namespace

uint32_t span_cli_generate_session_config(const span_cli_parms_t* parms) {
  for (uint32_t number = 1; number <= SPAN_SESSIONS; ++number) {
    uint8_t valid = 0;
    uint8_t* record = nullptr;
    Owned<void> response;
    const uint32_t status = span_get_session_info(parms->queue, parms->requester1, parms->requester2, &number, 1,
                                                  &valid, &record, response.out());
    if (status != SPAN_OK) {
      print_transport_error(parms->queue);
      return 1;
    }
    span_show_running_session_info(parms, 0, record);  // KEEP: the manager's status is not looked at.
  }
  return 0;
}

void span_show_running_session_info(const span_cli_parms_t* parms, uint8_t, const void* session_record) {
  if (session_record == nullptr) return;
  const auto& session = view<span_session_info_t>(session_record);
  if (session.configured == 0) return;
  print_running_head(session);
  // KEEP: the blank at the end of the prefixes makes two before each VSAN; so do empty lines stand between the pieces.
  print_vsan_section("source filter vsan ", session.filter_vsans);
  print_vsan_section("source vsan ", session.rx_vsans);
  const SourceIfs ifs = source_ifs(session);
  for (const span_net_if_t& entry : ifs.rx) {
    span_show_src_running_config(parms, session.session_id, get(entry), SPAN_RX);
    std::putchar('\n');
  }
  for (const span_net_if_t& entry : ifs.tx) {
    span_show_src_running_config(parms, session.session_id, get(entry), SPAN_TX);
    std::putchar('\n');
  }
  std::fputs(ifs.tx.empty() ? "\n" : "\n\n", stdout);
}

uint32_t span_show_src_running_config(const span_cli_parms_t* parms, uint8_t session_index, uint32_t if_index,
                                      uint8_t direction) {
  return show_source(*parms, session_index, if_index, direction, span_print_src_running_config);
}

uint32_t span_print_src_running_config(const void* request, const void* response) {
  const auto& req = view<span_src_if_info_req_t>(request);
  const auto& res = view<span_src_if_info_res_t>(response);
  if (res.valid != 1) return 0;
  const uint32_t if_index = get(res.if_index);
  char name[IF_INDEX_NAME_SIZE] = "";
  sprintf_if_index(name, is_service_port_channel(if_index) ? get(res.member_if_index) : if_index);
  const bool rx = req.direction == SPAN_RX;
  if (!rx && req.direction != SPAN_TX) return 0;

  char line[kLineSize + kTrafficNamesSize];  // the names go behind what the line's bound lets through
  std::snprintf(line, sizeof line, "source interface %s ", name);
  line[kLineSize - 1] = '\0';
  __strcat_to_buf(kLineSize, line, rx ? "rx " : "tx ");
  const bool filtered = (rx ? res.rx_filter : res.tx_filter) != 0;
  if (filtered) {
    __strcat_to_buf(kLineSize, line, "filter vsan ");
    print_vsan_lines(line, VsanSet(view<VsanBits>(res.detail)));
  }
  const TrafficType traffic_type = traffic_type_in(res, rx, filtered);
  if (traffic_type.present && is_service_port_channel(get(req.if_index))) {
    __strcat_to_buf(kLineSize, line, "traffic-type ");
    strcat_span_ks_info(line, &traffic_type.names);
  }
  std::puts(line);
  return 0;
}

// ---- Drop counters --------------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kModules = 232;
constexpr uint32_t kCounterTimeout = 5;
constexpr uint32_t kInventoryTimeout = 100;
constexpr uint32_t kNotReceived = 0xFFFFFFFF;

// Hardware families that count drops, ascending.
constexpr uint16_t kCountingSoftware[] = {29, 30, 31, 32, 34, 39, 40, 41, 42, 43,  44, 45,
                                          51, 52, 53, 54, 55, 56, 57, 59, 75, 147, 163};

struct PlatformInfo {
  uint8_t supervisors[2];
  uint8_t unused[14];
};
static_assert(sizeof(PlatformInfo) == 16);
static_assert(sizeof(rook_module_t) == 16 && offsetof(rook_module_t, present) == 2);
static_assert(offsetof(rook_module_t, node_address) == 3 && offsetof(rook_module_t, online) == 4);
static_assert(sizeof(quill_recv_options_t) == 40 && offsetof(quill_recv_options_t, timeout) == 8);
static_assert(offsetof(quill_recv_options_t, token) == 12);

// A message handle, zeroed.
struct Message {
  alignas(8) uint8_t bytes[QUILL_MESSAGE_SIZE] = {};
};

int receive_answer(uint32_t queue, void* message, uint32_t timeout, uint32_t token) {
  const quill_recv_options_t options = {.wait = 1, .zero1 = 0, .timeout = timeout, .token = token, .zero2 = {}};
  return quill_recv(queue, message, &options);
}

bool counts_drops(uint16_t software_id) { return std::ranges::binary_search(kCountingSoftware, software_id); }

void print_drop_counter(const span_hw_counters_result_t& result) {
  std::printf("SPAN Drop-Counters for module %x is: 0x%x\n", result.module_index + 1, result.drop_counter);
}

// Asks one module for its counter and prints it. Returns the command's result; 0 goes on with the next module.
uint32_t show_drop_counter(const char* command, uint32_t queue, uint32_t module, const rook_module_t& entry) {
  const span_hw_counters_request_t request = {.word0 = 0, .module_index = module - 1, .word2 = 1};
  void* payload = nullptr;
  uint32_t consumed = 0;
  uint32_t length = 0;
  if (span_hw_counters_payload_to_tlv(&request, &payload, &consumed, 0, &length, 0) != 0) return 1;
  Message message;
  const uint32_t address = uint32_t{entry.node_address} << 8 | 2;
  if (span_show_send_receive(queue, address, kCounterService, kCounterOpcode, payload, length, &message,
                             kCounterTimeout) != 0) {
    std::printf("%s module %x not available\n", command, module);
    return 0;
  }
  const void* const reply = quill_payload_get(&message);
  void* result = nullptr;
  const bool decoded = reply != nullptr && span_hw_counters_payload_to_struct(&result, reply, 0, 0) == 0;
  if (decoded && result != nullptr) print_drop_counter(*static_cast<const span_hw_counters_result_t*>(result));
  quill_drop(queue, &message);
  if (reply == nullptr) return SPAN_E_INVALID_PARAM;
  if (decoded) return 0;
  std::printf("%s conversion from TLV to struct failedi for mod %x \n", command, module);
  return 1;
}

}  // namespace

uint32_t span_cli_get_drop_counters(const span_cli_parms_t* parms) {
  PlatformInfo platform = {};
  if (get_platform_info(&platform) < 0) {
    std::puts("Error: unable to get platform info");
    return 1;
  }
  rook_module_t modules[kModules] = {};
  rook_get_all_modules_in_chassis(parms->queue, modules, kModules);
  for (uint32_t module = 1; module <= kModules; ++module) {
    uint16_t software_id = 0;
    if (syscli_get_module_swid(parms, module, &software_id) != 0) continue;
    if (module == platform.supervisors[0] || module == platform.supervisors[1]) continue;
    if (!counts_drops(software_id)) continue;
    const rook_module_t& entry = modules[module - 1];
    if (entry.present == 0 || entry.online == 0) continue;
    const uint32_t status = show_drop_counter(__func__, parms->queue, module, entry);
    if (status != 0) return status;
  }
  return 0;
}

uint32_t syscli_get_module_swid(const span_cli_parms_t* parms, uint32_t module, uint16_t* swid) {
  Message sent;
  const int status = wren_get_module_info(parms->queue, &sent, static_cast<uint8_t>(module));
  if (status != 0) {
    std::printf("Cannot get info about module %d\n", module);
    return static_cast<uint32_t>(status);
  }
  Message reply;
  if (receive_answer(parms->queue, &reply, kInventoryTimeout, quill_rr_token_get(&sent)) == -1) {
    const int error = errno;
    quill_drop(parms->queue, &reply);
    std::printf("\n quill_recv returned errno %d : %s", error, std::strerror(error));
    return kNotReceived;
  }
  const void* const payload = quill_payload_get(&reply);
  if (payload != nullptr) *swid = get((&view<ModuleInfo>(payload))[module - 1].software_id);
  quill_drop(parms->queue, &sent);
  quill_drop(parms->queue, &reply);
  return payload != nullptr ? 0 : kNotReceived;
}

uint32_t span_show_send_receive(uint32_t queue, uint32_t address, uint32_t service, uint32_t opcode,
                                const void* payload, uint32_t length, void* message, uint32_t timeout) {
  if (quill_send(queue, address, service, opcode, payload, length, message, 0, 0) == -1) {
    print_transport_error(queue);
    return 1;
  }
  const uint32_t token = quill_rr_token_get(message);
  quill_drop(queue, message);
  const int status = receive_answer(queue, message, timeout, token);
  if (status != -1) return static_cast<uint32_t>(status);
  const uint32_t error = quill_errno_get(queue);
  std::printf("%s QUILL receive error %x\n", __func__, error);
  quill_drop(queue, message);
  return error;
}

// ---- Drop threshold -------------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kDefaultThreshold = 0xFFFFFFFF;

}  // namespace

uint32_t span_cli_get_drop_threshold(const span_cli_parms_t* parms) {
  const span_global_info_payload_t request = {.threshold = 0, .operation = SPAN_GLOBAL_READ, .result = 0};
  Owned<span_global_info_payload_t> reply;
  const uint32_t status = span_global_info(parms->queue, parms->requester1, parms->requester2, &request, reply.out());
  if (status != SPAN_OK) {
    std::printf("command show drop-threshold failed: %d\n", status);
  } else if (reply) {
    std::printf("Max-Queued-Packets for SPAN sessions: %d\n", reply->threshold);
  }
  return 0;
}

uint32_t span_cli_set_drop_threshold(const span_cli_parms_t* parms) {
  const Command command(*parms);
  const uint32_t threshold = command.negated() ? kDefaultThreshold : command.number(0);
  const span_global_info_payload_t request = {.threshold = threshold, .operation = SPAN_GLOBAL_WRITE, .result = 0};
  Owned<span_global_info_payload_t> reply;
  const uint32_t status = span_global_info(parms->queue, parms->requester1, parms->requester2, &request, reply.out());
  if (status != SPAN_OK) {
    std::printf("command set drop-threshold failed: %d\n", status);
  } else if (reply && reply->result != SPAN_OK) {
    std::puts(syserr2str(reply->result));
  }
  return 0;
}

// ---- Diagnostics ----------------------------------------------------------------------------------------------------

namespace {

constexpr uint32_t kDumpAddress = 0xFE000000;
constexpr char kDump[] = "span_debug_dump";
constexpr char kDumpLog[] = "fu_fsm_dump_fsm_log";

// Objects of DumpRecord.
constexpr uint8_t kDumpInterface = 1;
constexpr uint8_t kDumpSession = 6;
constexpr uint8_t kDumpTest = 16;

constexpr uint32_t kShortMemoryStats = 8;  // id of the keyword

template <class Record>
uint32_t dump(uint32_t queue, const Record& record, const char* function) {
  return tarn_debug_dump(queue, kDumpAddress, kSpanManager, &record, sizeof record, function);
}

uint32_t dump_session(const span_cli_parms_t& parms, const char* function) {
  DumpRecord record = {.object = kDumpSession, .zero = {}, .number = {}};
  record.number.b[0] = Command(parms).session_index(0);
  return dump(parms.queue, record, function);
}

uint32_t dump_if(const span_cli_parms_t& parms, const char* function) {
  DumpRecord record = {.object = kDumpInterface, .zero = {}, .number = {}};
  put(view<span_net_if_t>(&record.number), Command(parms).number(0));
  return dump(parms.queue, record, function);
}

// A file of commands for the shell, for its owner alone; nothing that stood there before is written to. Returns whether
// all of it is written.
bool write_script(const char* path, const char* script) {
  unlink(path);
  const int file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (file < 0) return false;
  const size_t length = std::strlen(script);
  const bool written = write(file, script, length) == static_cast<ssize_t>(length);
  return close(file) == 0 && written;
}

// Shows everything about what `subject` names, "session 3", by four commands of the shell.
uint32_t show_all(const char* subject) {
  char path[64];
  std::snprintf(path, sizeof path, "/tmp/span_show_internal_all.%d", static_cast<int>(getpid()));
  char script[512];
  std::snprintf(script, sizeof script,
                "show span internal info %s\n"
                "show span internal event-history %s\n"
                "show span internal event-history msgs\n"
                "show span internal event-history errors\n",
                subject, subject);
  if (write_script(path, script)) brio_execute_script_file(path);
  return static_cast<uint32_t>(unlink(path));
}

// The tunnel's name in a line. Returns the characters printed, or 0 or the status of the query when there is none.
uint32_t print_rspan_tunnel(const char* format, uint32_t port, uint32_t queue) {
  uint32_t tunnel = 0;
  const uint32_t status = span_get_rspan_tunnel_config(queue, port, &tunnel);
  if (status != SPAN_OK || tunnel == 0) return status;
  char name[IF_INDEX_NAME_SIZE] = "";
  sprintf_if_index(name, tunnel);
  return static_cast<uint32_t>(std::printf(format, name));
}

}  // namespace

uint32_t span_cli_print_session_id(const span_cli_parms_t*) { return 0; }

uint32_t span_cli_test_adb(uint32_t queue, uint32_t number) {
  DumpRecord record = {.object = kDumpTest, .zero = {}, .number = {}};
  put(record.number, number);
  return dump(queue, record, kDump);
}

uint32_t span_cli_test(const span_cli_parms_t* parms) {
  const uint32_t number = Command(*parms).number(0);
  if (number == 0) return static_cast<uint32_t>(std::printf("%s: testing", __func__));
  return number <= 5 ? span_cli_test_adb(parms->queue, number) : number;
}

uint32_t span_cli_dump_memstats(const span_cli_parms_t* parms) {
  const uint32_t mode = Command(*parms).id(0) == kShortMemoryStats ? 0 : 1;
  const uint32_t record[] = {0, mode, 5, 0xFFFFFFFF};
  return dump(parms->queue, record, "mtrack_dump_memstats");
}

uint32_t span_cli_dump_global_info(const span_cli_parms_t* parms) {
  const DumpRecord record = {.object = static_cast<uint8_t>(Command(*parms).id(0)), .zero = {}, .number = {}};
  return dump(parms->queue, record, kDump);
}

uint32_t span_cli_dump_session(const span_cli_parms_t* parms) { return dump_session(*parms, kDump); }

uint32_t span_cli_dump_if(const span_cli_parms_t* parms) { return dump_if(*parms, kDump); }

uint32_t span_cli_eventlog_session(const span_cli_parms_t* parms) { return dump_session(*parms, kDumpLog); }

uint32_t span_cli_eventlog_if(const span_cli_parms_t* parms) { return dump_if(*parms, kDumpLog); }

uint32_t span_cli_eventlog_stats(const span_cli_parms_t* parms) {
  span_be32_t record;
  put(record, Command(*parms).id(0));
  return dump(parms->queue, record, "fu_fsm_tca_dump");
}

uint32_t span_cli_int_all_session(const span_cli_parms_t* parms) {
  char subject[32];
  std::snprintf(subject, sizeof subject, "session %d", Command(*parms).number(0));
  return show_all(subject);
}

uint32_t span_cli_int_all_if(const span_cli_parms_t* parms) {
  char subject[16 + IF_INDEX_NAME_SIZE] = "interface ";
  const int length = sprintf_if_index(subject + std::strlen(subject), Command(*parms).number(0));
  return length < 1 ? static_cast<uint32_t>(length) : show_all(subject);
}

uint32_t span_get_rspan_tunnel_config_for_st_port(uint32_t port, uint32_t queue) {
  uint32_t tunnel = 0;
  span_get_rspan_tunnel_config(queue, port, &tunnel);  // KEEP: the status is not looked at.
  std::printf("  %s: rspan_tunnel is 0x%x\n", __func__, tunnel);
  return tunnel;
}

uint32_t span_print_rspan_tunnel_config_for_st_port(uint32_t port, uint32_t queue) {
  return print_rspan_tunnel("rspan-tunnel interface %s\n", port, queue);
}

uint32_t span_show_rspan_tunnel_config_for_st_port(uint32_t port, uint32_t queue) {
  return print_rspan_tunnel("    Rspan tunnel is %s\n", port, queue);
}
