#!/bin/bash
# The switch as processes, for as long as a shell is open: lab.sh PROGRAMS [OPTION...] [-- SHELL-ARGUMENT...]
#
# Everything lives in a private directory: sockets, state, logs, the configuration of snmpd. It goes with the shell,
# whatever ends it.
set -uo pipefail

# shellcheck source=host/lab/snmp.sh
source "$(dirname "${BASH_SOURCE[0]}")/snmp.sh"

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
    -*) wrong "unknown option '$1'" ;;
    *) wrong "'$1' is not an option, and a file for the shell goes behind --" ;;
  esac
  shift
done

{ true <&0; } 2>/dev/null || exec </dev/null # a shell in the background cannot be given what is closed
umask 077
base=${XDG_RUNTIME_DIR-}
[ -d "$base" ] && [ -w "$base" ] || base=${TMPDIR:-/tmp}

# What labs left that were killed. The lock of a directory is held as long as anything runs in it; one without a lock is
# kept, or not ours.
clear_leftovers() {
  local left
  for left in "$base"/span-lab.*; do
    if [ ! -L "$left" ] && [ -O "$left" ] && [ -f "$left/lock" ]; then flock -n "$left/lock" rm -rf -- "$left"; fi
  done
}
clear_leftovers

lab=$(mktemp -d "$base/span-lab.XXXXXXXXXX") || exit 1
export SPAN_RUN_DIR=$lab/run SNMP_PERSISTENT_DIR=$lab/snmp

names=()
pids=()
note() { names+=("$1") pids+=("$2"); }

# Ends what runs, the last one started first, and waits for it. A signal may have come before that one was noted.
take_down() {
  trap '' HUP INT TERM
  local i tries last=${!-}
  disown -a
  [[ " ${pids[*]} " == *" $last "* ]] || note "the last process" "$last"
  for ((i = ${#pids[@]} - 1; i >= 0; --i)); do
    kill -TERM "${pids[i]}" 2>/dev/null || continue
    for ((tries = 0; tries < 30; ++tries)); do
      kill -0 "${pids[i]}" 2>/dev/null || break
      sleep 0.1
    done
    kill -KILL "${pids[i]}" 2>/dev/null && say "${names[i]} did not end by itself"
  done
  if [ $keep = yes ]; then
    say "left in place: $lab"
  else
    rm -rf -- "$lab"
  fi
}
trap take_down EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# Every process of the lab holds the lock, as it holds the descriptor. It gets its name when it is held.
if [ $keep = no ]; then
  exec {lock}>"$lab/lock.new"
  flock "$lock" && mv "$lab/lock.new" "$lab/lock"
fi

# start NAME COMMAND...: in a session of its own, so that no key of the terminal reaches it; should this script be
# killed, the kernel ends it. How it ends is told here, not by bash.
start() {
  setsid setpriv --pdeathsig TERM "${@:2}" </dev/null >"$lab/$1.log" 2>&1 &
  note "$1" $!
  disown
}

failed() {
  say "$1 does not come up:"
  sed 's/^/  /' "$lab/$1.log" >&2
  exit 1
}

# comes_up COMMAND...: waits until it succeeds. The program that was started last has to live, and has ten seconds.
comes_up() {
  local tries
  for ((tries = 0; tries < 200; ++tries)); do
    "$@" >/dev/null 2>&1 && return
    kill -0 "${pids[-1]}" 2>/dev/null || break
    sleep 0.05
  done
  return 1
}
await() { comes_up "$@" || failed "${names[-1]}"; }

# on_free_port START FIRST LOG: has START PORT bring a program up on the first port that it gets. Others look for one as
# well: a port that was free may be theirs by now, as the log tells then. The port is $got.
on_free_port() {
  for ((got = $2; got <= 65535; ++got)); do
    port_is_taken "$got" && continue
    "$1" "$got" && return
    lost_port "$got" "$3" || failed "${names[-1]}"
    unset 'names[-1]' 'pids[-1]'
  done
  say "there is no free port behind $2"
  exit 1
}

start_snmptrapd() {
  echo 'authCommunity log public' >"$lab/snmptrapd.conf"
  MIBDIRS=$path start snmptrapd snmptrapd -f -C -c "$lab/snmptrapd.conf" -m PORT-MIRROR-MIB -Lf "$lab/notifications" \
    "udp:127.0.0.1:$1"
  comes_up grep -q NET-SNMP "$lab/notifications"
}

start_snmpd() {
  snmpd_configuration "$1" "$lab/agentx.sock" "$trap_port" >"$lab/snmpd.conf"
  start snmpd "${snmpd[@]}" "$lab/snmpd.conf"
  comes_up test -S "$lab/agentx.sock"
}

[ "$port" -ne 0 ] && port_is_taken "$port" && say "port $port is taken" && exit 1
path=$(module_path)
mkdir "$lab/snmp"

start spand "$programs/spand" "${chassis[@]}" --run-dir "$lab/run" --state "$lab/state"
await test -S "$lab/run/manager.sock"
start span-linecard "$programs/span-linecard" --run-dir "$lab/run"
await grep -q serving "$lab/span-linecard.log"
on_free_port start_snmptrapd $((port == 0 ? 10162 : port + 1)) "$lab/notifications"
trap_port=$got
if [ "$port" -ne 0 ]; then
  start_snmpd "$port" || failed snmpd
else
  on_free_port start_snmpd 10161 "$lab/snmpd.log"
  port=$got
fi
start span-agent "$programs/span-agent" --connect "$lab/run" --agentx "$lab/agentx.sock"
await grep -q serving "$lab/span-agent.log"

say "up: ${names[*]}; all in $lab"
say "walk it from another terminal:"
say "  MIBDIRS=$(printf %q "$path") snmpwalk -v2c -c public -m PORT-MIRROR-MIB 127.0.0.1:$port portMirrorMIB"
say "changes are for the community 'private'; notifications are written to $lab/notifications"

# Tells when one of them ends before its time. The others go on, as they would on a switch.
watch_over() {
  local i told=()
  [ $keep = yes ] || exec {lock}>&- # a process of the lab it is not
  while sleep 0.5 && kill -0 $$ 2>/dev/null; do
    for i in "${!pids[@]}"; do
      kill -0 "${pids[i]}" 2>/dev/null || [ -n "${told[i]-}" ] && continue
      told[i]=yes
      say "${names[i]} has ended: $(tail -n 1 "$lab/${names[i]}.log")"
    done
  done
}
watch_over &
note "the watch" $!
disown

# In the background, so that a signal to this script does not wait for its end; still in the group that has the terminal.
# Ctrl-C is a key of the shell from here on.
run_shell() {
  local status
  trap '' INT
  env --default-signal=INT,QUIT setpriv --pdeathsig TERM "$programs/spansh" --connect "$lab/run" "$@" <&0 &
  note spansh $!
  wait $! 2>/dev/null
  status=$?
  [ $status -le 128 ] || say "the shell was ended by signal $(kill -l $status)"
  return $status
}
run_shell "${shell_arguments[@]}"
