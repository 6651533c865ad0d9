// Drop threshold commands, dumps, scripts of show commands, RSPAN tunnels.
#include "tests/failure/scenario.h"
#include "tests/support/command.h"

namespace testkit::failure {
namespace {

std::string codec_error(const std::string& wrapper) {
  return "tlvu_error_print(\"span_global_info_payload_" + wrapper + ": ERR 0x%x\\n\")\n";
}

// A threshold command: the codec, the exchange, the size of the response that nobody uses, the codec again.
std::vector<Broken> broken_threshold(const std::string& works, const std::string& failed) {
  return {
      {printed(0, codec_error("to_tlv") + failed + "%d\n")},
      {printed(0, failed + "1077149717\n")},  // 0x40340015, whatever the exchange's code is
      {printed(0, works)},
      {printed(
          0, codec_error("to_struct") + "span_global_info: global info convert to struct failed \n" + failed + "%d\n")},
  };
}

Scenarios threshold_commands() {
  const std::string shown = "Max-Queued-Packets for SPAN sessions: 9\n";
  return {
      {"span_cli_get_drop_threshold",
       [] { return span_cli_get_drop_threshold(Command()); },
       printed(0, shown),
       {},
       broken_threshold(shown, "command show drop-threshold failed: ")},
      {"span_cli_set_drop_threshold",
       [] { return span_cli_set_drop_threshold(Command().number(9)); },
       {.result = 0},
       {},
       broken_threshold("", "command set drop-threshold failed: ")},
  };
}

// A handler that returns what one service returns.
Scenario passes_on(const char* function, std::function<Seen()> call) {
  return {function, std::move(call), {.result = kOk}, {}, {{{.result = kItsCode}}}};
}

Scenarios dumps() {
  return {
      passes_on("span_cli_test_adb", [] { return span_cli_test_adb(kQueue, 3); }),
      passes_on("span_cli_test", [] { return span_cli_test(Command().number(3)); }),
      passes_on("span_cli_dump_memstats", [] { return span_cli_dump_memstats(Command().keyword(8)); }),
      passes_on("span_cli_dump_global_info", [] { return span_cli_dump_global_info(Command().keyword(2)); }),
      passes_on("span_cli_dump_session", [] { return span_cli_dump_session(Command().number(3)); }),
      passes_on("span_cli_dump_if", [] { return span_cli_dump_if(Command().interface(kFc1)); }),
      passes_on("span_cli_eventlog_session", [] { return span_cli_eventlog_session(Command().number(3)); }),
      passes_on("span_cli_eventlog_if", [] { return span_cli_eventlog_if(Command().interface(kFc1)); }),
      passes_on("span_cli_eventlog_stats", [] { return span_cli_eventlog_stats(Command().keyword(2)); }),
      {"span_cli_print_session_id", [] { return span_cli_print_session_id(Command()); }, {.result = 0}},
  };
}

// The result is that of the script's removal, whatever becomes of running it.
Scenarios scripts() {
  return {
      {"span_cli_int_all_session",
       [] { return span_cli_int_all_session(Command().number(3)); },
       {.result = 0},
       {},
       {{{.result = 0}}}},
      {"span_cli_int_all_if",
       [] { return span_cli_int_all_if(Command().interface(kFc1)); },
       {.result = 0},
       {},
       {{{.result = 0}}}},
  };
}

Scenarios tunnels() {
  const std::string number = "  span_get_rspan_tunnel_config_for_st_port: rspan_tunnel is 0x";
  return {
      {"span_get_rspan_tunnel_config_for_st_port",
       [] { return span_get_rspan_tunnel_config_for_st_port(kFc1, kQueue); },
       printed(kFc2, number + "1001000\n"),
       {},
       {{printed(0, number + "0\n")}}},
      {"span_print_rspan_tunnel_config_for_st_port",
       [] { return span_print_rspan_tunnel_config_for_st_port(kFc1, kQueue); },
       printed(29, "rspan-tunnel interface fc1/2\n"),
       {},
       {{{.result = kItsCode}}}},
      {"span_show_rspan_tunnel_config_for_st_port",
       [] { return span_show_rspan_tunnel_config_for_st_port(kFc1, kQueue); },
       printed(26, "    Rspan tunnel is fc1/2\n"),
       {},
       {{{.result = kItsCode}}}},
  };
}

}  // namespace

Scenarios diagnostics_scenarios() { return joined({threshold_commands(), dumps(), scripts(), tunnels()}); }

}  // namespace testkit::failure
