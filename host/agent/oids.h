// Where everything of PORT-MIRROR-MIB lies. The numbers here and those of PORT-MIRROR-MIB.txt are the same ones.
#ifndef HOST_AGENT_OIDS_H
#define HOST_AGENT_OIDS_H

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace agent {

using Oid = std::vector<oid>;

// The one place that says where the MIB lies: below it, portMirrorMIB is number 1. Net-SNMP's arc for trying things.
constexpr std::string_view kDefaultBase = "1.3.6.1.4.1.8072.9999.9999";

// "1.3.6.1.4", maybe with a dot before; nothing when it is no object identifier, or too long for a base.
std::optional<Oid> parse_oid(std::string_view text);
std::string text_of(const Oid& name);

// Moves the MIB. To be called before anything is registered; the default base holds until then.
void set_base(Oid base);

// The object with these numbers below portMirrorMIB.
Oid below_mib(const Oid& arcs);

// `name`, and then `more`.
Oid joined(Oid name, const Oid& more);

// ---- portMirrorMIB's own arcs ---------------------------------------------------------------------------------------

enum : oid { kNotificationsArc = 0, kObjectsArc = 1 };

enum : oid {  // below portMirrorObjects
  kSessionTable = 1,
  kSourceIfTable = 2,
  kSourceVsanTable = 3,
  kVsanFilterTable = 4,
  kDropsGroup = 5,
};

enum : oid {  // columns of portMirrorSessionEntry, indexed by the session
  kSessionNumber = 1,
  kSessionDestination = 2,
  kSessionAdminStatus = 3,
  kSessionOperStatus = 4,
  kSessionReason = 5,
  kSessionRowStatus = 6,
};

enum : oid {  // columns of portMirrorSourceIfEntry, indexed by session, interface and direction
  kSourceIfIndex = 1,
  kSourceIfDirection = 2,
  kSourceIfRowStatus = 3,
};

enum : oid {  // columns of both VSAN tables, indexed by the session: a quarter of all VSANs each
  kVsanFirstQuarter = 1,
  kVsanLastQuarter = 4,
};

enum : oid {  // portMirrorDrops, scalars
  kDropThreshold = 1,
  kDropModule = 2,  // only in notifications
  kDropCount = 3,   // only in notifications
};

enum : oid {                          // below portMirrorNotifications
  kSessionActiveNotification = 1,     // kSessionOperStatus and kSessionReason of the session
  kSessionInactiveNotification = 2,   // the same
  kThresholdChangedNotification = 3,  // kDropThreshold
  kDropsRisingNotification = 4,       // kDropModule, kDropCount
};

// A column's instance: {objects, table, 1, column} and the index. A scalar's: {objects, group, scalar, 0}.
Oid column_of(oid table, oid column, const Oid& index);
Oid scalar_of(oid group, oid scalar);
Oid notification(oid number);

}  // namespace agent

#endif
