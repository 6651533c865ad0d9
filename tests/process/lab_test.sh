#!/bin/bash
# The lab as a user meets it: lab_test.sh PROGRAMS. One line for each check; fails when one of them does.
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"

programs=$(realpath "$1")
host=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../../host")
lab=$host/lab/lab.sh
work=$(mktemp -d)
export TMPDIR=$work
script=

finish() {
  [ -z "$script" ] || kill -TERM "$script" 2>/dev/null
  rm -rf "$work"
}
trap finish EXIT

# What runs in a lab has its directory among its arguments.
processes() { pgrep -f "$work/span-lab" | grep -vx "${script:-none}"; }
nothing_left() { ! pgrep -f "$work/span-lab" >/dev/null && ! compgen -G "$work/span-lab*" >/dev/null; }
only_own_words() { ! grep -v -e '^lab: ' -e '^spansh: ' "$work/err"; }
nothing_runs() { ! pgrep -f "$work/span-lab" >/dev/null; }

# open_lab ARGUMENT...: with its standard input at descriptor 9; waits until it is up.
open_lab() {
  rm -f "$work/in" "$work/out" "$work/err"
  mkfifo "$work/in"
  # What runs in the background would have interrupts ignored for good.
  env --default-signal=INT setsid "$lab" "$programs" "$@" <"$work/in" >"$work/out" 2>"$work/err" &
  script=$!
  exec 9>"$work/in"
  within 30 grep -qs 'notifications are written' "$work/err" && within 30 shell_runs
}
the_shell() { pgrep -f "^$programs/spansh .*$work/span-lab"; }
shell_runs() { the_shell >/dev/null; }

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

# is_told NAME TEXT ARGUMENT...: a command line that is wrong.
is_told() {
  local said status
  said=$("$lab" "$programs" "${@:3}" 2>&1 </dev/null)
  status=$?
  verdict "$1" "$(yes_when [ "$status $said" = "2 lab: $2; try ./run lab --help" ])" "status $status" "$said"
}
is_told "an unknown option" "unknown option '--bogus'" --bogus
is_told "a file where only options are" \
  "'examples/tour.span' is not an option, and a file for the shell goes behind --" examples/tour.span

"$lab" "$programs" -- -c 'show vsan' <&- >"$work/out" 2>"$work/err"
verdict "needs no standard input" "$(yes_when [ $? = 0 ])" "$(<"$work/err")"
"$lab" "$programs" --chassis "$work/none.toml" >"$work/out" 2>"$work/err"
status=$?
verdict "a switch that cannot be described is told" "$(yes_when [ $status = 1 ])" "status $status" "$(<"$work/err")"
verdict "and leaves nothing behind" "$(yes_when nothing_left)"

# From a checkout whose path has a blank.
copy="$work/a checkout/host"
mkdir -p "$copy/agent"
cp -R "$host/lab" "$copy"
cp "$host"/agent/*.txt "$copy/agent"
lab=$copy/lab/lab.sh open_lab && up=yes || up=no
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
verdict "in its own words" "$(yes_when only_own_words)" "$(<"$work/err")"
close_lab
verdict "takes the rest down" "$(yes_when within 5 nothing_left)" "$(processes)" "$(ls "$work")"

open_lab
kill -KILL "$(the_shell)"
wait "$script"
status=$?
script=
verdict "a shell that crashes takes it down" "$(yes_when [ $status = 137 ])" "status $status"
verdict "and is told in its own words" "$(yes_when only_own_words)" "$(<"$work/err")"
verdict "nothing is left of it" "$(yes_when within 5 nothing_left)" "$(processes)"

# ---- Signals, while its shell waits for lines ------------------------------------------------------------------------

# ends_by SIGNAL STATUS NAME
ends_by() {
  open_lab
  kill "-$1" "$script"
  verdict "$3" "$(yes_when within 20 nothing_left)" "$(processes)" "$(ls "$work")"
  exec 9>&-
  wait "$script"
  local status=$?
  script=
  verdict "its status tells SIG$1" "$(yes_when [ $status = "$2" ])" "status $status"
  verdict "and bash has nothing to tell" "$(yes_when only_own_words)" "$(<"$work/err")"
}

open_lab
kill -INT -- "-$script"
verdict "an interrupt of the whole group takes it down" "$(yes_when within 20 nothing_left)" "$(processes)"
exec 9>&-
wait "$script"
script=
env --default-signal=INT setsid "$lab" "$programs" <"$work/out" >/dev/null 2>"$work/err" &
script=$!
within 20 compgen -G "$work/span-lab.*/spand.log" >/dev/null
kill -INT -- "-$script"
wait "$script"
status=$?
script=
verdict "one that is not up yet ends, too" "$(yes_when [ $status = 130 ])" "status $status" "$(<"$work/err")"
verdict "nothing of it is left" "$(yes_when within 20 nothing_left)" "$(processes)"
ends_by TERM 143 "so does a request to end"
ends_by HUP 129 "and the end of its terminal"

