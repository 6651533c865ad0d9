// The request layer: every builder, request and decoder of libspan.h, with what callers may pass.
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

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

// Out-arguments, released at the end; for functions that hand out a block.
template <class T = void>
class Out {
 public:
  Out() = default;
  Out(const Out&) = delete;
  Out& operator=(const Out&) = delete;
  ~Out() { std::free(block_); }

  T** get() { return &block_; }
  T* operator*() const { return block_; }

 private:
  T* block_ = nullptr;
};

// Bytes in a block of their size, so that a step beyond them is seen.
std::unique_ptr<void, Free> exact(const Bytes& bytes) { return std::unique_ptr<void, Free>(fuzz::block_of(bytes)); }

struct Caller {
  explicit Caller(Input& input)
      : queue(input.rarely() ? 0 : 7),
        text1(input.text(100)),
        text2(input.text(60)),
        requester1(input.rarely() ? nullptr : text1.c_str()),
        requester2(input.rarely() ? nullptr : text2.c_str()) {}
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  uint32_t queue;
  std::string text1;
  std::string text2;
  const char* requester1;
  const char* requester2;
};

Bytes range_list(Input& input) {
  const uint32_t count = input.below(input.rarely() ? 200 : 5);
  Bytes list(16 + 8 * size_t{count < 64 ? 64 : count});
  std::memcpy(list.data() + 4, &count, sizeof count);
  for (uint32_t i = 0; i < 2 * count; ++i) {
    const uint32_t if_index = fuzz::any_if_index(input);
    std::memcpy(list.data() + 16 + 4 * i, &if_index, sizeof if_index);
  }
  return list;
}

Bytes pairs(Input& input, uint32_t count) {
  Bytes list(8 * size_t{count});
  for (uint32_t i = 0; i < 2 * count; ++i) {
    const uint32_t if_index = fuzz::any_if_index(input);
    std::memcpy(list.data() + 4 * i, &if_index, sizeof if_index);
  }
  return list;
}

// ---- Session queries and changes -------------------------------------------------------------------------------------

void get_session_info(Input& input) {
  const Caller caller(input);
  const uint32_t session = input.number();
  uint8_t valid = 0;
  uint8_t* record = nullptr;
  Out<> response;
  span_get_session_info(caller.queue, caller.requester1, caller.requester2, &session, input.byte(), &valid, &record,
                        response.get());
}

void get_session_info_brief(Input& input) {
  const Caller caller(input);
  const uint32_t range[] = {input.number(), input.number()};
  uint8_t count = 0;
  uint8_t* records = nullptr;
  Out<> response;
  span_get_session_info_brief(caller.queue, caller.requester1, caller.requester2, range, input.byte(), &count, &records,
                              response.get());
}

void set_dest_info(Input& input) {
  const Caller caller(input);
  uint32_t status = 0;
  Out<> response;
  span_set_dest_info(caller.queue, caller.requester1, caller.requester2, input.byte(), input.byte(),
                     fuzz::any_if_index(input), input.number(), 0, &status, response.get());
}

void set_src_config(Input& input) {
  const Caller caller(input);
  const uint32_t vsans[] = {input.number(), input.number()};
  Bytes holder = input.sparse(516);
  const auto bitmap = exact(holder);
  const auto ranges = exact(range_list(input));
  Out<> response;
  span_set_src_config(caller.queue, caller.requester1, caller.requester2, input.byte(), input.byte(), input.byte(),
                      input.byte(), input.flip() ? vsans : nullptr, input.flip() ? bitmap.get() : nullptr,
                      input.flip() ? ranges.get() : nullptr, 0, response.get());
}

void delete_session(Input& input) {
  const Caller caller(input);
  const uint8_t count = input.byte();
  const auto indexes = exact(input.sparse(count));
  uint32_t status = 0;
  Out<> response;
  span_delete_session(caller.queue, caller.requester1, caller.requester2, count,
                      static_cast<const uint8_t*>(indexes.get()), input.byte(), &status, response.get());
}

void set_session_state(Input& input) {
  const Caller caller(input);
  uint32_t status = 0;
  Out<> response;
  span_set_session_state(caller.queue, caller.requester1, caller.requester2, input.byte(), input.byte(), &status,
                         response.get());
}

void global_info(Input& input) {
  const Caller caller(input);
  const span_global_info_payload_t request = {input.number(), input.number(), 0};
  Out<span_global_info_payload_t> reply;
  span_global_info(caller.queue, caller.requester1, caller.requester2, &request, reply.get());
}

void parse_global_info(Input& input) {
  const auto payload = exact(input.sparse(4));
  Out<span_global_info_payload_t> reply;
  span_parse_global_info_res_payload(static_cast<const uint8_t*>(payload.get()), reply.get());
}

