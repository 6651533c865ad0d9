#!/bin/bash
# Shells at a switch of processes, which come and go: connect_test.sh PROGRAMS. One line for each check; fails when one
# of them does.
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"
export TERM=vt100

programs=$(realpath "$1")
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
export SPAN_RUN_DIR=$work/run
manager='' cards='' shell=''

# end PROCESS: whatever state it is in.
end() {
  [ -n "$1" ] || return 0
  kill -KILL "$1" 2>/dev/null
  wait "$1" 2>/dev/null
}

finish() {
  end "$manager"
  end "$cards"
  end "$shell"
  rm -rf "$work"
}
trap finish EXIT
trap '' PIPE # a shell that ended takes no more lines

milliseconds() { echo $(($(date +%s%N) / 1000000)); }

# check NAME STATUS OUTPUT ERRORS ARGUMENT...: runs a connected spansh. OUTPUT and ERRORS are patterns of the whole text.
check() {
  local name=$1 status=$2 output=$3 errors=$4 ok=no out err
  shift 4
  timeout 30 "$programs/spansh" --connect "$@" >"$work/out" 2>"$work/err" </dev/null
  local got=$?
  out=$(<"$work/out")
  err=$(<"$work/err")
  # shellcheck disable=SC2053
  [ $got = "$status" ] && [[ $out == $output ]] && [[ $err == $errors ]] && ok=yes
  verdict "$name" $ok "status $got" "output $out" "errors $err"
}

start_manager() {
  "$programs/spand" --run-dir "$work/run" --state "$work/state" 4>&- >>"$work/spand.log" 2>&1 &
  manager=$!
  within 10 "$programs/spansh" --connect --timeout 1000 -c 'show vsan' >/dev/null 2>&1
}

stop_manager() {
  kill -TERM "$manager"
  wait "$manager"
  manager=''
}

# tells MODULE: its counter. A socket alone may be that of a dead one.
tells() {
  "$programs/spansh" --connect --timeout 1000 -c 'show span drop-counters' 2>&1 | grep -q "module $1 is: 0x"
}

start_cards() {
  "$programs/span-linecard" --run-dir "$work/run" >>"$work/cards.log" 2>&1 &
  cards=$!
  within 10 tells 2
}

# ---- Connecting ------------------------------------------------------------------------------------------------------

check 'nobody serves' 3 '' "spansh: no SPAN manager serves $work/run (manager.sock: No such file or directory)" -c 'show vsan'
check 'a plain file is none' 2 '' '*/README.md: neither a run directory nor a socket' "$root/README.md" -c 'show vsan'
check 'an empty name is a slip' 2 '' '*--connect: a name is expected*' '' -c 'show vsan'
check 'a chassis and a connection exclude each other' 2 '' '*--connect*' "$work/run" --chassis "$root/README.md"

start_manager
start_cards
"$programs/spansh" --echo "$root/examples/tour.span" >"$work/embedded" 2>&1
check 'the tour is the same as on an embedded switch' 1 "$(<"$work/embedded")" '' "$work/run" "$root/examples/tour.span"
check 'the socket of the manager does as well' 0 '*Session 2 (active)*' '' "$work/run/manager.sock" -c 'show span session'
SPAN_CONNECT=$work/run "$programs/spansh" -c 'show span session 2' >"$work/out" 2>&1
verdict 'the environment names the switch' "$(grep -q '^Session 2 (active)' "$work/out" && echo yes)" "$(<"$work/out")"
SPAN_CONNECT=$work/run "$programs/spansh" --embedded -c 'show span session 2' >"$work/out" 2>&1
verdict 'but not for --embedded' "$(grep -q 'not configured' "$work/out" && echo yes)" "$(<"$work/out")"
printf 'configure\nspan session 5\nsource interface fc1/9\nsource vsan 7\n' >"$work/startup"
check 'a start-up file is played on the connected switch' 1 '*vsans 7*' "spansh: $work/startup:3: *member of a port channel" \
  --startup "$work/startup" -c 'show span session 5'
check 'and stays there' 0 '*vsans 7*' '' -c 'show span session 5'
check 'the running configuration' 0 '' '' -c "copy running-config $work/far.config"
check 'is that of an embedded switch' 0 "$(<"$work/far.config")" '' --startup "$work/far.config" -c 'show running-config'
for where in "--connect" "--embedded --startup $work/far.config"; do
  # shellcheck disable=SC2086
  "$programs/span-rows" $where >"$work/rows.${where:2:4}" 2>&1
done
verdict 'rows are those of an embedded switch' "$(cmp -s "$work/rows.conn" "$work/rows.embe" && echo yes)" \
  "$(diff "$work/rows.conn" "$work/rows.embe")"
check 'counters of the line cards' 0 '*SPAN Drop-Counters for module 1 is: 0x*SPAN Drop-Counters for module 2 is: 0x*' '' \
  -c 'show span drop-counters'

