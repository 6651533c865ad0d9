#include "host/manager/responses.h"

#include <algorithm>
#include <iterator>

#include "feature/span/lib/internal/bytes.h"
#include "feature/span/lib/internal/wire.h"
#include "host/manager/records.h"
#include "host/tlv/tlv.h"

namespace manager {
namespace {

using libspan::get;
using libspan::Opcode;

// What of a response has not been looked at yet.
class Rest {
 public:
  explicit Rest(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  // The layout here, null when it is cut off; the rest begins behind it.
  template <libspan::Layout T>
  const T* take() {
    const uint8_t* const here = bytes_.data();
    return skip<T>(1) ? &libspan::view<T>(here) : nullptr;
  }

  // Goes behind `count` of them, when so many are there.
  template <libspan::Layout T>
  bool skip(size_t count) {
    if (count > bytes_.size() / sizeof(T)) return false;
    bytes_ = bytes_.subspan(count * sizeof(T));
    return true;
  }

  // Nothing but `count` of them is left.
  template <libspan::Layout T>
  bool ends_with(size_t count) {
    return skip<T>(count) && bytes_.empty();
  }

 private:
  std::span<const uint8_t> bytes_;
};

template <libspan::Layout T>
bool is_one(Rest rest) {
  return rest.ends_with<T>(1);
}

bool is_session(Rest rest) {
  const auto* head = rest.take<span_session_info_res_payload_t>();
  if (head == nullptr || !rest.skip<span_net_if_t>(get(head->session_info.rx_if_count))) return false;
  const auto* tx_count = rest.take<span_be32_t>();
  return tx_count != nullptr && rest.ends_with<span_net_if_t>(get(*tx_count));
}

bool is_brief(Rest rest) {
  const auto* head = rest.take<libspan::BriefSessionInfoResponse>();
  return head != nullptr && rest.ends_with<BriefRecord>(head->count);
}

bool is_source_result(Rest rest) {
  const auto* head = rest.take<span_set_src_config_res_t>();
  return head != nullptr && rest.ends_with<span_if_result_t>(get(head->if_count));
}

bool is_port_result(Rest rest) {
  const auto* head = rest.take<libspan::PortConfigResponse>();
  return head != nullptr && rest.ends_with<libspan::PortConfigResult>(get(head->count));
}

struct Shape {
  Opcode opcode;
  bool (*fits)(Rest response);
};

// Of all but the global information, which is encoded.
constexpr Shape kShapes[] = {
    {Opcode::kSetDestInfo, is_one<libspan::StatusResponse>},
    {Opcode::kSessionInfo, is_session},
    {Opcode::kSetSrcConfig, is_source_result},
    {Opcode::kDeleteSession, is_one<libspan::DeleteSessionResponse>},
    {Opcode::kSessionInfoBrief, is_brief},
    {Opcode::kSetSessionState, is_one<libspan::StatusResponse>},
    {Opcode::kSrcIfInfo, is_one<span_src_if_info_res_t>},
    {Opcode::kPortConfig, is_port_result},
    {Opcode::kRspanTunnel, is_one<libspan::RspanTunnelResponse>},
};

}  // namespace

bool is_whole(uint32_t opcode, std::span<const uint8_t> response) {
  if (Opcode{opcode} == Opcode::kGlobalInfo) return tlv::decode(response).has_value();
  const auto* shape = std::ranges::find(kShapes, Opcode{opcode}, &Shape::opcode);
  return shape != std::end(kShapes) && shape->fits(Rest(response));
}

}  // namespace manager
