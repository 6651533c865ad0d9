#!/bin/bash
# That a soak fails when there is something to find: soak_test.sh PROGRAMS. Three short ones, of three seconds each.
# shellcheck source=tests/process/spand_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/spand_common.sh"

soak=$programs/../tests/span_soak
minutes=0.05

# soaks NAME STATUS ARGUMENT...: what it says is in $work/said.
soaks() {
  timeout 60 "$soak" "$minutes" "${@:3}" >/dev/null 2>"$work/said" </dev/null
  local status=$?
  verdict "$1" "$(yes_when [ $status = "$2" ])" "status $status" "$(<"$work/said")"
}
says() { verdict "  $1" "$(yes_when grep -qE -- "$2" "$work/said")" "$(<"$work/said")"; }

# A sanitizer keeps what was given back.
if ! ldd "$soak" | grep -q -e libasan -e libubsan; then
  soaks "passes on an embedded switch" 0
  says "whose memory is flat" '^last  self: .* flat$'
fi

start "$work/log" "$programs/spand" --run-dir "$work/run" --state "$work/state"
manager=$pid
bash -c 'for ((i = 0; i < 2000; ++i)); do x+=$(printf %10000s); sleep 0.02; done' &
grows=$!
sleep 1 &
ends=$!
pids+=("$grows" "$ends")
soaks "fails beside processes that do not stay what they were" 1 "$work/run" "$manager" "$grows" "$ends"
says "one grows" "^last  $grows: .* GROWN$"
says "one ends" "^last  $ends: .* GONE$"
says "commands are done all the same" '^commands .*: enough$'

start "$work/standby.log" "$programs/spand" --standby --run-dir "$work/run" --state "$work/state"
soaks "fails on a manager that refuses all" 1 "$work/run/standby.sock"
says "tells it of commands" '^commands .*: TOO FEW$'
says "of reads" '^SNMP reads .*: TOO FEW$'
says "and of writes" '^SNMP writes .*: TOO FEW$'
all_passed