# ---- Several shells --------------------------------------------------------------------------------------------------

# churn SESSION: one shell that builds and deletes its session over and over; at the end it is there.
churn() {
  local i
  for ((i = 0; i < 20; ++i)); do
    printf '%s\n' 'configure' "span session $1" "source interface fc2/$1" "source vsan $1" 'end' \
      "show span session $1" 'configure' "no span session $1" 'end'
  done
  printf '%s\n' 'configure' "span session $1" "source vsan $1" 'end'
}

shells=()
for session in 4 6 7 8 13 16; do
  churn $session | timeout 60 "$programs/spansh" --connect >"$work/shell.$session" 2>&1 &
  shells+=($!)
done
worst=0
for process in "${shells[@]}"; do
  wait "$process" || worst=$?
done
verdict 'six shells at once are all done' "$([ $worst = 0 ] && echo yes)" "$(head -n 3 "$work"/shell.*)"
"$programs/spansh" --connect -c 'show span session' >"$work/out" 2>&1
for session in 4 6 7 8 13 16; do
  sources=$(grep -c "vsans $session\$" "$work/shell.$session")
  verdict "session $session saw none of the others" \
    "$([ "$sources" = 20 ] && grep -q "vsans $session\$" "$work/out" && echo yes)" "$sources of 20"
done

# ---- A manager that comes and goes -----------------------------------------------------------------------------------

# open_shell ARGUMENT...: a connected one, its lines come from descriptor 4.
open_shell() {
  rm -f "$work/lines" "$work/out" "$work/err" # or what stands there would be taken for an answer
  mkfifo "$work/lines"
  "$programs/spansh" --connect "$@" <"$work/lines" >"$work/out" 2>"$work/err" &
  shell=$!
  exec 4>"$work/lines"
}

# type_line LINE TEXT: until the shell has printed TEXT.
type_line() {
  echo "$1" >&4
  within 10 grep -qs -- "$2" "$work/out" "$work/err"
}

# close_shell: returns its status.
close_shell() {
  exec 4>&-
  wait "$shell"
  local status=$?
  shell=''
  return $status
}

# seen NAME STATUS: what the last command came to.
seen() {
  verdict "$1" "$([ "$2" = 0 ] && echo yes)" "output $(tail -n 3 "$work/out")" "errors $(tail -n 3 "$work/err")"
}

open_shell --timeout 3000
type_line 'show span session 5' 'vsans 7'
stop_manager
start_manager
type_line 'show span session 6 brief' ' 6  '
seen 'a restart between two commands is not noticed' $?
stop_manager
type_line 'show interface brief' 'SPAN manager: the service does not run'
seen 'without a manager, nothing is shown, and why' $?
type_line 'show span session 7' 'Error: message transport: the service does not run (error 111)'
seen 'the library tells it in words' $?
printf 'as it was\n' >"$work/kept"
type_line "copy running-config $work/kept" "$work/kept: not written; SPAN manager: the service does not run"
seen 'a running configuration is not saved' $?
verdict 'the file of before is still there' "$([ "$(<"$work/kept")" = 'as it was' ] && echo yes)"
verdict 'no table was shown' "$(grep -q 'Port mode' "$work/out" || echo yes)"
start_manager
type_line 'show span session 8 brief' ' 8  '
seen 'it is found again' $?
close_shell
verdict 'the exit status tells' "$([ $? = 3 ] && echo yes)"
verdict 'one line for each failure' "$([ "$(grep -c 'SPAN manager: the service does not run' "$work/err")" = 2 ] && echo yes)" \
  "$(<"$work/err")"

open_shell --timeout 20000 --echo
type_line 'show span session 5' 'vsans 7'
kill -STOP "$manager"
type_line $'configure\nspan session 14' 'span session 14' # it is asked for, then
sleep 1
end "$manager"
within 10 grep -q 'the connection was lost: whether the request was carried out is not known' "$work/out" "$work/err"
seen 'killed in a command: told in words' $?
verdict 'and nothing else' "$(grep -q 'no error was reported' "$work/out" "$work/err" || echo yes)" "$(tail -n 3 "$work/out")"
start_manager
type_line 'show span session 14' 'Session 14 is not configured'
seen 'and not repeated' $?
close_shell
verdict 'with its status' "$([ $? = 3 ] && echo yes)"

open_shell --timeout 1000
type_line 'show span session 5' 'vsans 7'
kill -STOP "$manager"
type_line 'show span session 6' 'Error: message transport: no answer came in time: whether'
seen 'a stopped manager is waited for as long as was said' $?
check 'nobody can connect then' 3 '' 'spansh: the SPAN manager of * does not answer (manager.sock: *)' --timeout 1000 -c 'show vsan'
kill -CONT "$manager"
type_line 'show span session 7 brief' ' 7  '
seen 'and serves on when it runs again' $?
close_shell
verdict 'lines of the log are few' "$([ "$(wc -l <"$work/spand.log")" -lt 20 ] && echo yes)" "$(<"$work/spand.log")"

