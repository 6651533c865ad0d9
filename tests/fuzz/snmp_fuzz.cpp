// The SNMP back end: every handler of the agent's tables.
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

#include "libspan.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/messages.h"
#include "tests/fuzz/platform.h"

namespace {

using fuzz::Input;

struct Free {
  void operator()(void* block) const { std::free(block); }
};

uint32_t any_session(Input& input) { return input.rarely() ? input.word() : input.below(18); }
int32_t any_direction(Input& input) { return static_cast<int32_t>(input.rarely() ? input.word() : input.below(4)); }
int32_t any_kind(Input& input) { return static_cast<int32_t>(input.below(4)); }

void session_row(Input& input) {
  span_snmp_session_entry_t row;
  span_snmp_session_get(any_session(input), any_kind(input), &row);
}

// Ends whatever the manager says: a step that does not lead on is the last one.
void session_walk(Input& input) {
  span_snmp_session_entry_t row;
  for (uint32_t at = 0; span_snmp_session_get_next(static_cast<int32_t>(at), &row) == SPAN_OK && row.session > at;) {
    at = row.session;
    if (input.empty()) break;
  }
}

void session_change(Input& input) {
  const uint32_t session = any_session(input);
  span_snmp_session_create(session);
  span_snmp_session_dest_set(session, fuzz::any_if_index(input));
  span_snmp_session_admin_status_set(session, input.below(4));
  span_snmp_session(session, input.below(3));
  span_snmp_session_destroy(session);
}

void source_row(Input& input) {
  span_snmp_source_if_entry_t row;
  span_snmp_source_if_get(any_session(input), fuzz::any_if_index(input), static_cast<uint32_t>(any_direction(input)),
                          static_cast<uint32_t>(any_kind(input)), &row);
  span_snmp_source_if_get_next_in_session(static_cast<int32_t>(any_session(input)), fuzz::any_if_index(input),
                                          static_cast<uint32_t>(any_direction(input)), &row);
}

void source_change(Input& input) {
  const uint32_t session = any_session(input);
  const uint32_t if_index = fuzz::any_if_index(input);
  span_snmp_source_if_create(session, if_index, any_direction(input));
  span_snmp_source_if_destroy(session, if_index, any_direction(input));
  span_snmp_source_if(static_cast<uint8_t>(session), if_index, any_direction(input), any_direction(input));
}

void interface_checks(Input& input) {
  const uint32_t if_index = fuzz::any_if_index(input);
  span_snmp_check_if_index(if_index);
  span_snmp_check_if_index_dest(if_index);
  span_snmp_check_if_index_src(if_index);
}

void config_result(Input& input) {
  const std::unique_ptr<void, Free> result(fuzz::block_of(fuzz::source_config_result(input)));
  span_snmp_get_src_config_info_res_if(result.get());
}

void vsan_row(Input& input) {
  span_snmp_vsan_entry_t row;
  span_snmp_source_vsan_get(any_session(input), any_kind(input), &row);
  span_snmp_vsan_filter_get(any_session(input), any_kind(input), &row);
}

void vsan_change(Input& input) {
  static constexpr uint32_t kOperations[] = {4, 8, 16, 32, 0};
  span_snmp_vsan_modify_req_t request = {0, any_session(input), kOperations[input.below(5)], {}};
  const fuzz::Bytes vsans = input.sparse(sizeof request.vsans);
  std::memcpy(request.vsans, vsans.data(), vsans.size());
  if (input.flip()) {
    request.vsans[0] &= 0x7F;
    request.vsans[511] &= 0xFC;
  }
  void* refused = nullptr;
  span_snmp_source_vsan_modify(&request, input.flip() ? &refused : nullptr);
  std::free(refused);
  span_snmp_vsan_filter_modify(&request);
}

void threshold(Input& input) {
  span_snmp_drop_threshold_get();
  span_snmp_drop_threshold_set(input.number());
  span_snmp_session_drop_threshold_set(any_session(input), input.number());
}

constexpr void (*kFunctions[])(Input&) = {
    session_row,      session_walk,  session_change, source_row,  source_change,
    interface_checks, config_result, vsan_row,       vsan_change, threshold,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static uint32_t queue;
  Input input(data, size);
  queue = input.rarely() ? 0 : 7;
  fuzz::play(input, false);
  span_snmp_set_quill_q(&queue);
  span_snmp_set_tarn(input.byte());
  for (int calls = 0; calls < 8 && !input.empty(); ++calls) {
    kFunctions[input.below(std::size(kFunctions))](input);
  }
  return 0;
}
