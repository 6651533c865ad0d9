// Why the manager refuses: its status words of the 0x4034 family, and their texts.
#ifndef HOST_MANAGER_REASONS_H
#define HOST_MANAGER_REASONS_H

#include <cstdint>

namespace manager {

// The exchange: there is no answer.
constexpr uint32_t kMalformed = 0x40340100;
constexpr uint32_t kUnknownOpcode = 0x40340101;
constexpr uint32_t kWrongKind = 0x40340102;
constexpr uint32_t kStandby = 0x4034002B;  // the library's own, which knows its text

// The request as a whole.
constexpr uint32_t kUnknownOperation = 0x40340110;
constexpr uint32_t kWrongDirection = 0x40340111;
constexpr uint32_t kUnknownSourceType = 0x40340112;
constexpr uint32_t kNoSuchSession = 0x40340113;
constexpr uint32_t kNoInterfaces = 0x40340114;
constexpr uint32_t kTooManyRanges = 0x40340115;
constexpr uint32_t kUnknownEntry = 0x40340116;
constexpr uint32_t kUnknownPortMode = 0x40340117;
constexpr uint32_t kBadThreshold = 0x40340118;

// The two that the shell tells for source VSANs although no VSAN is at fault.
constexpr uint32_t kSessionNotConfigured = 0x4034003B;
constexpr uint32_t kNotSourceVsans = 0x4034003C;

// One interface.
constexpr uint32_t kUnknownInterface = 0x40340120;
constexpr uint32_t kReversedRange = 0x40340121;
constexpr uint32_t kMixedRange = 0x40340122;
constexpr uint32_t kMemberOfPortChannel = 0x40340123;
constexpr uint32_t kIsDestination = 0x40340124;
constexpr uint32_t kIsSource = 0x40340125;
constexpr uint32_t kCannotBeSource = 0x40340126;
constexpr uint32_t kCannotBeDestination = 0x40340127;
constexpr uint32_t kHasNoPortMode = 0x40340128;
constexpr uint32_t kOtherSourceType = 0x40340129;
constexpr uint32_t kPortModeNotNormal = 0x4034012A;
constexpr uint32_t kNotActiveInband = 0x4034012B;
constexpr uint32_t kNoServiceChannel = 0x4034012C;
constexpr uint32_t kDestinationInUse = 0x4034012D;
constexpr uint32_t kNotDestination = 0x4034012E;
constexpr uint32_t kNotSource = 0x4034012F;
constexpr uint32_t kTooManySources = 0x40340130;

// VSANs.
constexpr uint32_t kNoSuchVsan = 0x40340140;
constexpr uint32_t kNotInFilter = 0x40340141;
constexpr uint32_t kTooManySourceVsans = 0x40340142;

// Debug dumps.
constexpr uint32_t kNoSuchDump = 0x40340150;
constexpr uint32_t kNoSuchObject = 0x40340151;
constexpr uint32_t kNoSuchTest = 0x40340152;

// The daemon.
constexpr uint32_t kNotPermitted = 0x40340160;
constexpr uint32_t kNotSaved = 0x40340161;
constexpr uint32_t kStillActive = 0x40340162;

struct Reason {
  uint32_t code;
  const char* name;
  const char* text;
};

constexpr Reason kReasons[] = {
    {kMalformed, "SPAN_E_MALFORMED", "malformed request"},
    {kUnknownOpcode, "SPAN_E_UNKNOWN_OPCODE", "unknown request"},
    {kWrongKind, "SPAN_E_WRONG_KIND", "wrong kind of request"},
    {kUnknownOperation, "SPAN_E_UNKNOWN_OPERATION", "unknown operation"},
    {kWrongDirection, "SPAN_E_WRONG_DIRECTION", "direction not possible here"},
    {kUnknownSourceType, "SPAN_E_UNKNOWN_SOURCE_TYPE", "unknown source type"},
    {kNoSuchSession, "SPAN_E_NO_SUCH_SESSION", "session number is not 1 to 16"},
    {kNoInterfaces, "SPAN_E_NO_INTERFACES", "no interface given"},
    {kTooManyRanges, "SPAN_E_TOO_MANY_RANGES", "too many interface ranges in one request"},
    {kUnknownEntry, "SPAN_E_UNKNOWN_ENTRY", "unknown port configuration"},
    {kUnknownPortMode, "SPAN_E_UNKNOWN_PORT_MODE", "unknown port mode"},
    {kBadThreshold, "SPAN_E_BAD_THRESHOLD", "drop threshold out of range"},
    {kSessionNotConfigured, "SPAN_E_SESSION_NOT_CONFIGURED", "session is not configured"},
    {kNotSourceVsans, "SPAN_E_NOT_SOURCE_VSANS", "none of these VSANs is a source of the session"},
    {kUnknownInterface, "SPAN_E_UNKNOWN_INTERFACE", "unknown interface"},
    {kReversedRange, "SPAN_E_REVERSED_RANGE", "interface range ends before it begins"},
    {kMixedRange, "SPAN_E_MIXED_RANGE", "interface range crosses modules or interface types"},
    {kMemberOfPortChannel, "SPAN_E_MEMBER_OF_PORT_CHANNEL", "interface is a member of a port channel"},
    {kIsDestination, "SPAN_E_IS_DESTINATION", "interface is the destination of a SPAN session"},
    {kIsSource, "SPAN_E_IS_SOURCE", "interface is a source of a SPAN session"},
    {kCannotBeSource, "SPAN_E_CANNOT_BE_SOURCE", "interfaces of this type cannot be a SPAN source"},
    {kCannotBeDestination, "SPAN_E_CANNOT_BE_DESTINATION", "interfaces of this type cannot be a SPAN destination"},
    {kHasNoPortMode, "SPAN_E_HAS_NO_PORT_MODE", "interfaces of this type have no port mode"},
    {kOtherSourceType, "SPAN_E_OTHER_SOURCE_TYPE", "interface is of another kind than the first one of the list"},
    {kPortModeNotNormal, "SPAN_E_PORT_MODE_NOT_NORMAL", "interface is in a SPAN port mode, not in the normal one"},
    {kNotActiveInband, "SPAN_E_NOT_ACTIVE_INBAND", "interface is not the in-band interface of the active supervisor"},
    {kNoServiceChannel, "SPAN_E_NO_SERVICE_CHANNEL", "interface has no port channel that carries its traffic"},
    {kDestinationInUse, "SPAN_E_DESTINATION_IN_USE", "interface is the destination of another SPAN session"},
    {kNotDestination, "SPAN_E_NOT_DESTINATION", "interface is not the destination of the session"},
    {kNotSource, "SPAN_E_NOT_SOURCE", "interface is not a source of the session in this direction"},
    {kTooManySources, "SPAN_E_TOO_MANY_SOURCES", "session has no room for more source interfaces"},
    {kNoSuchVsan, "SPAN_E_NO_SUCH_VSAN", "VSAN does not exist"},
    {kNotInFilter, "SPAN_E_NOT_IN_FILTER", "none of these VSANs is in the filter"},
    {kTooManySourceVsans, "SPAN_E_TOO_MANY_SOURCE_VSANS", "session has no room for more source VSANs"},
    {kNoSuchDump, "SPAN_E_NO_SUCH_DUMP", "SPAN manager has no such debug function"},
    {kNoSuchObject, "SPAN_E_NO_SUCH_OBJECT", "debug function cannot tell about this"},
    {kNoSuchTest, "SPAN_E_NO_SUCH_TEST", "test number is not 1 to 5"},
    {kNotPermitted, "SPAN_E_NOT_PERMITTED", "changes are not permitted to this user"},
    {kNotSaved, "SPAN_E_NOT_SAVED", "change could not be saved; nothing was changed"},
    {kStillActive, "SPAN_E_STILL_ACTIVE", "another SPAN manager is active"},
};

}  // namespace manager

#endif
