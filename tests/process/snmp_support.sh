# The switch as processes with its SNMP agent, a snmpd and a receiver of notifications, for the tests of what they tell.
# Sourced with the folder of the programs as the only argument. All is private and goes at the end.
# shellcheck shell=bash disable=SC2034
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"
# shellcheck source=host/lab/snmp.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../host/lab/snmp.sh"

programs=$(realpath "$1")
work=$(mktemp -d)
export SPAN_RUN_DIR=$work/run SNMP_PERSISTENT_DIR=$work/snmp SNMPCONFPATH=$work/snmp
mkdir "$SNMP_PERSISTENT_DIR"
manager_options=()
agent_options=()
declare -A pids=()

# stop NAME [SIGNAL]: ends what was started by that name, and waits for it.
stop() {
  [ -n "${pids[$1]-}" ] || return 0
  kill -CONT "${pids[$1]}" 2>/dev/null
  kill "-${2-TERM}" "${pids[$1]}" 2>/dev/null
  within 10 ended "${pids[$1]}" || kill -KILL "${pids[$1]}" 2>/dev/null
  unset "pids[$1]"
}
ended() { ! kill -0 "$1" 2>/dev/null; }

finish() {
  local name
  for name in heedful deaf agent snmpd snmptrapd cards manager; do stop "$name"; done
  rm -rf "$work"
}
trap finish EXIT

# same NAME EXPECTED GOT
same() { verdict "$1" "$(yes_when [ "$2" = "$3" ])" "expected:" "$2" "got:" "$3"; }

# ---- The processes ---------------------------------------------------------------------------------------------------

# free_port FIRST
free_port() {
  local number=$1
  while port_is_taken "$number"; do number=$((number + 1)); done
  echo "$number"
}

# start NAME COMMAND...: its output goes to NAME.log. How it ends is no news for the shell.
start() {
  "${@:2}" </dev/null >>"$work/$1.log" 2>&1 &
  pids[$1]=$!
  disown
}

# needed SECONDS COMMAND...: or the test cannot go on.
needed() {
  within "$@" >/dev/null 2>&1 && return
  echo "FAILED  comes up: ${*:2}"
  tail -n 5 "$work"/*.log
  exit 1
}

span() { timeout 30 "$programs/spansh" --connect "$@"; }
knows_the_switch() { span -c 'show vsan' >/dev/null; }
log_has() { grep -q -- "$2" "$work/$1.log"; }
log_lines() { grep -c -- "$2" "$work/$1.log"; }

start_manager() {
  start manager "$programs/spand" --run-dir "$SPAN_RUN_DIR" --state "$work/state" "${manager_options[@]}"
  needed 10 knows_the_switch
}

start_cards() {
  start cards "$programs/span-linecard" --run-dir "$SPAN_RUN_DIR"
  needed 10 log_has cards serving
}

snmp_port=$(free_port $((20000 + $$ * 8 % 20000)))
trap_port=$(free_port $((snmp_port + 1)))

# settled PORT LOG COMMAND...: it succeeds, or somebody else was quicker at the port.
settled() { "${@:3}" || lost_port "$1" "$2"; }

# snmpd has objects of its own left away but for those that every agent has.
start_snmpd() {
  until try_snmpd; do snmp_port=$(free_port $((snmp_port + 1))); done
}

try_snmpd() {
  rm -f "$work/agentx.sock"
  snmpd_configuration "$snmp_port" "$work/agentx.sock" "$trap_port" >"$work/snmpd.conf"
  start snmpd "${snmpd[@]}" "$work/snmpd.conf"
  needed 10 settled "$snmp_port" "$work/snmpd.log" test -S "$work/agentx.sock"
  test -S "$work/agentx.sock"
}

# Waits until it serves, once more than before.
start_agent() {
  local before
  touch "$work/agent.log"
  before=$(log_lines agent serving)
  start agent "$programs/span-agent" --connect --agentx "$work/agentx.sock" "${agent_options[@]}"
  needed 20 serves_again "$before"
}
serves_again() { [ "$(log_lines agent serving)" -gt "$1" ] && is_registered; }

# It says that it serves before snmpd has heard of its objects.
is_registered() { ! snmp get "$registered.1.5.1.0" | grep -q 'No Such Object'; }

# ---- Questions by number ---------------------------------------------------------------------------------------------

mirror=.1.3.6.1.4.1.8072.9999.9999.1
smon=.1.3.6.1.2.1.16.22.1
registered=$mirror

# snmp TOOL OID...: as the tool prints it, by number.
snmp() {
  local tool=$1
  shift
  MIBS='' timeout 60 "snmp$tool" -v2c -c public -t 8 -r 0 -On "127.0.0.1:$snmp_port" "$@" 2>&1
}
snmp_set() { MIBS='' timeout 60 snmpset -v2c -c private -t 8 -r 0 -On "127.0.0.1:$snmp_port" "$@" 2>&1; }

fc() { echo $((0x01000000 + $1 * 65536 + $2)); }
