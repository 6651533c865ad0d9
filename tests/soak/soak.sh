#!/bin/bash
# soak.sh BUILD MINUTES: one half of the time on an embedded switch, the other half on one of processes, whose line cards
# are stopped for a moment every now and then.
set -euo pipefail

build=$1
seconds=$(($2 * 30))
half=$(awk -v minutes="$2" 'BEGIN { print minutes / 2 }')
scratch=$(mktemp -d)
pids=()

finish() {
  [ ${#pids[@]} -eq 0 ] || kill -CONT "${pids[@]}" 2>/dev/null || true
  [ ${#pids[@]} -eq 0 ] || kill "${pids[@]}" 2>/dev/null || true
  wait
  rm -rf "$scratch"
}
trap finish EXIT

# start NAME COMMAND...
start() {
  "${@:2}" </dev/null >"$scratch/$1.log" 2>&1 &
  pids+=($!)
}

await() {
  local tries
  for ((tries = 0; tries < 100; ++tries)); do
    [ -S "$1" ] && return
    sleep 0.1
  done
  cat "$scratch"/*.log >&2
  exit 1
}

# Stops the line cards for longer than an answer is waited for, until the time is over.
disturb() {
  local end=$((SECONDS + seconds))
  while [ $SECONDS -lt $end ]; do
    sleep 8
    kill -STOP "$1" && sleep 2
    kill -CONT "$1"
  done
}

echo "on an embedded switch, $half minutes" >&2
"$build/tests/span_soak" "$half"

echo "on processes, $half minutes" >&2
mkdir -m 700 "$scratch/run" "$scratch/state"
start spand "$build/host/spand" --run-dir "$scratch/run" --state "$scratch/state"
await "$scratch/run/manager.sock"
start linecards "$build/host/span-linecard" --run-dir "$scratch/run"
await "$scratch/run/node-102.sock"
watched=("${pids[@]}")
disturb "${watched[1]}" &
pids+=($!)
"$build/tests/span_soak" "$half" "$scratch/run" "${watched[@]}"
