#!/bin/bash
# The daemon as a program: spand_test.sh PROGRAMS.
# shellcheck source=tests/process/spand_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/spand_common.sh"

state=$work/state
here=(--run-dir "$work/run" --state "$state")
manager=$work/run/manager.sock

# shellcheck disable=SC2317
endless() { yes '#' | timeout 20 "$@"; }

# ---- Options ---------------------------------------------------------------------------------------------------------

expect "version" 0 'spand [0-9]*' "$spand" --version
expect "help" 0 '*--chassis FILE*--socket-mode MODE*--audit \[N\]*3  there is no standby*' "$spand" --help
expect "unknown option" 2 '*--bogus*' "$spand" --bogus
for mode in 0777 0466 abc '' 00660 0060; do
  expect "no socket mode: '$mode'" 2 '*--socket-mode*' "$spand" --socket-mode "$mode"
done
expect "unknown group" 2 '*there is no group bogus*' "$spand" --group bogus
expect "two questions at once" 2 '*excludes*' "$spand" --check --audit
expect "a question and an order" 2 '*excludes*' "$spand" --check --standby
expect "no number of lines" 2 '*--audit*' "$spand" --audit many
expect "no description" 2 'spand: /nonexistent*' "$spand" --chassis /nonexistent "${here[@]}"
expect "a directory as description" 2 'spand: /: Is a directory' "$spand" --chassis / "${here[@]}"
expect "a device as description" 2 'spand: /dev/zero: Is a device or a socket' "$spand" --chassis /dev/zero "${here[@]}"
expect "a description that does not end" 2 'spand: /dev/stdin: longer than *' endless "$spand" --chassis /dev/stdin "${here[@]}"
printf 'name = "x"\nvsans = 5x\n' >"$work/wrong.toml"
expect "a wrong description" 2 "spand: $work/wrong.toml:2:*" "$spand" --chassis "$work/wrong.toml" "${here[@]}"
expect "a run directory that cannot be" 1 'spand: /dev/null/run: Not a directory' "$spand" --run-dir /dev/null/run --state "$state"
expect "a state directory that cannot be" 1 'spand: /dev/null/state: Not a directory' "$spand" --run-dir "$work/run" --state /dev/null/state
verdict "nothing was made of all that" "$(yes_when [ ! -e "$state" ])"
mkdir -m 1777 "$work/public"
expect "a run directory that everybody may write to" 1 "spand: $work/public: everybody may write there" \
  "$spand" --run-dir "$work/public" --state "$state"
expect "what it says is no order to the screen" 1 "spand: /dev/null/\\\\x1b\[2J: Not a directory" \
  "$spand" --run-dir $'/dev/null/\e[2J' --state "$state"
deep=$work/$(printf 'x%.0s' {1..120})
expect "a path too long for a socket" 1 'spand: *too long*' "$spand" --run-dir "$deep" --state "$work/other"

# ---- Serving ---------------------------------------------------------------------------------------------------------

expect "no state to check yet" 0 "switch spanlab: *
state $state: none yet" "$spand" --check --state "$state"
start "$work/log" "$spand" "${here[@]}"
verdict "says that it serves" "$(yes_when [ "$(<"$work/log")" = "spand: serving spanlab at $manager" ])" "$(<"$work/log")"
for session in 1 2 3; do "$ask" "$manager" change $session >/dev/null; done
expect "a debug dump" 0 '0x00000000
SPAN manager of spanlab*' "$ask" "$manager" dump
expect "the last changes" 0 'TIME *CHANGE *RESULT
*ask_spand *create session 2 *done
*ask_spand *create session 3 *done' "$spand" --audit 2 --state "$state"
expect "a check while it is in use" 0 '*3 sessions, 1 port modes, drop threshold 1024' "$spand" --check --state "$state"
expect "a second one on the same state" 1 "spand: $state: is in use by another SPAN manager, process $pid" \
  "$spand" --run-dir "$work/run2" --state "$state"
