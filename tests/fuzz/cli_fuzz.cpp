// The command-line front end: handlers with the tokens that the shell gives them, some of the first ones missing, and
// printers of records.
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "libspan.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/messages.h"
#include "tests/fuzz/platform.h"

namespace {

using fuzz::Bytes;
using fuzz::Input;

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<void, Free>;

Block exact(const Bytes& bytes) { return Block(fuzz::block_of(bytes)); }

template <class T>
Bytes bytes_of(const T& value) {
  Bytes bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

// ---- Commands --------------------------------------------------------------------------------------------------------

// A command record and what its tokens point to.
class Command {
 public:
  explicit Command(Input& input) : input_(input) {
    parms_.negated = input.flip();
    parms_.skip = input.rarely();
    parms_.queue = input.rarely() ? 0 : 7;
    std::strcpy(parms_.requester1, input.text(sizeof parms_.requester1 - 1).c_str());
    std::strcpy(parms_.requester2, input.text(sizeof parms_.requester2 - 1).c_str());
  }

  // The tokens of a shape, in the order typed:
  //   s session number   i interface   r interface ranges   v VSAN range   V the same, of the session filter
  //   n number   d direction, maybe   k keyword   t traffic type   c interface mode   m port mode
  void add(std::string_view shape) {
    for (const char kind : shape) add(kind);
  }

  const span_cli_parms_t* get() {
    const size_t missing = input_.rarely() ? input_.below(static_cast<uint32_t>(tokens_.size()) + 1) : 0;
    parms_.token_count = static_cast<uint8_t>(tokens_.size() - missing);
    for (size_t i = missing; i < tokens_.size(); ++i) parms_.tokens[i - missing + 1] = &tokens_[i];
    return &parms_;
  }

 private:
  void add(char kind);

  void add_token(uint32_t id, const Bytes& value = {}) {
    values_.push_back(value.empty() || input_.rarely() ? nullptr : exact(value));
    tokens_.push_back({id, SPAN_VALUE_NUMBER, {}, values_.back().get()});
  }

  Bytes ranges() {
    span_if_range_list_t list = {};
    list.count = input_.rarely() ? input_.below(SPAN_IF_RANGES + 1) : input_.below(4);
    for (uint32_t i = 0; i < list.count; ++i) {
      list.ranges[i] = {fuzz::any_if_index(input_), fuzz::any_if_index(input_)};
    }
    return bytes_of(list);
  }

  Bytes vsans() {
    const uint32_t range[] = {input_.number(), input_.number()};
    return bytes_of(range);
  }

  Input& input_;
  span_cli_parms_t parms_{};
  std::deque<span_token_t> tokens_;
  std::vector<Block> values_;
};

void Command::add(char kind) {
  switch (kind) {
    case 's':
      return add_token(100, bytes_of(input_.rarely() ? input_.below(1000) : 1 + input_.below(16)));
    case 'i':
      return add_token(101, bytes_of(fuzz::any_if_index(input_)));
    case 'r':
      return add_token(SPAN_TOKEN_IF_RANGES, ranges());
    case 'v':
      return add_token(102, vsans());
    case 'V':
      return add_token(SPAN_TOKEN_FILTER_VSANS, vsans());
    case 'n':
      return add_token(103, bytes_of(input_.number()));
    case 'd':
      if (input_.flip()) add_token(input_.flip() ? SPAN_TOKEN_INGRESS : SPAN_TOKEN_EGRESS);
      return;
    case 't':
      return add_token(SPAN_TOKEN_TRAFFIC_MGMT + input_.below(3));
    case 'c':
      return add_token(SPAN_TOKEN_CONF_INTF, ranges());
    case 'm':
      add_token(SPAN_TOKEN_PORT_MODE);
      return add_token(104, bytes_of(input_.number()));
    default:
      return add_token(8 + input_.below(4));
  }
}

struct Handler {
  uint32_t (*run)(const span_cli_parms_t* parms);
  std::string_view shape;
};

constexpr Handler kHandlers[] = {
    {span_cli_create_session_id, "s"},
    {span_cli_set_dest_config, "si"},
    {span_cli_set_session_state, "s"},
    {span_cli_set_src_config_vsan, "sv"},
    {span_cli_set_src_config_ssn_filter, "sV"},
    {span_cli_set_src_config_if_dir_filter, "srdkv"},
    {span_cli_set_src_config_if, "sr"},
    {span_cli_set_src_config_if_dir, "srd"},
    {span_cli_set_src_config_if_dir_traffic_type, "srdkt"},
    {span_cli_set_port_config, "cm"},
    {span_cli_set_port_config, "kcm"},
    {span_cli_show_session_info, "kks"},
    {span_cli_show_session_info, "kk"},
    {span_cli_show_session_info_brief, "kks"},
    {span_cli_show_session_info_brief, "kk"},
    {span_cli_generate_session_config, ""},
    {span_cli_get_drop_counters, ""},
    {span_cli_get_drop_threshold, ""},
    {span_cli_set_drop_threshold, "n"},
    {span_cli_print_session_id, "s"},
    {span_cli_dump_memstats, "k"},
    {span_cli_dump_global_info, "k"},
    {span_cli_dump_session, "s"},
    {span_cli_dump_if, "i"},
    {span_cli_eventlog_session, "s"},
    {span_cli_eventlog_if, "i"},
    {span_cli_eventlog_stats, "k"},
    {span_cli_test, "n"},
    {span_cli_int_all_session, "s"},
    {span_cli_int_all_if, "i"},
};

void run_handler(Input& input) {
  const Handler& handler = kHandlers[input.below(std::size(kHandlers))];
  Command command(input);
  command.add(handler.shape);
  handler.run(command.get());
}

// ---- Records ---------------------------------------------------------------------------------------------------------

void print_config_result(Input& input) {
  const Block result = exact(fuzz::source_config_result(input));
  span_print_set_src_config_info_res(result.get());
  span_print_src_config_info_res_if(result.get());
  span_print_src_config_info_res_vsan(result.get());
  span_print_src_config_info_res_ssn_filter(result.get());
  span_print_src_config_info_res_src_filter(result.get());
}

void print_session(Input& input) {
  Command command(input);
  const span_cli_parms_t* const parms = command.get();
  const Block record = exact(fuzz::session_record(input));
  const uint8_t all = input.byte();
  span_print_get_session_info(parms, 0, record.get(), all);
  span_print_get_session_info_brief(parms, 0, record.get(), all);
  span_check_is_session_print_allowed(parms, record.get());
  span_show_running_session_info(parms, 0, input.rarely() ? nullptr : record.get());
}

void print_source(Input& input) {
  Bytes bytes = input.sparse(sizeof(span_src_if_info_req_t));
  bytes[5] = static_cast<uint8_t>(input.below(4));
  const Block request = exact(bytes);
  const Block response = exact(fuzz::source_interface(input));
  int32_t column = static_cast<int32_t>(input.below(80));
  span_print_src_if_info(request.get(), response.get(), &column);
  span_print_src_running_config(request.get(), response.get());
}

void show_source(Input& input) {
  Command command(input);
  const span_cli_parms_t* const parms = command.get();
  const uint32_t if_index = fuzz::any_if_index(input);
  int32_t column = 0;
  span_show_src_if_info(parms, input.byte(), if_index, static_cast<uint8_t>(input.below(4)), &column);
  span_show_src_running_config(parms, input.byte(), if_index, static_cast<uint8_t>(input.below(4)));
}

void print_pieces(Input& input) {
  const std::string prefix = input.text(40);
  const Block holder = exact(input.sparse(sizeof(span_vsan_holder_t)));
  span_print_vsan_cfg(prefix.c_str(), holder.get());
  span_print_sp(input.below(100));
  const Block names = exact(input.sparse(sizeof(span_traffic_names_t)));
  const Block text = exact(Bytes(20));
  strcat_span_ks_info(static_cast<char*>(text.get()), names.get());
  sprintf_ks_info(static_cast<char*>(text.get()), names.get());
}

void tunnels(Input& input) {
  const uint32_t port = fuzz::any_if_index(input);
  span_get_rspan_tunnel_config_for_st_port(port, input.byte());
  span_print_rspan_tunnel_config_for_st_port(port, input.byte());
  span_show_rspan_tunnel_config_for_st_port(port, input.byte());
}

void modules(Input& input) {
  Command command(input);
  uint16_t software_id = 0;
  syscli_get_module_swid(command.get(), 1 + input.below(232), &software_id);
}

constexpr void (*kFunctions[])(Input&) = {
    run_handler, run_handler,  run_handler, run_handler, print_config_result, print_session, print_source,
    show_source, print_pieces, tunnels,     modules,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  fuzz::play(input, false);
  for (int calls = 0; calls < 8 && !input.empty(); ++calls) {
    kFunctions[input.below(std::size(kFunctions))](input);
  }
  return 0;
}
