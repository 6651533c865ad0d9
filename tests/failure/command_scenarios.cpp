// Configuration commands, and the printers of what came of them.
#include "tests/failure/scenario.h"
#include "tests/support/command.h"

namespace testkit::failure {
namespace {

constexpr char kNoChange[] = "error:[1] status 0x1\n";
constexpr char kRefusedIf[] =
    "=================================================\n"
    "Configuration failed on the following interface(s)\n"
    "=================================================\n"
    "fc1/1 status 0x40340009\n";
constexpr char kRefusedVsan[] = "Following vsans are not allowed as a SPAN source\n5\n";
constexpr char kNoMap[] = "Error in getting information about interfaces\n";
constexpr char kMapFailed[] = "Error in getting inforamation for kestrel interfaces\n";

using Handler = uint32_t(const span_cli_parms_t*);

// A source command whose request goes out at once; the manager's refusals are told whatever the exchange came to.
Scenario source_command(const char* function, std::function<Seen()> call, const std::string& refusals) {
  return {function,
          std::move(call),
          printed(0, refusals),
          {printed(1, kNoChange)},
          {{.outcome = {.result = 1}, .handed = refusals}}};
}

// A command for a service-module interface with so many port channels that their list needs a block.
Scenario service_command(const char* function, std::function<Seen()> call) {
  return {function,
          std::move(call),
          printed(0, kRefusedIf),
          {printed(1, kNoMap), printed(1, kNoMap), printed(1, kNoChange)},
          {{printed(1, std::string(kMapFailed) + kNoMap)}, {.outcome = {.result = 1}, .handed = kRefusedIf}}};
}

Seen port_mode() {
  Command command;
  command.interfaces({{kFc1, kFc1}}, 0xd030001).keyword(12).number(5);
  return span_cli_set_port_config(command);
}

Seen source_params() {
  Command command;
  command.number(3).interfaces({{kFc1, kFc1}}).keyword(2);
  void* list = nullptr;
  uint32_t* session = nullptr;
  uint8_t index = 0;
  uint8_t direction = 3;
  const uint32_t result = span_get_set_src_config_cli_params(command, &list, &session, &index, &direction);
  return {result, "session " + std::to_string(*session) + ", direction " + std::to_string(direction)};
}

// A printer of results, with the result of one interface and one VSAN.
template <auto kPrinter>
Seen print_result() {
  const Bytes response =
      SourceConfigResult{.result = 0x40340001, .interfaces = {{kFc1, 0x40340009}}, .refused = {{5, 5}}}.response();
  kPrinter(response.data());
  return kOk;
}

Scenarios session_commands() {
  return {
      {"span_cli_create_session_id",
       [] { return span_cli_create_session_id(Command().number(3)); },
       {.result = 0},
       {printed(1, "error: status 0x1 \nstatus 0x0\n")},
       {{printed(1, "status 0x0\n")}}},
      {"span_cli_set_dest_config",
       [] { return span_cli_set_dest_config(Command().number(3).interface(kFc1)); },
       {.result = 0},
       {printed(1, "error: status 0x1\nconfig failed: status 0x1\n")},
       {{printed(1, "config failed: status 0x%x\n")}}},
      {"span_cli_set_session_state",
       [] { return span_cli_set_session_state(Command().number(3)); },
       {.result = 0},
       {printed(1, "error:[1] status 0x1 \n(1) command failed\n")},
       {{printed(1, "(%x) command failed\n")}}},
  };
}

Scenarios source_commands() {
  return {
      source_command(
          "span_cli_set_src_config_vsan", [] { return span_cli_set_src_config_vsan(Command().number(3).vsans(1, 10)); },
          kRefusedVsan),
      source_command(
          "span_cli_set_src_config_ssn_filter",
          [] { return span_cli_set_src_config_ssn_filter(Command().number(3).vsans(1, 10, 6)); }, ""),
      source_command(
          "span_cli_set_src_config_if_dir_filter",
          [] {
            return span_cli_set_src_config_if_dir_filter(
                Command().number(3).interfaces({{kFc1, kFc1}}).keyword(4).vsans(1, 10));
          },
          kRefusedIf),
      service_command("span_cli_set_src_config_if",
                      [] {
                        return span_cli_set_src_config_if(Command().number(3).interfaces({{kSvc, kSvc}}));
                      }),
      source_command(
          "span_cli_set_src_config_if_dir",
          [] {
            return span_cli_set_src_config_if_dir(Command().number(3).interfaces({{kFc1, kFc1}}).keyword(2));
          },
          kRefusedIf),
      service_command("span_cli_set_src_config_if_dir_traffic_type",
                      [] {
                        return span_cli_set_src_config_if_dir_traffic_type(
                            Command().number(3).interfaces({{kSvc, kSvc}}).keyword(3).keyword(16).keyword(18));
                      }),
      {"span_get_set_src_config_cli_params", source_params, {.result = 0, .out = "session 3, direction 1"}},
      {"span_print_cli_parms",
       [] {
         span_print_cli_parms(Command());
         return kOk;
       },
       {.result = kOk}},
  };
}

Scenarios port_mode_command() {
  const std::string source = "(Error) Malloc Failure in ../feature/span/lib/span_cli";
  return {
      {"span_cli_set_port_config",
       port_mode,
       {.result = 0},
       {printed(1, source + "[1261] for size 8\nerror: allocating memory for range list\n"),
        printed(1, source + "[1292] for size 6\nerror: malloc failure - size(6)\n"),
        printed(0, "span_vex_set_port_config: malloc failure, size(116)\nconfig_failed: status 0x1\n"),
        printed(0, "config_failed: status 0x1\n")},
       {{.outcome = printed(0, "config_failed: status 0x%x\n"),
         .all_ones = printed(0, "brio_print_quill_error_message(2, 113)\n")}}},
  };
}

Scenarios result_printers() {
  const std::string filter = "Following vsans are not allowed as SPAN session filters\n5\n";
  return {
      {"span_print_set_src_config_info_res", print_result<span_print_set_src_config_info_res>,
       printed(kOk, kRefusedIf)},
      {"span_print_src_config_info_res_if", print_result<span_print_src_config_info_res_if>, printed(kOk, kRefusedIf)},
      {"span_print_src_config_info_res_vsan", print_result<span_print_src_config_info_res_vsan>,
       printed(kOk, kRefusedVsan)},
      {"span_print_src_config_info_res_ssn_filter", print_result<span_print_src_config_info_res_ssn_filter>,
       printed(kOk, filter)},
      {"span_print_src_config_info_res_src_filter",
       print_result<span_print_src_config_info_res_src_filter>,
       {.result = kOk}},
  };
}

}  // namespace

Scenarios command_scenarios() {
  return joined({session_commands(), source_commands(), port_mode_command(), result_printers()});
}

}  // namespace testkit::failure