void codec(Input& input) {
  const span_global_info_payload_t record = {};
  Out<> tlv;
  uint32_t length = 0;
  span_global_info_payload_to_tlv(&record, tlv.get(), &length, 0, 0, 0);
  Out<span_global_admin_info_tlv_data_t> decoded;
  const auto text = exact(input.sparse(8));
  span_global_admin_info_tlv_data_to_struct(decoded.get(), text.get(), 0, 0);
  span_global_info_payload_get_struct_sz(text.get());
}

// ---- Interfaces and ports --------------------------------------------------------------------------------------------

void get_src_if_info(Input& input) {
  const Caller caller(input);
  span_src_if_info_req_t request = {};
  const Bytes bytes = input.sparse(sizeof request);
  std::memcpy(&request, bytes.data(), sizeof request);
  Out<> response;
  span_get_src_if_info(caller.queue, caller.requester1, caller.requester2, &request, response.get());
}

void rspan_tunnel(Input& input) {
  uint32_t tunnel = 0;
  span_get_rspan_tunnel_config(input.byte(), input.number(), &tunnel);
}

void port_config(Input& input) {
  const Caller caller(input);
  const uint32_t count = input.below(input.rarely() ? 400 : 5);
  const auto ranges = exact(pairs(input, count));
  const uint32_t value = input.number();
  uint32_t result_count = 0;
  Out<uint32_t> results;
  span_vex_set_port_config(caller.queue, caller.requester1, caller.requester2, count,
                           static_cast<const uint32_t*>(ranges.get()), input.below(3) != 0 ? 1 : input.byte(),
                           input.rarely() ? input.byte() : 4, &value, &result_count, results.get());
}

void snmp_port_config(Input& input) {
  const Caller caller(input);
  span_snmp_set_port_config(caller.queue, caller.requester1, caller.requester2, fuzz::any_if_index(input),
                            input.number());
}

void parse_port_config(Input& input) {
  const auto response = exact(fuzz::port_config_result(input));
  uint32_t count = 0;
  Out<uint32_t> results;
  span_parse_set_port_config_res_payload(input.rarely() ? nullptr : response.get(), &count, results.get());
}

void interface_lists(Input& input) {
  const auto list = exact(fuzz::interface_list(input));
  uint32_t next = 0;
  span_if_list_get_next(list.get(), fuzz::any_if_index(input), &next);
  span_if_list_if_is_present(list.get(), fuzz::any_if_index(input));
}

void predicates(Input& input) {
  const uint32_t if_index = fuzz::any_if_index(input);
  span_is_iscsi_if(if_index);
  span_is_fcip_if(if_index);
  span_is_rspan_tunnel_if(if_index);
  span_check_pch_subtype(if_index, input.below(4));
}

// The caller's list has room for three port channels for each interface of the map.
void convert_interfaces(Input& input) {
  Bytes list = range_list(input);
  list.resize(16 + size_t{8} * 3 * 300);
  const auto ranges = exact(list);
  span_convert_ks_intf_to_ipch(input.byte(), ranges.get(), static_cast<signed char>(input.byte()));
}

// ---- Port manager, text ----------------------------------------------------------------------------------------------

void free_members(span_pm_src_info_pch_t& body) {
  for (uint32_t i = 0; body.pchs != nullptr && i < body.count; ++i) std::free(body.pchs[i].members);
  std::free(body.pchs);
}

void free_members(span_pm_src_info_vsan_t& body) {
  uint32_t count = 0;
  for (const uint8_t byte : body.vsans) count += static_cast<uint32_t>(__builtin_popcount(byte));
  for (uint32_t i = 0; body.entries != nullptr && i < count; ++i) std::free(body.entries[i].members);
  std::free(body.entries);
}

void port_info(Input& input) {
  const auto message = exact(fuzz::port_info(input));
  Out<span_pm_port_info_t> info;
  span_parse_pm_span_get_port_info(info.get(), message.get(), 0);
  if (*info == nullptr) return;
  auto& body = (*info)->body;
  if ((*info)->kind == SPAN_PM_INTERFACES) std::free(body.interfaces.ifs);
  if ((*info)->kind == SPAN_PM_PORT_CHANNELS) free_members(body.port_channels);
  if ((*info)->kind == SPAN_PM_VSANS) free_members(body.vsans);
}

void vsan_text(Input& input) {
  const auto holder = exact(input.sparse(516));
  span_vsan_bitset_sprintf(holder.get());
  span_print_time();
}

constexpr void (*kFunctions[])(Input&) = {
    get_session_info, get_session_info_brief, set_dest_info,   set_src_config,  delete_session,     set_session_state,
    global_info,      parse_global_info,      codec,           get_src_if_info, rspan_tunnel,       port_config,
    snmp_port_config, parse_port_config,      interface_lists, predicates,      convert_interfaces, port_info,
    vsan_text,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  fuzz::play(input, true);
  while (!input.empty()) kFunctions[input.below(std::size(kFunctions))](input);
  return 0;
}
