#!/bin/bash
# Runs commands of SNMP tools on the switch of examples/startup.span, for pages: with_agent.sh PROGRAMS COMMAND...
# Shows each command behind a "$ ", then what it prints. The tools find their agent by a configuration of their own.
set -euo pipefail
export LC_ALL=C

programs=$1
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=host/lab/snmp.sh
source "$root/host/lab/snmp.sh"
work=$(mktemp -d)
pids=()
finish() {
  [ ${#pids[@]} = 0 ] || kill "${pids[@]}" 2>/dev/null || true
  wait
  rm -rf "$work"
}
trap finish EXIT

export SNMPCONFPATH=$work SNMP_PERSISTENT_DIR=$work
export MIBDIRS MIBS=PORT-MIRROR-MIB
MIBDIRS=$(module_path)

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

# It serves, or somebody else has its port.
is_settled() { [ -S "$work/agentx.sock" ] || lost_port "$port" "$work/snmpd.log"; }

# start_snmpd PORT: false when the port is not free.
start_snmpd() {
  port=$1
  echo "defaultPort $port" >"$work/snmp.conf"
  snmpd_configuration "$port" "$work/agentx.sock" >"$work/snmpd.conf"
  "${snmpd[@]}" "$work/snmpd.conf" >"$work/snmpd.log" 2>&1 &
  pids+=($!)
  within_10_seconds is_settled
  [ -S "$work/agentx.sock" ]
}

port=$((20000 + $$ * 8 % 20000))
until start_snmpd "$port"; do port=$((port + 1)); done
"$programs/span-agent" --embedded --startup "$root/examples/startup.span" --agentx "$work/agentx.sock" \
  >"$work/agent.log" 2>&1 &
pids+=($!)
serves() { grep -qs serving "$work/agent.log" && snmpget -v2c -c public -Oqv localhost portMirrorDropThreshold.0 | grep -q '^[0-9]'; }
within_10_seconds serves

for command in "${@:2}"; do
  printf '$ %s\n' "$command"
  eval "timeout 20 $command" 2>&1 || true # a refusal is worth showing
done
