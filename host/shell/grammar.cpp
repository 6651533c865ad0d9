#include "host/shell/grammar.h"

#include "host/chassis/chassis.h"
#include "host/manager/dump_ids.h"
#include "host/shell/handlers.h"

namespace shell {

const Word kNoWord{"no", "Undo a command"};

namespace {

constexpr Word keyword(std::string_view text, std::string_view help, uint32_t token = kNoToken) {
  return {.text = text, .help = help, .tokens = {token}};
}

constexpr Word value(std::string_view text, std::string_view help, Kind kind, uint32_t token) {
  return {.text = text, .help = help, .kind = kind, .tokens = {token}};
}

constexpr Word port_mode(std::string_view text, std::string_view help, chassis::PortMode mode) {
  return {.text = text, .help = help, .tokens = {kModeToken}, .number = static_cast<uint32_t>(mode)};
}

constexpr Word written_together(std::string_view text, std::array<uint32_t, 3> tokens) {
  return {.text = text, .help = "", .tokens = tokens, .hidden = true};
}

constexpr Slot optional(Slot slot) {
  slot.optional = true;
  return slot;
}

constexpr Form hidden(Form form) {
  form.hidden = true;
  return form;
}

// ---- Values ---------------------------------------------------------------------------------------------------------

constexpr Word kSessionNumber = value("SESSION", "session number (1 to 16)", Kind::kSession, kSessionToken);
constexpr Word kExistingSession = value("SESSION", "session number (1 to 16)", Kind::kExistingSession, kSessionToken);
constexpr Word kOneInterface =
    value("INTERFACE", "interface (like fc1/1 or port-channel 3)", Kind::kInterface, kInterfaceToken);
constexpr Word kSources =
    value("INTERFACES", "interfaces (like fc1/1-4, fc2/1)", Kind::kInterfaceRanges, SPAN_TOKEN_IF_RANGES);
constexpr Word kConfigured =
    value("INTERFACES", "interfaces (like fc1/1-4, fc2/1)", Kind::kInterfaceRanges, SPAN_TOKEN_CONF_INTF);
constexpr Word kVsans = value("VSANS", "VSAN or range of VSANs (0 to 4095)", Kind::kVsanRange, kVsanRangeToken);
constexpr Word kFilterVsans =
    value("VSANS", "VSAN or range of VSANs (0 to 4095)", Kind::kVsanRange, SPAN_TOKEN_FILTER_VSANS);

constexpr Word kPackets = value("PACKETS", "number of packets (1 to 65535)", Kind::kPackets, kPacketsToken);
constexpr Word kTestNumber = value("NUMBER", "number of a test (0 to 5)", Kind::kTest, kTestToken);
constexpr Word kFile = value("FILE", "name of a file", Kind::kFile, kFileToken);

// ---- Keywords -------------------------------------------------------------------------------------------------------

constexpr Word kConfigure = keyword("configure", "Change the configuration");
constexpr Word kExit = keyword("exit", "Leave this mode, at the top the shell");
constexpr Word kEnd = keyword("end", "Go back to the top");
constexpr Word kHelp = keyword("help", "List the commands of this mode");
constexpr Word kDebug = keyword("debug", "Debug output on standard error");
constexpr Word kDebugSpan = keyword("span", "Of port mirroring");

constexpr Word kShow = keyword("show", "Show what there is");
constexpr Word kShowSpan = keyword("span", "Port mirroring");
constexpr Word kShowSession = keyword("session", "Mirroring sessions", kKeywordToken);
constexpr Word kBrief = keyword("brief", "As a table", kKeywordToken);
constexpr Word kEventHistory = keyword("event-history", "Recorded steps of port mirroring");
constexpr Word kShowMaxQueued = keyword("max-queued-packets", "Packets that may wait for mirroring");
constexpr Word kDropCounters = keyword("drop-counters", "Frames that line cards could not mirror");
constexpr Word kShowInterface = keyword("interface", "Interfaces");
constexpr Word kInterfaceBrief = keyword("brief", "As a table");
constexpr Word kShowVsan = keyword("vsan", "VSANs");
constexpr Word kShowRoles = keyword("roles", "Operator roles");
constexpr Word kShowTunnel = keyword("rspan-tunnel", "Tunnels of mirrored frames");
constexpr Word kTunnelInterface = keyword("interface", "The tunnel that a port feeds");
constexpr Word kRunningConfig = keyword("running-config", "Commands that would configure the switch as it is");
constexpr Word kRunningSpan = keyword("span", "Mirroring sessions only");

constexpr Word kInternal = keyword("internal", "The inside of the SPAN manager");
constexpr Word kInfo = keyword("info", "What the manager holds");
constexpr Word kInfoGlobal = keyword("global", "For the whole switch", manager::kGlobalKeyword);
constexpr Word kEventLogs = keyword("event-history", "What the manager has recorded");
constexpr Word kLogs[] = {
    keyword("stats", "How many requests there were", manager::kStatsKeyword),
    keyword("msgs", "Requests", manager::kMsgsKeyword),
    keyword("errors", "Requests that were refused", manager::kErrorsKeyword),
};
constexpr Word kMemory = keyword("memory", "Memory in use", kKeywordToken);
constexpr Word kDetail = keyword("detail", "Kind by kind", manager::kMemoryDetailKeyword);
constexpr Word kAll = keyword("all", "What it holds and has recorded");
constexpr Word kOfSession = keyword("session", "Of a mirroring session");
constexpr Word kOfInterface = keyword("interface", "Of an interface");

constexpr Word kTest = keyword("test", "Run a test");
constexpr Word kTestSpan = keyword("span", "Of the SPAN manager");
constexpr Word kCopy = keyword("copy", "Keep something in a file");

constexpr Word kSpan = keyword("span", "Port mirroring");
constexpr Word kSession = keyword("session", "Create a mirroring session and configure it");
constexpr Word kMaxQueued =
    keyword("max-queued-packets", "Packets that may wait for mirroring before more are dropped");
constexpr Word kInterfaceMode = keyword("interface", "Configure interfaces");
constexpr Word kPort = keyword("port", "Settings of a port");
constexpr Word kPortMode = keyword("mode", "What the port is for", SPAN_TOKEN_PORT_MODE);
constexpr Word kModes[] = {
    port_mode("span-destination", "Receives mirrored frames", chassis::PortMode::kSpanDestination),
    port_mode("tunnel-source", "Carries mirrored frames into a tunnel", chassis::PortMode::kTunnelSource),
    port_mode("normal", "Carries its own traffic", chassis::PortMode::kNormal),
};

constexpr Word kDestination = keyword("destination", "Where the copies go");
constexpr Word kDestinationInterface = keyword("interface", "An interface in span-destination mode");
constexpr Word kSuspend = keyword("suspend", "Stop copying, keep the configuration");
constexpr Word kSource = keyword("source", "What is copied");
constexpr Word kSourceInterface = keyword("interface", "Frames of interfaces");
constexpr Word kSourceVsan = keyword("vsan", "Frames of VSANs");
constexpr Word kSourceFilter = keyword("filter", "Restrict the session");
constexpr Word kFilterVsan = keyword("vsan", "To frames of VSANs");
constexpr Word kDirection[] = {
    keyword("rx", "Ingress frames only", SPAN_TOKEN_INGRESS),
    keyword("tx", "Egress frames only", SPAN_TOKEN_EGRESS),
};
// KEEP: here the id of the keyword is the direction itself.
constexpr Word kFilterDirection[] = {
    keyword("rx", "Ingress frames only", SPAN_RX),
    keyword("tx", "Egress frames only", SPAN_TX),
};
constexpr Word kInterfaceFilter = keyword("filter", "Restrict these interfaces", kKeywordToken);
constexpr Word kEmptyFilter = keyword("filter", "");
constexpr Word kTrafficType = keyword("traffic-type", "Of svc interfaces", kKeywordToken);
constexpr Word kEmptyTrafficType = keyword("traffic-type", "");
constexpr Word kTrafficTypes[] = {
    keyword("initiator", "Initiator traffic", SPAN_TOKEN_TRAFFIC_INITIATOR),
    keyword("target", "Target traffic", SPAN_TOKEN_TRAFFIC_TARGET),
    keyword("mgmt", "Management traffic", SPAN_TOKEN_TRAFFIC_MGMT),
    written_together("targetinitiator", {SPAN_TOKEN_TRAFFIC_TARGET, SPAN_TOKEN_TRAFFIC_INITIATOR}),
    written_together("targetmgmt", {SPAN_TOKEN_TRAFFIC_TARGET, SPAN_TOKEN_TRAFFIC_MGMT}),
    written_together("initiatormgmt", {SPAN_TOKEN_TRAFFIC_INITIATOR, SPAN_TOKEN_TRAFFIC_MGMT}),
    written_together("targetinitiatormgmt",
                     {SPAN_TOKEN_TRAFFIC_TARGET, SPAN_TOKEN_TRAFFIC_INITIATOR, SPAN_TOKEN_TRAFFIC_MGMT}),
};

// ---- Forms ----------------------------------------------------------------------------------------------------------

constexpr Form kForms[] = {
    {Mode::kExec, No::kNever, {kConfigure}, Builtin::kNothing, Mode::kConfig},
    {Mode::kConfig, No::kNever, {kConfigure}, Builtin::kNothing, Mode::kConfig},

    {Mode::kConfig, No::kAlso, {kSpan, kSession, kSessionNumber}, span_cli_create_session_id, Mode::kSpan},
    {Mode::kConfig, No::kAlso, {kSpan, kMaxQueued, kPackets}, span_cli_set_drop_threshold},
    {Mode::kConfig, No::kOnly, {kSpan, kMaxQueued}, span_cli_set_drop_threshold},
    {Mode::kConfig, No::kNever, {kInterfaceMode, kConfigured}, Builtin::kNothing, Mode::kInterface},

    {Mode::kInterface, No::kAlso, {kPort, kPortMode, kModes}, span_cli_set_port_config},
    {Mode::kInterface, No::kOnly, {kPort, kPortMode}, span_cli_set_port_config},

    {Mode::kSpan, No::kAlso, {kDestination, kDestinationInterface, kOneInterface}, span_cli_set_dest_config},
    {Mode::kSpan, No::kAlso, {kSource, kSourceInterface, kSources}, span_cli_set_src_config_if},
    {Mode::kSpan, No::kAlso, {kSource, kSourceInterface, kSources, kDirection}, span_cli_set_src_config_if_dir},
    {Mode::kSpan,
     No::kAlso,
     {kSource, kSourceInterface, kSources, optional(kDirection), kTrafficType, kTrafficTypes},
     span_cli_set_src_config_if_dir_traffic_type},
    {Mode::kSpan,
     No::kAlso,
     {kSource, kSourceInterface, kSources, optional(kDirection), kInterfaceFilter, kFilterVsan, kVsans},
     span_cli_set_src_config_if_dir_filter},
    {Mode::kSpan, No::kAlso, {kSource, kSourceVsan, kVsans}, span_cli_set_src_config_vsan},
    {Mode::kSpan,
     No::kAlso,
     {kSource, kSourceFilter, kFilterVsan, kFilterVsans, optional(kFilterDirection)},
     span_cli_set_src_config_ssn_filter},
    {Mode::kSpan, No::kAlso, {kSuspend}, span_cli_set_session_state},

    // KEEP: a running configuration ends the lines of a filtered source with an empty filter, and may leave its traffic
    // type empty. Both say no more than that the interface is a source.
    hidden({Mode::kSpan,
            No::kNever,
            {kSource, kSourceInterface, kSources, kDirection, kEmptyFilter, kFilterVsan},
            span_cli_set_src_config_if_dir}),
    hidden({Mode::kSpan,
            No::kNever,
            {kSource, kSourceInterface, kSources, kDirection, kEmptyTrafficType},
            span_cli_set_src_config_if_dir}),
    hidden({Mode::kSpan,
            No::kNever,
            {kSource, kSourceInterface, kSources, kDirection, kEmptyFilter, kFilterVsan, kEmptyTrafficType},
            span_cli_set_src_config_if_dir}),
    hidden({Mode::kSpan,
            No::kNever,
            {kSource, kSourceInterface, kSources, kDirection, kEmptyFilter, kFilterVsan, kTrafficType, kTrafficTypes},
            span_cli_set_src_config_if_dir_traffic_type}),

    {Mode::kEvery,
     No::kNever,
     {kShow, kShowSpan, kShowSession, optional(kExistingSession)},
     span_cli_show_session_info},
    {Mode::kEvery,
     No::kNever,
     {kShow, kShowSpan, kShowSession, optional(kExistingSession), kBrief},
     span_cli_show_session_info_brief},
    {Mode::kEvery, No::kNever, {kShow, kShowSpan, kEventHistory}, Builtin::kShowEvents},
    {Mode::kEvery, No::kNever, {kShow, kShowSpan, kShowMaxQueued}, span_cli_get_drop_threshold},
    {Mode::kEvery, No::kNever, {kShow, kShowSpan, kDropCounters}, span_cli_get_drop_counters},
    {Mode::kEvery,
     No::kNever,
     {kShow, kShowSpan, kInternal, kInfo, kOfSession, kExistingSession},
     span_cli_dump_session},
    {Mode::kEvery, No::kNever, {kShow, kShowSpan, kInternal, kInfo, kOfInterface, kOneInterface}, span_cli_dump_if},
    {Mode::kEvery, No::kNever, {kShow, kShowSpan, kInternal, kInfo, optional(kInfoGlobal)}, span_cli_dump_global_info},
    {Mode::kEvery,
     No::kNever,
     {kShow, kShowSpan, kInternal, kEventLogs, kOfSession, kExistingSession},
     span_cli_eventlog_session},
    {Mode::kEvery,
     No::kNever,
     {kShow, kShowSpan, kInternal, kEventLogs, kOfInterface, kOneInterface},
     span_cli_eventlog_if},
    {Mode::kEvery, No::kNever, {kShow, kShowSpan, kInternal, kEventLogs, optional(kLogs)}, span_cli_eventlog_stats},
    {Mode::kEvery, No::kNever, {kShow, kShowSpan, kInternal, kMemory, optional(kDetail)}, span_cli_dump_memstats},
    {Mode::kEvery,
     No::kNever,
     {kShow, kShowSpan, kInternal, kAll, kOfSession, kExistingSession},
     span_cli_int_all_session},
    {Mode::kEvery, No::kNever, {kShow, kShowSpan, kInternal, kAll, kOfInterface, kOneInterface}, span_cli_int_all_if},
    {Mode::kEvery, No::kNever, {kShow, kShowTunnel, kTunnelInterface, kOneInterface}, show_rspan_tunnel},
    {Mode::kEvery, No::kNever, {kShow, kRunningConfig}, Builtin::kShowRunningConfig},
    {Mode::kEvery, No::kNever, {kShow, kRunningConfig, kRunningSpan}, span_cli_generate_session_config},
    {Mode::kEvery, No::kNever, {kCopy, kRunningConfig, kFile}, Builtin::kCopyRunningConfig},
    {Mode::kEvery, No::kNever, {kTest, kTestSpan, kTestNumber}, run_test},
    {Mode::kEvery, No::kNever, {kShow, kShowInterface, kInterfaceBrief}, Builtin::kShowInterfaces},
    {Mode::kEvery, No::kNever, {kShow, kShowVsan}, Builtin::kShowVsans},
    {Mode::kEvery, No::kNever, {kShow, kShowRoles}, Builtin::kShowRoles},
    {Mode::kEvery, No::kAlso, {kDebug, kDebugSpan}, Builtin::kDebug},
    {Mode::kEvery, No::kNever, {kHelp}, Builtin::kHelp},
    {Mode::kEvery, No::kNever, {kExit}, Builtin::kExit},
    {Mode::kEvery, No::kNever, {kEnd}, Builtin::kEnd},
};

std::string usage(const Slot& slot) {
  std::string text;
  for (const Word& word : slot.words) {
    if (word.hidden) continue;
    if (!text.empty()) text += '|';
    text += word.text;
  }
  return slot.optional ? '[' + text + ']' : text;
}

}  // namespace

std::span<const Form> forms() { return kForms; }

Mode parent(Mode mode) { return mode == Mode::kSpan || mode == Mode::kInterface ? Mode::kConfig : Mode::kExec; }

bool is_visible(const Form& form, Mode mode) {
  if (form.mode == Mode::kEvery || form.mode == mode) return true;
  return form.mode == Mode::kConfig && parent(mode) == Mode::kConfig;
}

std::string plain_usage(const Form& form) {
  std::string text;
  for (const Slot& slot : form.slots()) text += usage(slot) + ' ';
  text.pop_back();
  return text;
}

std::string usage(const Form& form) {
  switch (form.no) {
    case No::kNever:
      return plain_usage(form);
    case No::kAlso:
      return "[no] " + plain_usage(form);
    case No::kOnly:
      return "no " + plain_usage(form);
  }
  return "";
}

}  // namespace shell