expect "a second one at the same sockets" 1 "spand: *$manager*in use*" "$spand" --run-dir "$work/run" --state "$work/state2"
kill -HUP "$pid"
expect "goes on after SIGHUP" 0 '*session is configured' "$ask" "$manager" query 2
verdict "has no line in its log for a request" "$(yes_when [ "$(wc -l <"$work/log")" = 1 ])" "$(<"$work/log")"
kill -TERM "$pid"
expect_end "ends at SIGTERM" "$pid"
verdict "takes its socket away" "$(yes_when [ ! -e "$manager" ])"
verdict "says so" "$(yes_when [ "$(tail -n 1 "$work/log")" = 'spand: ended' ])"
start "$work/log" "$spand" "${here[@]}"
expect "knows everything again" 0 '*session is configured' "$ask" "$manager" query 3
kill -INT "$pid"
expect_end "ends at SIGINT" "$pid"

"$spand" "${here[@]}" <&- >&- 2>&- &
pid=$!
pids+=("$pid")
verdict "serves without standard files" "$(yes_when within 10 "$ask" "$manager" change 3)"
kill -TERM "$pid"
expect_end "and ends" "$pid"
expect "its state is sound" 0 '*3 sessions*' "$spand" --check --state "$state"

# ---- Few descriptors -------------------------------------------------------------------------------------------------

# limited FILES COMMAND...
limited() { ulimit -n "$1" && exec "${@:2}"; }

# hold NAME EXPECTED COUNT: clients that stay.
mkfifo "$work/open"
exec 8<>"$work/open"
hold() {
  : >"$work/held"
  "$ask" "$manager" hold "$3" >"$work/held" 2>&1 <&8 &
  pids+=($!)
  within 20 grep -q . "$work/held"
  verdict "$1" "$(yes_when [ "$(<"$work/held")" = "$2" ])" "$(<"$work/held")"
}

if ! is_stand_in "$spand"; then
  expect "too few descriptors" 1 'spand: a limit of 50 open files is too low, at least 53 are needed' \
    limited 50 "$spand" "${here[@]}"
  start "$work/log" limited 64 "$spand" "${here[@]}"
  hold "few descriptors are enough for a few clients" '14 clients' 14
  expect "and for a change" 0 '0x00000000 *' "$ask" "$manager" change 3
  hold "the next ones do not wait in vain" '1 clients, then EBUSY' 10
  verdict "the log tells it" "$(yes_when grep -q '^spand: sent a client of .*: too many clients$' "$work/log")" "$(<"$work/log")"
  kill -TERM "$pid"
  expect_end "it ends as usual" "$pid"
fi

# ---- A switch that has changed ---------------------------------------------------------------------------------------

cat >"$work/small.toml" <<'END'
name = "small"
vsans = "1-10"
[[module]]
number = 1
name = "line card"
fc-ports = "1-4"
[[role]]
name = "all"
vsans = "all"
END
small=(--chassis "$work/small.toml")
gone='port mode of interface 0x01020018: unknown interface'
before=$(sha256sum "$state/span.db")
expect "a check tells what does not fit" 1 "switch small: 1 modules, 4 interfaces, 10 VSANs
state $state: 3 sessions, *
does not fit: $gone" "$spand" --check "${small[@]}" --state "$state"
expect "it does not serve then" 1 "spand: $state: does not fit the switch small
spand:   $gone
spand: start it with --forget-unknown to forget these" "$spand" "${small[@]}" "${here[@]}"
verdict "and leaves the state as it is" "$(yes_when [ "$(sha256sum "$state/span.db")" = "$before" ])"
start "$work/log" "$spand" "${small[@]}" --forget-unknown "${here[@]}"
kill -TERM "$pid"
expect_end "serves when it may forget" "$pid"
expect "the audit tells what was forgotten" 0 "*forgotten: $gone*" "$spand" --audit 1 --state "$state"
expect "the rest is still there" 0 '*3 sessions, 0 port modes*' "$spand" --check "${small[@]}" --state "$state"

# ---- States that are none --------------------------------------------------------------------------------------------

# A byte of the file's head is made another: of its version, of the mark of this program, of the format's name.
for damage in '63:newer:is of version 2*' '71:foreign:is not the state*' '5:damaged:*not a database'; do
  IFS=: read -r offset name text <<<"$damage"
  cp -r "$state" "$work/$name"
  printf '\2' | dd of="$work/$name/span.db" bs=1 seek="$offset" conv=notrunc 2>/dev/null
  before=$(sha256sum "$work/$name/span.db")
  expect "a $name state is refused" 2 "spand: $work/$name/span.db: $text" "$spand" --run-dir "$work/run" --state "$work/$name"
  expect "a check tells it" 2 "*
