#!/bin/bash
# soak.sh BUILD MINUTES: one half of the time on an embedded switch, the other half on one of processes, whose line cards
# are stopped for a moment every now and then, while shells come and go.
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

# anonymous PID: kilobytes of its own that are resident.
anonymous() { awk '/^Anonymous:/ { print $2 }' "/proc/$1/smaps_rollup"; }

# thousand_changes: by one shell. Each of them makes a long line in the audit.
thousand_changes() {
  local ports='fc1/3, fc1/5, fc1/7, fc1/13, fc1/15, fc1/17, fc1/19, fc1/21, fc2/3, fc2/5, fc2/7, fc2/13, fc2/15' i
  printf '%s\n' configure 'span session 16'
  for ((i = 0; i < 499; ++i)); do printf '%s\n' "source interface $ports" "no source interface $ports"; done
  echo 'no span session 16'
}

# The manager's database keeps pages in memory, up to a limit: they are filled first, so that what grows afterwards is no
# cache. A manager that grows on and on is one that leaks.
settle() {
  local batch before=0 now
  for ((batch = 0; batch < 40; ++batch)); do
    thousand_changes | timeout 300 "$build/host/spansh" --connect "$scratch/run" >/dev/null
    now=$(anonymous "$1")
    [ $((now - before)) -ge 16 ] || return 0
    before=$now
  done
  echo "the manager does not settle: $now KB after $batch thousand changes" >&2
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

# visit PATTERN COMMAND...: a shell that comes, is done, and goes. What it shows has a match.
visit() {
  local pattern=$1 arguments=() command shown
  shift
  for command in "$@"; do arguments+=(-c "$command"); done
  shown=$(timeout 20 "$build/host/spansh" --connect "$scratch/run" "${arguments[@]}" 2>&1) &&
    grep -q "$pattern" <<<"$shown"
}

look() { visit '^' 'show span session'; }
change() { visit 'vsans 7$' configure 'span session 16' 'source vsan 7' 'show span session 16' 'no span session 16'; }
count() { visit 'module 2 is: 0x' 'show span drop-counters'; }

# enough WHAT CAME SERVED LEAST: whether so many of 1000 have got what they came for.
enough() {
  local verdict='TOO FEW'
  [ $(($3 * 1000)) -lt $(($2 * $4)) ] || verdict=enough
  printf 'shells that came to %-6s  %6d, served %6d, at least %5.1f %% needed: %s\n' "$1" "$2" "$3" "$4e-1" \
    "$verdict" >&2
  [ "$verdict" = enough ]
}

# Shells that look, count and change, one after the other, until the time is over. Line cards may be stopped when one of
# them is to count.
come_and_go() {
  local end=$((SECONDS + seconds)) number what
  local -A came=([look]=0 [count]=0 [change]=0) served=([look]=0 [count]=0 [change]=0)
  local plan=(change look look count look look look count look look)
  for ((number = 0; number < ${#plan[@]} || SECONDS < end; ++number)); do
    what=${plan[number % ${#plan[@]}]}
    came[$what]=$((came[$what] + 1))
    ! "$what" || served[$what]=$((served[$what] + 1))
  done
  enough look "${came[look]}" "${served[look]}" 999 &&
    enough count "${came[count]}" "${served[count]}" 250 &&
    enough change "${came[change]}" "${served[change]}" 999
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
settle "${watched[0]}"
disturb "${watched[1]}" &
pids+=($!)
come_and_go &
shells=$!
pids+=("$shells")
worst=0
"$build/tests/span_soak" "$half" "$scratch/run" "${watched[@]}" || worst=1
wait "$shells" || worst=1
[ $worst -eq 0 ]
