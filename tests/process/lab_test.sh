#!/bin/bash
# The lab as a user meets it: lab_test.sh PROGRAMS. One line for each check; fails when one of them does.
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"

programs=$(realpath "$1")
lab=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../../host/lab/lab.sh")
work=$(mktemp -d)
export TMPDIR=$work
unset XDG_RUNTIME_DIR SPAN_RUN_DIR SPAN_CONNECT
script=

finish() {
  [ -z "$script" ] || kill -TERM "$script" 2>/dev/null
  rm -rf "$work"
}
trap finish EXIT

# What runs in a lab has its directory among its arguments.
processes() { pgrep -f "$work/span-lab" | grep -vx "${script:-none}"; }
nothing_left() { ! pgrep -f "$work/span-lab" >/dev/null && ! compgen -G "$work/span-lab*" >/dev/null; }
nothing_runs() { ! pgrep -f "$work/span-lab" >/dev/null; }

# open_lab ARGUMENT...: with its standard input at descriptor 9; waits until it is up.
open_lab() {
  rm -f "$work/in" "$work/out" "$work/err"
  mkfifo "$work/in"
  # What runs in the background would have interrupts ignored for good.
  env --default-signal=INT setsid "$lab" "$programs" "$@" <"$work/in" >"$work/out" 2>"$work/err" &
  script=$!
  exec 9>"$work/in"
  within 30 grep -q 'notifications are written' "$work/err"
}

# close_lab: the end of its input is that of its shell.
close_lab() {
  exec 9>&-
  wait "$script"
  local status=$?
  script=
  return $status
}

# ask COMMAND PATTERN: through the shell of the lab.
ask() {
  echo "$1" >&9
  within 10 grep -q "$2" "$work/out"
}

"$lab" "$programs" -- -c 'show span session 1' >"$work/out" 2>"$work/err"
status=$?
verdict "runs one command and ends with its status" "$(yes_when [ $status = 0 ])" "status $status" "$(<"$work/err")"
verdict "leaves nothing behind" "$(yes_when nothing_left)" "$(ls "$work")"
"$lab" "$programs" -- -c 'show nothing' >"$work/out" 2>"$work/err"
verdict "a wrong command's status comes through" "$(yes_when [ $? = 2 ])"
"$lab" "$programs" --chassis "$work/none.toml" >"$work/out" 2>"$work/err"
status=$?
verdict "a switch that cannot be described is told" "$(yes_when [ $status = 1 ])" "status $status" "$(<"$work/err")"
verdict "and leaves nothing behind" "$(yes_when nothing_left)"

open_lab && up=yes || up=no
verdict "comes up" "$up" "$(<"$work/err")"
directory=$(compgen -G "$work/span-lab.*")
verdict "its directory is private" "$(yes_when [ "$(stat -c %a "$directory")" = 700 ])"
for command in configure 'span session 3' end 'show span session 3'; do echo "$command" >&9; done
verdict "the shell is connected" "$(yes_when within 10 grep -q 'Session 3' "$work/out")" "$(<"$work/err")"
walk=$(sed -n 's/^lab:   \(MIBDIRS=.*\)/\1/p' "$work/err")
rows=$(eval "$walk" 2>&1)
verdict "the command that it prints walks" "$(yes_when grep -q 'PORT-MIRROR-MIB::.*\.3 = ' <<<"$rows")" "$walk" "$rows"

agent=$(pgrep -f "^$programs/span-agent .*$directory")
kill -KILL "$agent"
verdict "tells which one has ended" "$(yes_when within 5 grep -q '^lab: span-agent has ended' "$work/err")"
verdict "the others go on" "$(yes_when ask 'show span session brief' 'Session  Admin')" "$(<"$work/out")"
close_lab
verdict "takes the rest down" "$(yes_when within 5 nothing_left)" "$(processes)" "$(ls "$work")"

open_lab
kill -INT -- "-$script"
verdict "an interrupt of the whole group takes it down" "$(yes_when within 10 nothing_left)" "$(processes)"
exec 9>&-
wait "$script"
script=

open_lab
kill -TERM "$script"
exec 9>&-
verdict "so does a request to end" "$(yes_when within 10 nothing_left)" "$(processes)"
wait "$script"
script=

open_lab
kill -KILL "$script"
exec 9>&-
verdict "killed, it takes its processes along" "$(yes_when within 10 nothing_runs)" "$(processes)"
script=
rm -rf "$work"/span-lab*

open_lab --keep
close_lab
verdict "keeps the directory when asked" "$(yes_when grep -qs . "$work"/span-lab.*/spand.log)"
rm -rf "$work"/span-lab*

all_passed