# ---- Line cards that come and go -------------------------------------------------------------------------------------

end "$cards"
check 'dead modules cannot be told' 0 '*Cannot get info about module 1*Cannot get info about module 2*' \
  'spansh: modules: the service does not run' -c 'show span drop-counters'
start_cards
check 'they are found again' 0 '*Drop-Counters for module 2 is*' '' -c 'show span drop-counters'
end "$cards"
"$programs/span-linecard" --run-dir "$work/run" --supervisor >>"$work/cards.log" 2>&1 &
cards=$!
"$programs/span-linecard" --run-dir "$work/run" --module 1 >>"$work/cards.log" 2>&1 &
one=$!
"$programs/span-linecard" --run-dir "$work/run" --module 2 >>"$work/cards.log" 2>&1 &
two=$!
within 10 tells 1
within 10 tells 2
check 'a process for each module' 0 '*module 1 is: 0x*module 2 is: 0x*' '' -c 'show span drop-counters'
kill -STOP $one
start=$(milliseconds)
check 'a stopped one is not available, the other one is' 0 '*module 1 not available*module 2 is: 0x*' '' --timeout 400 \
  -c 'show span drop-counters'
took=$(($(milliseconds) - start))
verdict 'and costs its time-out once' "$([ $took -ge 400 ] && [ $took -lt 3000 ] && echo yes)" "$took ms"
end $two
check 'a killed one neither' 0 '*module 1 not available*the service does not run (error 111)*module 2 not available*' '' \
  --timeout 400 -c 'show span drop-counters'

# ---- Interrupts ------------------------------------------------------------------------------------------------------

# libedit does not free the names of keys that a program adds; a sanitized build would tell.
rm -f "$work/lines"
mkfifo "$work/lines"
ASAN_OPTIONS=${ASAN_OPTIONS:-}:detect_leaks=0 script -qefc "$programs/spansh --connect --timeout 60000" "$work/screen" \
  <"$work/lines" >/dev/null 2>&1 &
shell=$!
exec 4>"$work/lines"

# on_screen TEXT KEYS: types the keys, and waits for the text.
on_screen() {
  printf '%b' "$2" >&4
  within 20 grep -qsF -- "$1" "$work/screen"
}

on_screen 'spanlab# ' ''
on_screen '202 ' 'show vsan\r'
printf 'show span drop-counters\r' >&4
sleep 1
start=$(milliseconds)
on_screen 'span_cli_get_drop_counters module 1 not available' '\003'
took=$(($(milliseconds) - start))
verdict 'Ctrl-C ends a wait' "$([ $took -lt 5000 ] && echo yes)" "$took ms" "$(cat -v "$work/screen")"
on_screen 'Session 6 ' 'show span session 6\r'
verdict 'the shell goes on' "$(grep -q 'Session 6 ' "$work/screen" && echo yes)" "$(cat -v "$work/screen")"
printf '\004' >&4
wait "$shell"
status=$?
verdict 'and ends as usual' "$([ $status = 0 ] && echo yes)" "status $status"
shell=''
exec 4>&-

timeout --foreground 20 bash -c 'trap - INT; exec "$@"' _ "$programs/spansh" --connect --timeout 60000 -c 'show span drop-counters' \
  >"$work/out" 2>&1 &
waiting=$!
sleep 1
# shellcheck disable=SC2009
script_shell=$(ps -o pid= --ppid "$waiting")
kill -INT "${script_shell// /}"
wait $waiting
status=$?
verdict 'an interrupt ends a script' "$([ $status = 130 ] && echo yes)" "status $status" "$(<"$work/out")"
end $one

# ---- Standby ---------------------------------------------------------------------------------------------------------

stop_manager
"$programs/spand" --run-dir "$work/run" --state "$work/state" --standby >>"$work/spand.log" 2>&1 &
manager=$!
within 10 test -S "$work/run/standby.sock"
standby='SPAN manager is a stateless standby'
check 'a standby manager refuses, in words' 1 "$standby
command show drop-threshold failed: *" "spansh: $standby" \
  "$work/run/standby.sock" -c configure -c 'span session 15' -c 'show span max-queued-packets'
check 'and shows no table' 1 '' "spansh: $standby" "$work/run/standby.sock" -c 'show interface brief'
check 'nor a session' 1 "$standby" '' "$work/run/standby.sock" -c 'show span session'
check 'nor a running configuration' 1 '' "spansh: $standby" "$work/run/standby.sock" -c 'show running-config'
"$programs/spand" --run-dir "$work/run" --take-over
check 'until it is told to take over' 0 '*Session 5 *' '' -c 'show span session 5'

all_passed
