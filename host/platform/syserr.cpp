#include "platform/syserr.h"

#include <cstdio>

#include "host/platform/state.h"
#include "host/platform/status.h"

namespace host {
namespace {

constexpr Status kStatuses[] = {
    // Asked for where nothing has failed: it must not claim success.
    {0, "SPAN_OK", "no error was reported"},
    {kNoMemory, "SPAN_E_NO_MEMORY", "out of memory"},
    {0x40290000, "SPAN_E_BAD_ARGUMENT", "a needed argument is missing"},
    {kTlvBadTable, "TLV_E_BAD_TABLE", "record description cannot be used"},
    {kTlvMalformed, "TLV_E_MALFORMED", "encoded record is malformed"},
    {kTlvNoArgument, "TLV_E_NO_ARGUMENT", "nothing given to encode or decode"},
    {kTlvNoSuchOption, "TLV_E_NO_SUCH_OPTION", "option of the codec is unknown"},
    {kTlvNoSuchField, "TLV_E_NO_SUCH_FIELD", "encoded record has no such field"},
    {kTlvNoRoom, "TLV_E_NO_ROOM", "room for the field is too small"},
    {kTlvEnd, "TLV_E_END", "encoded record has no more fields"},
    {kNotStarted, "HOST_E_NOT_STARTED", "switch is not started"},
    {kBadMapRequest, "HOST_E_BAD_MAP_REQUEST", "request to the service-module map is malformed"},
    {kNotServiceInterface, "HOST_E_NOT_SERVICE_INTERFACE", "no service-module interface there"},
    {kNoDebugDump, "HOST_E_NO_DEBUG_DUMP", "no such service with debug functions"},
    {kNoSuchModule, "HOST_E_NO_SUCH_MODULE", "no such module, or it does not run"},
    {0x40340000, "SPAN_E_FAILED", "request to the SPAN manager failed"},
    {0x40340002, "SPAN_E_SESSION_NOT_PRESENT", "session is not present"},
    {0x40340004, "SPAN_E_SOURCE_NOT_PRESENT", "source interface is not present"},
    {0x40340008, "SPAN_E_EXCHANGE", "SPAN manager could not be asked"},
    {0x40340015, "SPAN_E_INVALID_PARAM", "invalid parameter"},
    {0x4034002B, "SPAN_E_STANDBY", "SPAN manager is a stateless standby"},
    {0x40340035, "SPAN_E_TLV_TYPE", "type of port configuration is not handled"},
    {0x40340036, "SPAN_E_NO_RESPONSE", "SPAN manager gave no response"},
    {0x40340044, "SPAN_E_WRONG_SESSION", "wrong session number"},
    {0x40340045, "SPAN_E_WRONG_IF_INDEX", "interface cannot serve in this role"},
    {0x40340046, "SPAN_E_WRONG_VSAN", "VSAN is outside the allowed range"},
    {0x40340048, "SPAN_E_WRONG_SOURCE_TYPE", "interface of this type cannot be a mirroring source"},
    {kTransportFailed, "TRANSPORT_FAILED", "service cannot be reached"},
};

const Status* find_in(std::span<const Status> table, uint32_t code) {
  for (const Status& status : table) {
    if (status.code == code) return &status;
  }
  return nullptr;
}

// Texts of unknown codes. Several, for callers that print more than one in a line.
const char* number_text(uint32_t code) {
  static char texts[8][32];
  static unsigned next = 0;
  char(&text)[32] = texts[next++ % 8];
  std::snprintf(text, sizeof text, "unknown status 0x%08x", code);
  return text;
}

// What is known of an exchange that failed, when the library has no more than that to tell; null when none has.
const char* text_of_failure(Switch& here, uint32_t status) {
  if (here.outcome != Outcome::kUnreachable || (status != 0 && status != kTransportFailed)) return nullptr;
  here.failure_told = true;
  return transport_error_text(static_cast<uint32_t>(here.transport_error));
}

}  // namespace

std::span<const Status> platform_statuses() { return kStatuses; }

const Status* find_status(uint32_t code) {
  const Status* const own = find_in(kStatuses, code);
  return own != nullptr ? own : find_in(manager::kReasons, code);
}

}  // namespace host

// What the library wants a text for, it tells. A failed exchange leaves it without a status of the manager, at 0.
const char* syserr2str(uint32_t status) {
  host::Switch* const here = host::running();
  if (here != nullptr) {
    if (const char* const text = host::text_of_failure(*here, status)) return text;
    if (status == 0) status = here->unhandled;
    if (status != 0 && status == here->unhandled) here->failure_told = true;
  }
  const host::Status* known = host::find_status(status);
  return known != nullptr ? known->text : host::number_text(status);
}
