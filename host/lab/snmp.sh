# Net-SNMP around the switch's agent, private and on 127.0.0.1: what scripts share that bring it up. To be sourced.
# shellcheck shell=bash disable=SC2034

mibs=$(cd "$(dirname "${BASH_SOURCE[0]}")/../agent" && pwd -P)
PATH=$PATH:/usr/sbin:/sbin

# snmpd as a program that stays in the foreground; the name of its configuration is to follow.
snmpd=(env MIBS= snmpd -f -Lo -I -smux -C -c)

# snmpd_configuration PORT SOCKET [TRAP-PORT]: it answers there, agents find it at the socket. What an agent needs a
# moment for is not asked again meanwhile.
snmpd_configuration() {
  cat <<END
agentaddress udp:127.0.0.1:$1
rocommunity public 127.0.0.1
rwcommunity private 127.0.0.1
master agentx
agentXTimeout 5
agentXRetries 0
agentXSocket $2
dontLogTCPWrappersConnects yes
END
  [ -z "${3-}" ] || echo "trap2sink 127.0.0.1:$3 public"
}

port_is_taken() { grep -qi ":$(printf '%04X' "$1") " /proc/net/udp; }

# lost_port PORT LOG: whether a program did not come up since somebody else was quicker at its port.
lost_port() { grep -qs "open.*udp:127.0.0.1:$1" "$2"; }

# The folder of the modules that all others build on; its name carries a version.
base_modules() { dpkg -L erlang-snmp 2>/dev/null | sed -n 's|/SNMPv2-SMI\.mib$||p'; }

# Folders where the tools find all modules, the agent's own among them.
module_path() {
  local base
  base=$(base_modules)
  echo "${base:+$base:}$mibs"
}
