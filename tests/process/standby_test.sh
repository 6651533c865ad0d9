#!/bin/bash
# Two SPAN managers, of which one is the standby: standby_test.sh PROGRAMS.
# shellcheck source=tests/process/spand_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/spand_common.sh"

here=(--run-dir "$work/run" --state "$work/state")
manager=$work/run/manager.sock
standby=$work/run/standby.sock

expect "nobody is there to take over" 3 "*No such file or directory" "$spand" --take-over "${here[@]}"

start "$work/active.log" "$spand" "${here[@]}"
active=$pid
start "$work/standby.log" "$spand" --standby "${here[@]}"
second=$pid
verdict "says that it stands by" "$(yes_when grep -qx "spand: standing by for spanlab at $standby" "$work/standby.log")"
expect "the active one takes changes" 0 '0x00000000 *' "$ask" "$manager" change 5

expect "the standby answers a session query" 0 '0x00000000 *, manager status 0x4034002b, session is not configured' \
  "$ask" "$standby" query 5
expect "refuses changes" 0 '0x4034002b SPAN manager is a stateless standby' "$ask" "$standby" change 6
expect "refuses dumps" 0 '0x4034002b*' "$ask" "$standby" dump
expect "and has no ports to tell of" 1 'EAGAIN: SPAN manager is a stateless standby' "$ask" "$standby" roles
expect "a second standby finds no room" 1 "*standby.sock*in use*" "$spand" --standby "${here[@]}"

expect "does not take over from one that lives" 1 'spand: another SPAN manager is active' \
  "$spand" --take-over "${here[@]}"
expect "and is still the standby" 0 '*0x4034002b*' "$ask" "$standby" query 5

{ kill -KILL "$active" && wait "$active"; } 2>/dev/null
mv "$work/state/span.db" "$work/sound"
mv "$work/state/span.db-wal" "$work/sound-wal"
echo damaged >"$work/state/span.db"
expect "does not take over a damaged state" 1 "spand: $work/state/span.db: *not a database" \
  "$spand" --take-over "${here[@]}"
mv "$work/sound" "$work/state/span.db"
mv "$work/sound-wal" "$work/state/span.db-wal"
expect "takes over when the active one has died" 0 '' "$spand" --take-over "${here[@]}"
verdict "says so" "$(yes_when grep -qx "spand: took over, serving spanlab at $manager" "$work/standby.log")" \
  "$(<"$work/standby.log")"
expect "knows what the other one was told" 0 '*session is configured' "$ask" "$manager" query 5
expect "takes changes" 0 '0x00000000 *' "$ask" "$manager" change 6
verdict "has left its old place" "$(yes_when [ ! -e "$standby" ])"
expect "the audit tells it" 0 '*take over*create session 6*' "$spand" --audit 2 --state "$work/state"
expect "there is no standby left" 3 '*No such file or directory' "$spand" --take-over "${here[@]}"
expect "the other one does not come back as active" 1 "spand: $work/state: is in use by another SPAN manager, process $second" \
  "$spand" "${here[@]}"
start "$work/back.log" "$spand" --standby "${here[@]}"
back=$pid
expect "but as the standby" 0 '*0x4034002b*' "$ask" "$standby" query 5
kill -TERM "$second"
expect_end "ends when asked to" "$second"
verdict "and takes its socket away" "$(yes_when [ ! -e "$manager" ])"
expect "so that the other one can take over" 0 '' "$spand" --take-over "${here[@]}"
expect "with all changes" 0 '*session is configured' "$ask" "$manager" query 6

# ---- Roles that outlive a process ------------------------------------------------------------------------------------

{ kill -KILL "$back" && wait "$back"; } 2>/dev/null
start "$work/again.log" "$spand" --standby "${here[@]}"
again=$pid
verdict "one that has taken over is the manager when it comes back" "$(yes_when [ "$(<"$work/again.log")" = \
  "spand: has taken over before, and is the manager again
spand: serving spanlab at $manager" ])" "$(<"$work/again.log")"
expect "with the state" 0 '*session is configured' "$ask" "$manager" query 6
expect "the former manager does not serve beside it" 1 "spand: $work/state: is in use by another SPAN manager, process $again" \
  "$spand" "${here[@]}"
expect "nor at other sockets" 1 "spand: $work/state: is in use by another SPAN manager, process $again" \
  "$spand" --run-dir "$work/run2" --state "$work/state"
{ kill -KILL "$again" && wait "$again"; } 2>/dev/null
start "$work/former.log" "$spand" "${here[@]}"
former=$pid
start "$work/last.log" "$spand" --standby "${here[@]}"
verdict "when the former manager was faster, it is the standby" \
  "$(yes_when [ "$(<"$work/last.log")" = "spand: standing by for spanlab at $standby" ])" "$(<"$work/last.log")"
kill -TERM "$former" "$pid"
expect_end "the manager ends" "$former"
expect_end "and the standby" "$pid"
start "$work/last.log" "$spand" --standby "${here[@]}"
verdict "and stays the standby" "$(yes_when grep -q 'standing by' "$work/last.log")" "$(<"$work/last.log")"
kill -TERM "$pid"
expect_end "until it is told to end" "$pid"

# ---- A place that is taken -------------------------------------------------------------------------------------------

# Another manager serves there, from a state of its own. Who cannot be the manager notes no role.
taken="*manager.sock: Address already in use"
is_noted() { [ -e "$work/second/taken-over" ]; }
not_noted() { ! is_noted; }
there=(--run-dir "$work/run" --state "$work/second")
start "$work/first.log" "$spand" "${here[@]}"
first=$pid
start "$work/second.log" "$spand" --standby "${there[@]}"
second=$pid
expect "does not take over a place that is taken" 1 "spand: $taken" "$spand" --take-over "${there[@]}"
verdict "the log tells why" "$(yes_when grep -q '^spand: did not take over: .*: Address already in use$' "$work/second.log")" \
  "$(<"$work/second.log")"
expect "and remains the standby" 0 '*0x4034002b*' "$ask" "$standby" query 5
verdict "without a note that it took over" "$(yes_when not_noted)"
{ kill -KILL "$second" && wait "$second"; } 2>/dev/null
start "$work/second.log" "$spand" --standby "${there[@]}"
second=$pid
verdict "it comes back as the standby" \
  "$(yes_when [ "$(<"$work/second.log")" = "spand: standing by for spanlab at $standby" ])" "$(<"$work/second.log")"
kill -TERM "$first"
expect_end "the place is left" "$first"
expect "then it takes over" 0 '' "$spand" --take-over "${there[@]}"
verdict "and notes that" "$(yes_when is_noted)"
kill -TERM "$second"
expect_end "it ends" "$second"
start "$work/first.log" "$spand" "${here[@]}"
first=$pid
expect "a manager that cannot serve" 1 "spand: $taken" "$spand" "${there[@]}"
verdict "leaves the note of the one that did" "$(yes_when is_noted)"
kill -TERM "$first"
expect_end "the place is left once more" "$first"
start "$work/second.log" "$spand" "${there[@]}"
verdict "one that serves takes the note away" "$(yes_when not_noted)"
all_passed
