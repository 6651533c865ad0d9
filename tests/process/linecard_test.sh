#!/bin/bash
# Line cards as processes, beside the SPAN manager: linecard_test.sh PROGRAMS. One line for each check; fails when one of
# them does.
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"

programs=$(realpath "$1")
work=$(mktemp -d)
run=$work/run
export SPAN_RUN_DIR=$run
declare -A pids=()

# shellcheck disable=SC2317
finish() {
  local pid
  {
    for pid in "${pids[@]}"; do kill -KILL "$pid" && wait "$pid"; done
  } 2>/dev/null
  rm -rf "$work"
}
trap finish EXIT

# ---- Processes -------------------------------------------------------------------------------------------------------

# start NAME COMMAND...: its standard error goes to $work/NAME.log.
start() {
  "${@:2}" >/dev/null 2>>"$work/$1.log" &
  pids[$1]=$!
}

# stop SIGNAL NAME: and waits for it, as long as ten seconds.
stop() {
  local pid=${pids[$2]} status
  unset "pids[$2]"
  {
    kill "-$1" "$pid"
    timeout 10 tail -f --pid="$pid" /dev/null || kill -KILL "$pid"
    wait "$pid"
    status=$?
  } 2>/dev/null
  return $status
}

start_manager() {
  start spand "$programs/spand" --chassis "$work/switch.toml" --state "$work/state"
  within 10 shell -c 'show vsan' >/dev/null
}

# start_cards NAME OPTION...: until they serve.
start_cards() {
  : >"$work/$1.log"
  start "$1" "$programs/span-linecard" "${@:2}"
  within 10 grep -qs serving "$work/$1.log"
}

# ---- The shell -------------------------------------------------------------------------------------------------------

# Modules that do not answer cost a second.
shell() { "$programs/spansh" --connect "$run" --timeout 1000 "$@" 2>&1; }

configure() {
  local arguments=(-c configure) command
  for command in "$@"; do arguments+=(-c "$command"); done
  shell "${arguments[@]}"
}

screen() { shell -c 'show span drop-counters'; }

# Sets `out` to what the command prints, and `took` to its time in milliseconds.
timed() {
  local begin=${EPOCHREALTIME/./}
  out=$("$@")
  took=$(((${EPOCHREALTIME/./} - begin) / 1000))
}

