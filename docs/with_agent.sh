#!/bin/bash
# Runs commands of SNMP tools on the switch of examples/startup.span, for pages: with_agent.sh PROGRAMS COMMAND...
# Shows each command behind a "$ ", then what it prints. The tools find their agent by a configuration of their own.
set -euo pipefail
export LC_ALL=C PATH=$PATH:/usr/sbin:/sbin

programs=$1
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
pids=()
finish() {
  [ ${#pids[@]} = 0 ] || kill "${pids[@]}" || true
  wait
  rm -rf "$work"
}
trap finish EXIT

port=$((20000 + $$ % 20000))
while grep -qi ":$(printf '%04X' $port) " /proc/net/udp; do port=$((port + 1)); done
export SNMPCONFPATH=$work SNMP_PERSISTENT_DIR=$work
export MIBDIRS MIBS=PORT-MIRROR-MIB
MIBDIRS=$(dpkg -L erlang-snmp | sed -n 's|/SNMPv2-SMI\.mib$||p'):$root/host/agent
echo "defaultPort $port" >"$work/snmp.conf"
cat >"$work/snmpd.conf" <<END
agentaddress udp:127.0.0.1:$port
rocommunity public 127.0.0.1
rwcommunity private 127.0.0.1
master agentx
agentXSocket $work/agentx.sock
END

# within_10_seconds COMMAND...: until it succeeds.
within_10_seconds() {
  local tries
  for ((tries = 0; tries < 200; ++tries)); do
    "$@" && return
    sleep 0.05
  done
  cat "$work"/*.log >&2
  exit 1
}

MIBS='' snmpd -f -C -c "$work/snmpd.conf" -Lo -I -smux >"$work/snmpd.log" 2>&1 &
pids+=($!)
within_10_seconds test -S "$work/agentx.sock"
"$programs/span-agent" --embedded --startup "$root/examples/startup.span" --agentx "$work/agentx.sock" \
  >"$work/agent.log" 2>&1 &
pids+=($!)
within_10_seconds grep -qs serving "$work/agent.log"

for command in "${@:2}"; do
  printf '$ %s\n' "$command"
  eval "timeout 20 $command" 2>&1 || true # a refusal is worth showing
done
