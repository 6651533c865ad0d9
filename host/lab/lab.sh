#!/bin/bash
# The switch as processes, for as long as a shell is open: lab.sh PROGRAMS [OPTION...] [-- SHELL-ARGUMENT...]
#
# Everything lives in a private directory: sockets, state, logs, the configuration of snmpd. It goes with the shell,
# whatever ends it.
set -uo pipefail

mibs=$(cd "$(dirname "${BASH_SOURCE[0]}")/../agent" && pwd -P)
chassis=()
keep=no
port=0
shell_arguments=()

say() { printf 'lab: %s\n' "$*" >&2; }

usage() {
  cat <<'END'
usage: ./run lab [OPTION...] [-- SHELL-ARGUMENT...]

Brings up the switch as processes of this user in a private directory: the SPAN manager (spand), the line cards
(span-linecard), the SNMP agent (span-agent) under a snmpd of its own, and a receiver of its notifications. Then opens
the operator's shell on them; when it ends, so does everything.

  --chassis FILE   another switch than the default one
  --port NUMBER    UDP port of snmpd on 127.0.0.1; a free one from 10161 on when left out
  --keep           leave the directory there at the end: state, audit, logs

What follows -- goes to the shell, such as:  ./run lab -- examples/tour.span
END
}

wrong() {
  say "$*; try ./run lab --help"
  exit 2
}

is_port() { [[ $1 =~ ^[0-9]{4,5}$ ]] && [ "$1" -ge 1024 ] && [ "$1" -le 65535 ]; }

programs=$1
shift
while [ $# -gt 0 ]; do
  case $1 in
    -h | --help) usage && exit 0 ;;
    --chassis)
      [ -n "${2-}" ] || wrong "--chassis needs a file"
      chassis=(--chassis "$2") && shift
      ;;
    --port)
      is_port "${2-}" || wrong "--port needs a number from 1024 to 65535"
      port=$2 && shift
      ;;
    --keep) keep=yes ;;
    --) shift && shell_arguments=("$@") && break ;;
    *) wrong "unknown option '$1'" ;;
  esac
  shift
done

umask 077
base=${XDG_RUNTIME_DIR-}
[ -d "$base" ] && [ -w "$base" ] || base=${TMPDIR:-/tmp}
lab=$(mktemp -d "$base/span-lab.XXXXXXXXXX") || exit 1
export SPAN_RUN_DIR=$lab/run SNMP_PERSISTENT_DIR=$lab/snmp

names=()
pids=()

# Ends what runs, the last one started first, and waits for it.
take_down() {
  trap '' HUP INT TERM
  [ -z "${watcher-}" ] || kill "$watcher" 2>/dev/null
  local i tries
  for ((i = ${#pids[@]} - 1; i >= 0; --i)); do
    kill -TERM "${pids[i]}" 2>/dev/null || continue
    for ((tries = 0; tries < 30; ++tries)); do
      kill -0 "${pids[i]}" 2>/dev/null || break
      sleep 0.1
    done
    kill -KILL "${pids[i]}" 2>/dev/null && say "${names[i]} did not end by itself"
  done
  wait 2>/dev/null
  if [ $keep = yes ]; then
    say "left in place: $lab"
  else
    rm -rf -- "$lab"
  fi
}
trap take_down EXIT
trap 'exit 129' HUP
trap 'exit 143' TERM
trap : INT # Ctrl-C is a key of the shell

# start NAME COMMAND...: in a session of its own, so that no key of the terminal reaches it; should this script be
# killed, the kernel ends it.
start() {
  setsid setpriv --pdeathsig TERM "${@:2}" </dev/null >"$lab/$1.log" 2>&1 &
  names+=("$1")
  pids+=($!)
}

failed() {
  say "$1 does not come up:"
  sed 's/^/  /' "$lab/$1.log" >&2
  exit 1
}

# await COMMAND...: until it succeeds. The program that was started last has to live, and has ten seconds.
await() {
  local tries
  for ((tries = 0; tries < 200; ++tries)); do
    "$@" >/dev/null 2>&1 && return
    kill -0 "${pids[-1]}" 2>/dev/null || break
    sleep 0.05
  done
  failed "${names[-1]}"
}

port_is_taken() { grep -qi ":$(printf '%04X' "$1") " /proc/net/udp; }

# free_port FIRST
free_port() {
  local number=$1
  while port_is_taken "$number"; do number=$((number + 1)); done
  echo "$number"
}

# Folders where Net-SNMP's tools find the modules.
module_path() {
  local smi
  smi=$(dpkg -L erlang-snmp 2>/dev/null | grep '/mibs/SNMPv2-SMI\.mib$')
  echo "${smi:+${smi%/*}:}$mibs"
}

configure_snmp() {
  mkdir -p "$lab/snmp"
  cat >"$lab/snmpd.conf" <<END
agentaddress udp:127.0.0.1:$port
rocommunity public 127.0.0.1
rwcommunity private 127.0.0.1
master agentx
agentXSocket $lab/agentx.sock
trap2sink 127.0.0.1:$trap_port public
dontLogTCPWrappersConnects yes
END
  cat >"$lab/snmptrapd.conf" <<END
authCommunity log public
END
}

[ "$port" -ne 0 ] || port=$(free_port 10161)
port_is_taken "$port" && say "port $port is taken" && exit 1
trap_port=$(free_port $((port + 1)))
configure_snmp
path=$(module_path)

start spand "$programs/spand" "${chassis[@]}" --run-dir "$lab/run" --state "$lab/state"
await test -S "$lab/run/manager.sock"
start span-linecard "$programs/span-linecard" --run-dir "$lab/run"
await grep -q serving "$lab/span-linecard.log"
PATH=$PATH:/usr/sbin:/sbin
MIBDIRS=$path start snmptrapd snmptrapd -f -C -c "$lab/snmptrapd.conf" -m PORT-MIRROR-MIB -Lf "$lab/notifications" \
  "udp:127.0.0.1:$trap_port"
await test -s "$lab/notifications"
MIBS='' start snmpd snmpd -f -C -c "$lab/snmpd.conf" -Lo -I -smux
await test -S "$lab/agentx.sock"
start span-agent "$programs/span-agent" --connect "$lab/run" --agentx "$lab/agentx.sock"
await grep -q serving "$lab/span-agent.log"

say "up: ${names[*]}; all in $lab"
say "walk it from another terminal:"
say "  MIBDIRS=$path snmpwalk -v2c -c public -m PORT-MIRROR-MIB 127.0.0.1:$port portMirrorMIB"
say "changes are for the community 'private'; notifications are written to $lab/notifications"

# Tells when one of them ends before its time. The others go on, as they would on a switch.
watch_over() {
  local i told=()
  while sleep 0.5 && kill -0 $$; do
    for i in "${!pids[@]}"; do
      kill -0 "${pids[i]}" 2>/dev/null || [ -n "${told[i]-}" ] && continue
      told[i]=yes
      say "${names[i]} has ended: $(tail -n 1 "$lab/${names[i]}.log")"
    done
  done
}
watch_over &
watcher=$!

"$programs/spansh" --connect "$lab/run" "${shell_arguments[@]}"