# drops MODULE: the number on the screen.
drops() {
  local number
  number=$(screen | sed -n "s/^SPAN Drop-Counters for module $1 is: 0x//p")
  [ -n "$number" ] && echo $((16#$number))
}

shows() { [ -n "$(drops "$1")" ]; }

# sample MODULE: sets `count`, and `before` and `after` to microseconds between which it was the counter.
sample() {
  before=${EPOCHREALTIME/./}
  count=$(drops "$1")
  after=${EPOCHREALTIME/./}
}

# moved_by RATE FIRST LAST: whether the counter moved by RATE a second between two samples "COUNT BEFORE AFTER". A sample
# is the counter of one moment in its span, so that there are sharp limits to either side; 10 more for the threshold, the
# rounding to milliseconds, and the way of the rates to the line card.
moved_by() {
  local rate=$1 count1 before1 after1 count2 before2 after2
  read -r count1 before1 after1 <<<"$2"
  read -r count2 before2 after2 <<<"$3"
  local moved=$((count2 - count1))
  [ $moved -ge $((rate * (before2 - after1) / 1000000 - 10)) ] &&
    [ $moved -le $((rate * (after2 - before1) / 1000000 + 10)) ]
}

# check_rate NAME RATE MODULE: over a second.
check_rate() {
  local first
  sample "$3"
  first="$count $before $after"
  sleep 1
  sample "$3"
  verdict "$1" "$(yes_when moved_by "$2" "$first" "$count $before $after")" "$first" "$count $before $after"
}

# refused NAME STATUS TEXT OPTION...: span-linecard does not begin, with one line that says why.
refused() {
  local said status
  said=$(timeout 20 "$programs/span-linecard" "${@:4}" 2>&1)
  status=$?
  # shellcheck disable=SC2053
  verdict "$1" "$([ $status = "$2" ] && [[ $said == $3 ]] && echo yes)" "status $status" "$said"
}

cat >"$work/switch.toml" <<'END'
name = "cards"
vsans = "1-10"
[[module]]
number = 1
name = "line card"
software-id = 43
traffic = 6000
fc-ports = "1-4"
[[module]]
number = 2
name = "silent line card"
state = "silent"
software-id = 34
[[module]]
number = 3
name = "absent line card"
state = "absent"
[[module]]
number = 4
name = "line card without power"
state = "powered-down"
software-id = 43
[[module]]
number = 5
name = "supervisor"
supervisor = true
software-id = 11
[[module]]
number = 6
name = "supervisor"
supervisor = true
software-id = 11
[[module]]
number = 7
name = "line card"
software-id = 163
traffic = 6000
fc-ports = "1-4"
[[role]]
name = "all"
interfaces = "all"
vsans = "all"
END

# ---- All in one ------------------------------------------------------------------------------------------------------

refused "does not wait longer than told" 3 \
  "*/manager.sock: No such file or directory; waiting*"$'\n'"span-linecard: */manager.sock: No such file or directory" --wait 1
start cards "$programs/span-linecard"
verdict "waits for the manager" "$(yes_when within 10 grep -qs 'waiting for the SPAN manager' "$work/cards.log")"
start_manager
verdict "serves as soon as the manager is there" "$(yes_when within 10 grep -qs serving "$work/cards.log")"
said=$(<"$work/cards.log")
expected="span-linecard: $run/manager.sock: No such file or directory; waiting for the SPAN manager
span-linecard: serving cards in $run: supervisor, modules 1, 2, 7"
verdict "with a line for each" "$([ "$said" = "$expected" ] && echo yes)" "$said"
sockets=$(cd "$run" && echo *)
verdict "has a socket for each address" \
  "$(yes_when [ "$sockets" = 'manager.sock node-102.sock node-2.sock node-202.sock node-702.sock' ])" "$sockets"
modes=$(stat -c '%a %g' "$run"/*.sock | sort -u)
verdict "who may use the manager may use the modules" "$(yes_when [ "$modes" = "660 $(id -g)" ])" "$modes"

timed screen
expected='SPAN Drop-Counters for module 1 is: 0x0
span_show_send_receive QUILL receive error 6e
span_cli_get_drop_counters module 2 not available
Cannot get info about module 3
SPAN Drop-Counters for module 7 is: 0x0
spansh: modules: no answer came in time: whether the request was carried out is not known'
verdict "every kind of module and of absence shows" "$([ "$out" = "$expected" ] && echo yes)" "$out"
verdict "a silent module costs its time-out, once" "$([ $took -ge 1000 ] && [ $took -lt 2000 ] && echo yes)" "$took ms"

configure 'span max-queued-packets 1' 'interface fc1/1' 'port mode span-destination' 'exit' 'span session 1' \
  'destination interface fc1/1' 'source interface fc1/2, fc7/1 rx' 'source interface fc7/2 rx' >"$work/configured"
status=$?
verdict "sessions are configured" "$(yes_when [ $status = 0 ])" "$(<"$work/configured")"
check_rate "a counter moves at the rate of its module" 2000 1
check_rate "another one at another rate" 8000 7

sample 1
first="$count $before $after"
stop KILL spand
verdict "without the manager nothing can be asked" "$(shell -c 'show span session' >/dev/null; yes_when [ $? = 3 ])"
sleep 1
start_manager
sample 1
verdict "counters move on without the manager" "$(yes_when moved_by 2000 "$first" "$count $before $after")" \
  "$first" "$count $before $after"
verdict "the return of the manager is noticed" "$(yes_when within 10 grep -q 'is back' "$work/cards.log")"
lines=$(grep -c 'SPAN manager is' "$work/cards.log")
verdict "with a line for its loss and one for its return" "$(yes_when [ "$lines" = 2 ])" "$(<"$work/cards.log")"
configure 'span session 1' 'no source interface fc7/2 rx' >/dev/null
check_rate "the rates of the manager that came back count" 2000 7
configure 'span session 1' suspend >/dev/null
check_rate "a suspended session moves nothing" 0 1
configure 'span session 1' 'no suspend' >/dev/null

stop TERM cards
status=$?
verdict "ends when told" "$(yes_when [ $status = 0 ])" "status $status"
sockets=$(cd "$run" && echo *)
verdict "and removes its sockets" "$(yes_when [ "$sockets" = manager.sock ])" "$sockets"
lines=$(screen | grep -c '^Cannot get info about module [1-7]$')
verdict "without processes nothing is known of any module" "$(yes_when [ "$lines" = 7 ])" "$(screen)"

# ---- One process per module ------------------------------------------------------------------------------------------

start_cards supervisor --module 5
start_cards card1 --module 1 --socket-mode 0600
start_cards card7 --connect "$run/manager.sock" --module 7
mode=$(stat -c %a "$run/node-102.sock")
verdict "a socket has the mode that is asked for" "$(yes_when [ "$mode" = 600 ])" "$mode"
sleep 0.2
out=$(screen)
verdict "a counter starts at 0 with its process" "$([ "$(drops 1)" -gt 0 ] && [ "$(drops 1)" -lt 10000 ] && echo yes)" "$out"
check_rate "each process counts" 2000 7

stop KILL card7
timed screen
verdict "a killed one is not available" \
  "$(grep -q '^span_cli_get_drop_counters module 7 not available$' <<<"$out" && echo yes)" "$out"
verdict "at once" "$([ $took -lt 1000 ] && echo yes)" "$took ms"
verdict "the others are" "$([[ $out == *'for module 1 is: 0x'* ]] && echo yes)" "$out"
start_cards card7 --module 7
verdict "a restarted one takes its socket over" "$(yes_when [ $? = 0 ])" "$(<"$work/card7.log")"
check_rate "and counts" 2000 7

refused "a module is served by one process" 1 "span-linecard: another process serves module 7 in $run" --module 7
refused "so is the supervisor" 1 "span-linecard: another process serves the supervisor in $run" --supervisor
check_rate "which is not disturbed" 2000 7

sample 7
first="$count $before $after"
kill -STOP "${pids[card7]}"
timed screen
verdict "a stopped one costs its time-out" "$([ $took -ge 1000 ] && [ $took -lt 2000 ] && echo yes)" "$took ms"
verdict "and is not available" "$([[ $out == *'module 7 not available'* ]] && echo yes)" "$out"
kill -CONT "${pids[card7]}"
sample 7
verdict "it goes on where it should be" "$(yes_when moved_by 2000 "$first" "$count $before $after")" \
  "$first" "$count $before $after"

stop INT card1
status=$?
verdict "an interrupt ends it, too" "$(yes_when [ $status = 0 ])" "status $status"
stop TERM card7
stop TERM supervisor
stop TERM spand
sockets=$(ls -A "$run")
verdict "nothing is left" "$(yes_when [ -z "$sockets" ])" "$sockets"

: >"$work/card1.log"
start card1 "$programs/span-linecard" --module 1
within 10 grep -qs 'waiting for the SPAN manager' "$work/card1.log"
stop TERM card1
status=$?
verdict "ends when told while it waits" "$(yes_when [ $status = 0 ])" "status $status"

# ---- What it refuses -------------------------------------------------------------------------------------------------

start_manager
refused "no such module" 2 'span-linecard: cards has no module 9; modules: 1, 2, 3, 4, 5, 6, 7' --module 9
refused "an absent module" 2 'span-linecard: module 3 of cards is absent' --module 1 3
refused "a module without power" 2 'span-linecard: module 4 of cards is powered down' --module 4
refused "the other supervisor" 2 'span-linecard: module 6 of cards is not the active supervisor, *' --module 6
refused "no number of a module" 2 '*not in range 1 to 232*' --module 233
refused "a mode that nobody could use" 2 '*not a mode from 0600 to 0666*' --socket-mode 0060
refused "two places at once" 2 '*excludes*' --run-dir "$run" --connect "$run"
refused "a directory without a name" 2 '*a name is expected*' --run-dir ''
refused "a path that is too long" 3 '*/manager.sock: File name too long' --run-dir "$work/$(printf '%0100d' 0)"
refused "what it says is no order to the screen" 3 '*/\\x1b\[2J/manager.sock: No such file*' \
  --run-dir "$work/"$'\e[2J' --wait 0
refused "help tells the exit statuses" 0 '*--module N*--wait SECONDS*3  the SPAN manager could not be reached' --help
refused "version" 0 'span-linecard [0-9]*' --version
sockets=$(cd "$run" && echo *)
verdict "what is refused leaves no socket" "$(yes_when [ "$sockets" = manager.sock ])" "$sockets"

"$programs/span-linecard" --module 1 <&- >&- 2>&- &
pids[cards]=$!
within 10 shows 1
files=$(readlink "/proc/${pids[cards]}/fd/"{0,1,2} | xargs)
verdict "standard files lend their numbers to no socket" \
  "$(yes_when [ "$files" = '/dev/null /dev/null /dev/null' ])" "$files"
refused "a switch without its manager" 3 '*/node-102.sock: this is not the active SPAN manager' \
  --connect "$run/node-102.sock"

all_passed
