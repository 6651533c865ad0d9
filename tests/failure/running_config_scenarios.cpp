// Running configuration. It ends with the first session that cannot be asked for; what is printed stays.
#include "tests/failure/scenario.h"
#include "tests/support/command.h"

namespace testkit::failure {
namespace {

constexpr char kRx[] = "source interface fc1/1 rx \n";
constexpr char kTx[] = "source interface fc1/2 tx \n";
constexpr char kRx5[] = "source interface fc1/2 rx \n";
constexpr char kErr[] = "err(%d)\n";

std::string session_2(const std::string& rx, const std::string& tx) {
  return "span session 2\n"
         "destination interface fc1/2\n" +
         rx + "\n" + tx + "\n\n\n";
}

std::string session_5(const std::string& rx) { return "span session 5\n" + rx + "\n\n"; }

// What is printed before session `number` is asked for.
std::string before(uint32_t number) {
  return (number > 2 ? session_2(kRx, kTx) : "") + (number > 5 ? session_5(kRx5) : "");
}

std::vector<Outcome> without_memory() {
  std::vector<Outcome> outcomes;
  for (uint32_t number = 1; number <= 16; ++number) {
    outcomes.push_back(
        printed(1, before(number) + "Malloc error in res payload.\nbrio_print_quill_error_message(2, 113)\n"));
  }
  return outcomes;
}

std::vector<Broken> broken() {
  std::vector<Broken> outcomes;
  for (uint32_t number = 1; number <= 16; ++number) {
    outcomes.push_back({printed(1, before(number) + "brio_print_quill_error_message(2, 113)\n")});
    if (number == 2) {
      outcomes.push_back({printed(0, session_2(kErr, kTx) + session_5(kRx5))});
      outcomes.push_back({printed(0, session_2(kRx, kErr) + session_5(kRx5))});
    }
    if (number == 5) outcomes.push_back({printed(0, session_2(kRx, kTx) + session_5(kErr))});
  }
  return outcomes;
}

Seen show_session() {
  const Bytes record =
      SessionRecord{.session = 2, .destination = kFc2, .has_destination = 1, .rx = {kFc1}, .tx = {kFc2}}.bytes();
  span_show_running_session_info(Command(), 0, record.data());
  return kOk;
}

Seen print_source() {
  const Bytes request = join({net_if(kFc1), {1, 1, 0, 0}});
  return span_print_src_running_config(request.data(), SourceInterface{.if_index = kFc1}.response().data());
}

}  // namespace

Scenarios running_config_scenarios() {
  return {
      {"span_cli_generate_session_config", [] { return span_cli_generate_session_config(Command()); },
       printed(0, before(17)), without_memory(), broken()},
      {"span_show_running_session_info",
       show_session,
       printed(kOk, session_2(kRx, kTx)),
       {},
       {{printed(kOk, session_2(kErr, kTx))}, {printed(kOk, session_2(kRx, kErr))}}},
      {"span_show_src_running_config",
       [] { return span_show_src_running_config(Command(), 1, kFc1, 1); },
       printed(kOk, kRx),
       {},
       {{{.result = kItsCode, .printed = kErr}}}},
      {"span_print_src_running_config", print_source, printed(kOk, kRx)},
  };
}

}  // namespace testkit::failure