open_lab
disown "$script"
kill -KILL "$script"
verdict "killed, it takes its processes along" "$(yes_when within 20 nothing_runs)" "$(processes)"
exec 9>&-
script=
mkdir "$work/span-lab.other"
ln -s "$work" "$work/span-lab.link"
"$lab" "$programs" -- -c 'show vsan' >"$work/out" 2>"$work/err"
verdict "the next one removes what it left" "$(yes_when [ "$(cd "$work" && echo span-lab*)" = 'span-lab.link span-lab.other' ])" \
  "$(ls "$work")" "$(<"$work/err")"
rm -rf "$work"/span-lab*

# ---- Several at once -------------------------------------------------------------------------------------------------

open_lab
mkdir "$work/bin"
# shellcheck disable=SC2016
printf '#!/bin/bash\n[ "${!#}" = /proc/net/udp ] || exec %s "$@"\nexit 1\n' "$(type -P grep)" >"$work/bin/grep"
chmod +x "$work/bin/grep"
PATH=$work/bin:$PATH "$lab" "$programs" -- -c 'show vsan' >"$work/second" 2>&1
status=$?
verdict "a port that is gone when it is needed: the next one" "$(yes_when [ $status = 0 ])" "$(<"$work/second")"
verdict "it leaves the directory of the other one alone" "$(yes_when ask 'show vsan' '112 VSANs')" "$(<"$work/err")"
close_lab
labs=()
for each in 1 2 3; do
  "$lab" "$programs" -- -c 'show vsan' >"$work/out.$each" 2>&1 &
  labs+=($!)
done
worst=0
for each in "${labs[@]}"; do wait "$each" || worst=$?; done
verdict "three that start together all come up" "$(yes_when [ $worst = 0 ])" "$(tail -n 4 "$work"/out.*)"

# ---- An ordinary user ------------------------------------------------------------------------------------------------

# Played by root; else it is this user, and nobody has a home.
ordinary=(env)
chmod 711 "$work"
mkdir -m 700 "$work/user"
if [ "$(id -u)" -eq 0 ]; then
  ordinary=(setpriv --reuid=54500 --regid=54500 --clear-groups)
  chown 54500:54500 "$work/user"
fi
nothing_of_the_user() { ! pgrep -f "$work/user/" >/dev/null && [ -z "$(ls -A "$work/user")" ]; }
if "${ordinary[@]}" test -x "$programs/spand" && "${ordinary[@]}" test -r "$lab" && "${ordinary[@]}" test -w "$work/user"; then
  HOME=/nonexistent TMPDIR=$work/user "${ordinary[@]}" "$lab" "$programs" -- \
    -c configure -c 'span session 3' -c end -c 'show span session 3' >"$work/out" 2>"$work/err" </dev/null
  status=$?
  verdict "comes up for an ordinary user without a home" \
    "$(yes_when [ "$status $(grep -c '^lab: up: ' "$work/err")" = '0 1' ])" "status $status" "$(<"$work/err")"
  verdict "who may change the switch" "$(yes_when grep -q '^Session 3 (inactive' "$work/out")" "$(<"$work/out")"
  verdict "and leaves nothing behind" "$(yes_when within 5 nothing_of_the_user)" "$(ls -A "$work/user")" \
    "$(pgrep -af "$work/user/")"
else
  echo "skipped  other users cannot reach the programs"
fi

# ---- On a terminal ---------------------------------------------------------------------------------------------------

# on_screen TEXT KEYS: types the keys, and waits for the text.
on_screen() {
  printf '%b' "$2" >&9
  within 30 grep -qsF -- "$1" "$work/screen"
}

# libedit does not free the names of keys that a program adds; a sanitized build would tell.
rm -f "$work/in"
mkfifo "$work/in"
ASAN_OPTIONS=${ASAN_OPTIONS:-}:detect_leaks=0 script -qefc "$(printf '%q ' "$lab" "$programs")" "$work/screen" <"$work/in" >/dev/null 2>&1 &
script=$!
exec 9>"$work/in"
verdict "the shell has the terminal" "$(yes_when on_screen 'spanlab# ' '')" "$(cat -v "$work/screen")"
on_screen 'show bogus^C' 'show bogus\003'
verdict "Ctrl-C is a key of the shell" "$(yes_when on_screen '112 VSANs' 'show vsan\r')" "$(cat -v "$work/screen")"
printf '\004' >&9
wait "$script"
status=$?
script=
exec 9>&-
verdict "Ctrl-D leaves shell and lab" "$(yes_when [ $status = 0 ])" "status $status"
verdict "and nothing of it is left" "$(yes_when within 5 nothing_left)" "$(processes)"

open_lab --keep
close_lab
verdict "keeps the directory when asked" "$(yes_when grep -qs . "$work"/span-lab.*/spand.log)"
rm -rf "$work"/span-lab*

all_passed
