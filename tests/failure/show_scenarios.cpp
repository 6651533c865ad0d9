// Show commands, and the pieces of what they print.
#include "tests/failure/scenario.h"
#include "tests/support/command.h"

namespace testkit::failure {
namespace {

constexpr char kTransportError[] = "brio_print_quill_error_message(2, 113)\n";
constexpr char kNoQuery[] = "Malloc error in res payload.\nCommand could not be completed\n";
constexpr char kBriefHeader[] =
    "--------------------------------------------------------\n"
    " Session  Admin          Oper           Destination     \n"
    "          State          State          Interface         \n"
    "--------------------------------------------------------\n";
constexpr char kBriefRow[] = " 2        no suspend     active         fc1/2           \n";

// Session 2 with what stands for its two sources.
std::string block(const std::string& rx, const std::string& tx) {
  return "Session 2 (active)\n"
         "   Destination is fc1/2\n"
         "   No session filters configured\n"
         "   Ingress (rx) sources are \n"
         "     " +
         rx +
         "\n"
         "   Egress (tx) sources are \n"
         "     " +
         tx +
         "\n"
         "\n";
}

std::vector<Broken> broken_sources() {
  return {{printed(0, block("err(%d)\n", "fc1/2, "))}, {printed(0, block("fc1/1, ", "err(%d)\n"))}};
}

Bytes session_2() {
  return SessionRecord{.session = 2, .destination = kFc2, .has_destination = 1, .rx = {kFc1}, .tx = {kFc2}}.bytes();
}

// A row printer of the test.
void print_index(const span_cli_parms_t*, uint8_t, const void* record, uint8_t) {
  std::printf("session index %d\n", *static_cast<const uint8_t*>(record));
}

Seen show_source() {
  int32_t column = 5;
  const uint32_t result = span_show_src_if_info(Command(), 1, kFc1, 1, &column);
  return {result, "column " + std::to_string(column)};
}

Seen print_source() {
  int32_t column = 5;
  const Bytes request = join({net_if(kFc1), {1, 1, 0, 0}});
  const uint32_t result =
      span_print_src_if_info(request.data(), SourceInterface{.if_index = kFc1}.response().data(), &column);
  return {result, "column " + std::to_string(column)};
}

// What a function makes of a text, given three flags that are all set.
template <auto kWriter>
Seen write_traffic_names() {
  const uint8_t info[] = {0, 0, 0, 0, 1, 1, 1};
  char text[64] = "";
  const int length = kWriter(text, info);
  return {static_cast<uint32_t>(length), text};
}

Scenarios session_commands() {
  const std::vector<Broken> unanswered = {{printed(0, kTransportError)}};
  return {
      {"span_cli_show_session_info",
       [] { return span_cli_show_session_info(Command().number(2)); },
       printed(0, block("fc1/1, ", "fc1/2, ")),
       {printed(0, kNoQuery)},
       {unanswered[0], broken_sources()[0], broken_sources()[1]}},
      {"span_cli_show_session_info_brief",
       [] { return span_cli_show_session_info_brief(Command().number(2).keyword(9)); },
       printed(0, std::string(kBriefHeader) + kBriefRow),
       {printed(0, kNoQuery)},
       unanswered},
      {"span_cli_show_session_info_common",
       [] { return span_cli_show_session_info_common(Command().number(2), 1, nullptr, print_index); },
       printed(0, "session index 1\n"),
       {printed(0, kNoQuery)},
       unanswered},
  };
}

Scenarios row_printers() {
  return {
      {"span_print_get_session_info",
       [] {
         span_print_get_session_info(Command(), 0, session_2().data(), 0);
         return kOk;
       },
       printed(kOk, block("fc1/1, ", "fc1/2, ")),
       {},
       broken_sources()},
      {"span_print_get_session_info_brief",
       [] {
         span_print_get_session_info_brief(Command(), 0, session_2().data(), 0);
         return kOk;
       },
       printed(kOk, kBriefRow)},
      {"span_print_session_info_brief_header",
       [] {
         span_print_session_info_brief_header();
         return kOk;
       },
       printed(kOk, kBriefHeader)},
      {"span_check_is_session_print_allowed",
       [] { return Seen(span_check_is_session_print_allowed(Command(), session_2().data())); },
       {.result = 1}},
  };
}

Scenarios pieces() {
  return {
      {"span_show_src_if_info",
       show_source,
       {.result = kOk, .printed = "fc1/1, ", .out = "column 12"},
       {},
       {{{.result = kItsCode, .printed = "err(%d)\n", .out = "column 5"}}}},
      {"span_print_src_if_info", print_source, {.result = kOk, .printed = "fc1/1, ", .out = "column 12"}},
      {"span_print_sp",
       [] {
         span_print_sp(3);
         return kOk;
       },
       printed(kOk, "   ")},
      {"span_print_vsan_cfg",
       [] {
         span_print_vsan_cfg("vsan", vsan_holder({{1, 2}}).data());
         return kOk;
       },
       printed(kOk, "vsan 1\nvsan 2\n")},
      {"strcat_span_ks_info", write_traffic_names<strcat_span_ks_info>, {.result = 19, .out = "targetinitiatormgmt"}},
      {"sprintf_ks_info", write_traffic_names<sprintf_ks_info>, {.result = 19, .out = "mgmt"}},
  };
}

}  // namespace

Scenarios show_scenarios() { return joined({session_commands(), row_printers(), pieces()}); }

}  // namespace testkit::failure