spand: $work/$name/span.db: $text" "$spand" --check --state "$work/$name"
  verdict "and it is left as it is" "$(yes_when [ "$(sha256sum "$work/$name/span.db")" = "$before" ])"
done

# A start and a check say the same of it. both NAME STATUS TEXT DIRECTORY
both() {
  expect "$1: no start" "$2" "spand: $4$3" "$spand" --run-dir "$work/run" --state "$4"
  expect "$1: no check passes" "$2" "switch *
spand: $4$3" "$spand" --check --state "$4"
}
cp -r "$state" "$work/shared"
chmod 770 "$work/shared"
both "a directory where others may write" 1 ': others may write there; it needs the mode 0700' "$work/shared"
mkdir -m 700 "$work/symbolic" "$work/hard" "$work/gone"
ln -s "$state/span.db" "$work/symbolic/span.db"
both "a database behind a link" 2 '/span.db: is a symbolic link' "$work/symbolic"
ln "$work/newer/span.db" "$work/hard/span.db"
both "a database with two names" 2 '/span.db: is a hard link: the file has other names' "$work/hard"
touch "$work/gone/span.db-wal"
both "a journal without its database" 2 '/span.db: is gone, but its journal *' "$work/gone"
expect "no audit of a state that is not there" 2 'spand: /nonexistent/span.db: No such file or directory' \
  "$spand" --audit --state /nonexistent

# ---- A state that goes while it is in use ----------------------------------------------------------------------------

start "$work/log" "$spand" "${here[@]}"
mv "$state/span.db" "$work/aside"
expect "a change is refused when the database is gone" 0 '0x40340161 *' "$ask" "$manager" change 9
expect "queries go on" 0 '*session is not configured' "$ask" "$manager" query 9
mv "$work/aside" "$state/span.db"
expect "and accepted when it is back" 0 '0x00000000 *' "$ask" "$manager" change 9
verdict "the log tells both" "$(yes_when [ "$(tail -n 2 "$work/log")" = "spand: changes cannot be saved, and are refused: \
$state/span.db: was removed or replaced while in use
spand: changes are saved again" ])" "$(<"$work/log")"
kill -TERM "$pid"
expect_end "and ends" "$pid"

# ---- A full disk -----------------------------------------------------------------------------------------------------

# Files may not grow beyond a size.
# shellcheck disable=SC2317
bounded() { (ulimit -f 8 && exec timeout 20 "$@"); }
expect "a first start on a full disk fails" 1 "spand: $work/none/span.db: *" \
  bounded "$spand" --run-dir "$work/run" --state "$work/none"
verdict "and leaves nothing" "$(yes_when [ -z "$(ls -A "$work/none")" ])" "$(ls -A "$work/none")"

# In a mount namespace of its own; needs to be root in one.
full_disk() {
  mkdir "$work/disk"
  mount -t tmpfs -o size=192k,mode=700 tmpfs "$work/disk" || return 1
  start "$work/full.log" "$spand" --run-dir "$work/run" --state "$work/disk/state"
  "$ask" "$manager" change 1 || return 1
  dd if=/dev/zero of="$work/disk/filler" bs=1k 2>/dev/null
  local refused='' session
  for session in {2..16}; do refused+=$("$ask" "$manager" change "$session" | grep '^0x40340161') && break; done
  rm "$work/disk/filler"
  "$ask" "$manager" query 1
  "$ask" "$manager" query "$session"
  "$ask" "$manager" change "$session"
  { kill -KILL "$pid" && wait "$pid"; } 2>/dev/null
  "$spand" --check --state "$work/disk/state" | tail -n 1
  echo "refused: $refused"
  grep -c . "$work/full.log"
}
if unshare -m true 2>/dev/null; then
  export -f full_disk start within
  export work spand ask manager
  expect "a full disk refuses changes, loses none, and may be emptied" 0 "0x00000000 *
*session is configured
*session is not configured
0x00000000 *
state *
refused: 0x40340161 change could not be saved; nothing was changed
3" unshare -m bash -c 'pids=(); full_disk'
else
  echo "skipped a full disk: no mount namespaces for this user"
fi
all_passed
