#!/bin/bash
# The operator's shell as a program: spansh_test.sh SPANSH. One line for each check; fails when one of them does.
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"
export TERM=vt100

spansh=$(realpath "$1")
[ -x "$spansh" ] || { echo "usage: $0 SPANSH" >&2 && exit 2; }
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# check NAME STATUS OUTPUT ERRORS ARGUMENT...: runs spansh. OUTPUT and ERRORS are patterns of the whole text.
check() {
  local name=$1 status=$2 output=$3 errors=$4 ok=no
  shift 4
  "$spansh" "$@" >"$work/out" 2>"$work/err"
  local got=$? out err
  out=$(<"$work/out")
  err=$(<"$work/err")
  # shellcheck disable=SC2053
  [ $got = "$status" ] && [[ $out == $output ]] && [[ $err == $errors ]] && ok=yes
  verdict "$name" $ok "status $got" "output $out" "errors $err"
}

# check_lines NAME STATUS OUTPUT ERRORS LINE...: the same with lines on standard input.
check_lines() {
  local name=$1 status=$2 output=$3 errors=$4
  shift 4
  check "$name" "$status" "$output" "$errors" < <(printf '%s\n' "$@")
}

# ---- Options ---------------------------------------------------------------------------------------------------------

check 'help names the exit statuses' 0 '*-c COMMAND*--chassis FILE*--role NAME*--echo*--version*3  the SPAN manager*' '' --help
check 'version' 0 'spansh [0-9]*' '' --version
check 'unknown option' 2 '' '*--bogus*' --bogus
check 'a file and -c exclude each other' 2 '' '*excludes*' -c 'show vsan' "$root/examples/tour.span"
check 'several -c are one session' 0 'Session 3 is not configured*' '' -c configure -c 'show span session 3' -c exit
check 'echo' 0 'spanlab# configure
spanlab(config)# end' '' --echo -c configure -c end
check 'unknown role' 2 '' 'spansh: there is no role bogus; roles: network-admin, *' --role bogus -c 'show vsan'
check 'names are shown without their control characters' 2 '' 'spansh: there is no role ?[31m; roles: *' \
  --role $'\e[31m' -c 'show vsan'
check 'also those of files' 2 '' 'spansh: /no?such: No such file or directory' $'/no\asuch'
check 'a role hides what it may not see' 0 '10 VSANs
  1-10' '' --role san-a -c 'show vsan'

# ---- Files -----------------------------------------------------------------------------------------------------------

check 'no such file' 2 '' 'spansh: /nonexistent: No such file or directory' /nonexistent
check 'a directory as file' 2 '' "spansh: $work: Is a directory" "$work"
check 'no such chassis' 2 '' 'spansh: /nonexistent*' --chassis /nonexistent -c 'show vsan'
printf 'name = "x"\nvsans = 5x\n' >"$work/wrong.toml"
check 'a wrong chassis' 2 '' "spansh: $work/wrong.toml:2:*" --chassis "$work/wrong.toml" -c 'show vsan'
printf 'name = "little"\nvsans = 7\n[[module]]\nnumber = 1\nname = "line card"\nfc-ports = "1-2"\n[[role]]\nname = "all"\nvsans = "all"\n' >"$work/little.toml"
check 'a chassis of its own' 0 'little# show vsan
1 VSANs
  7' '' --chassis "$work/little.toml" --echo -c 'show vsan'
check 'the tour' 1 '*Session 3 (active)*another SPAN session*member of a port channel*Session 1 (admin suspended)*' '' \
  "$root/examples/tour.span"
tour_state=$(grep -v -e '^show' "$root/examples/tour.span")
"$spansh" < <(printf '%s\n' "$tour_state" "copy running-config $work/tour.config" 'show running-config') >"$work/shown" 2>/dev/null
check 'the running configuration of the tour replays' 0 '' '' --startup "$work/tour.config" \
  -c "copy running-config $work/again.config"
verdict 'and is the same again' "$(cmp -s "$work/tour.config" "$work/again.config" && echo yes)"
verdict 'copy writes what show shows' "$([ "$(tail -n "$(wc -l <"$work/tour.config")" "$work/shown")" = "$(<"$work/tour.config")" ] && echo yes)"
check 'a running configuration as lines' 0 "$(<"$work/tour.config")" '' \
  < <(cat "$work/tour.config" && echo 'show running-config')
check 'a running configuration as a file' 0 '*spanlab(config-span)# source interface fc2/3 rx filter vsan *' '' "$work/tour.config"
check 'copy to a folder that is not there' 2 '' 'spansh: /nonexistent/x: No such file or directory' \
  -c 'copy running-config /nonexistent/x'
check 'copy without a name' 2 '' '*^ expected name of a file' -c 'copy running-config'
check 'copy tells what cannot be said' 0 '' "spansh: $work/warn: session 4: the VSAN filter of svc 2/1 (port-channel 202) tx *" \
  -c configure -c 'span session 4' -c 'source interface port-channel 202 tx filter vsan 5' -c "copy running-config $work/warn"

# ---- Start-up --------------------------------------------------------------------------------------------------------

printf 'configure\nspan session 5\nbogus\n source interface fc1/5, fc1/9 tx \nexit\nexit\nexit\nbogus\n' >"$work/startup"
check 'a start-up file with failing lines' 2 'Session 5 (inactive as no destination)*fc1/5, *' \
  "spansh: $work/startup:3: bogus: expected configure, span, *
spansh: $work/startup:4: source interface fc1/5, fc1/9 tx: Configuration failed on the following interface(s); fc1/9 interface is a member of a port channel" \
  --startup "$work/startup" -c 'show span session 5' -c 'show vsan'
printf 'configure\nspan session 5\nsource vsan 500\n' >"$work/startup"
check 'a refused line of a start-up file' 1 'spanlab# show span session 5 brief*' "spansh: $work/startup:3: *; 500" \
  --startup "$work/startup" --echo -c 'show span session 5 brief'
check 'no such start-up file: nothing is run' 2 '' 'spansh: /nonexistent: No such file or directory' \
  --startup /nonexistent -c 'show vsan'
check 'a directory as start-up file: nothing is run' 2 '' "spansh: $work: Is a directory" --startup "$work" -c 'show vsan'
printf 'show span session 5\n' >"$work/startup"
check 'a start-up file may show something' 0 'Session 5 is not configured' '' --startup "$work/startup" -c configure

# ---- Wrong files -----------------------------------------------------------------------------------------------------

printf 'show vsan\nbogus\n' >"$work/wrong.span"
check 'a wrong line of a file' 2 'spanlab# show vsan
*
spanlab# bogus' 'bogus
^ expected *' "$work/wrong.span"

# ---- Standard input --------------------------------------------------------------------------------------------------

check_lines 'lines without a prompt' 0 'Session 2 is not configured' '' 'show span session 2'
check 'the last line needs no end' 0 'Session 2 is not configured' '' < <(printf 'show span session 2')
check_lines 'exit leaves' 0 '' '' exit bogus
check_lines 'refused' 1 '*fc1/9 *' '' configure 'span session 3' 'source interface fc1/9'
check_lines 'the rest runs after a wrong line' 2 'Session 2 is not configured' $'bogus\n^ *' bogus 'show span session 2'

printf '%s\n' configure 'span session 3' >"$work/session"

# wrong CARET-LINE LINE: a line that is wrong in session 3. It is told so, and nothing changes.
wrong() {
  check "wrong: $2" 2 'Session 3 (inactive as no destination)
   Destination is not configured
   No session filters configured
   No ingress (rx) sources
   No egress (tx) sources' "$2
$1" < <(cat "$work/session" && printf '%s\n' "$2" 'show span session')
}

wrong '             ^ a session number is 1 to 16' 'span session 0'
wrong '             ^ a session number is 1 to 16' 'span session 17'
wrong '             ^ a session number is 1 to 16' 'span session 4294967299'
wrong '             ^ a session number is 1 to 16' 'span session x'
wrong '                ^ a session number is 1 to 16' 'no span session 19'
wrong '            ^ a VSAN is 0 to 4095' 'source vsan 4096'
wrong '               ^ the range ends before it begins' 'source vsan 10-5'
wrong '                   ^ a VSAN is 0 to 4095' 'source filter vsan 4096'
wrong '                      ^ there is no interface fc9/99' 'destination interface fc9/99'
wrong '                 ^ there is no interface fc9/99' 'source interface fc9/99'
wrong '                       ^ a range stays on one module and one type of interface' 'source interface fc1/1-fc2/3'

# ---- Closed and full outputs -----------------------------------------------------------------------------------------

# survives NAME STATUS COMMAND: ends by itself with that status.
survives() {
  local ok=no
  timeout 20 bash -c "$3" _ "$spansh" 2>"$work/err"
  local got=$?
  [ $got = "$2" ] && ok=yes
  verdict "$1" $ok "status $got" "errors $(<"$work/err")"
}

# shellcheck disable=SC2016
{
  is_stand_in "$spansh" || survives 'closed standard output' 2 '"$1" -c "show interface brief" >&-'
  survives 'full standard output' 2 '"$1" -c "show interface brief" >/dev/full'
  survives 'a reader that goes away' 2 'yes "show interface brief" | "$1" | head -n 1 >/dev/null; exit "${PIPESTATUS[1]}"'
  survives 'closed standard error' 2 '"$1" -c bogus 2>&-'
  is_stand_in "$spansh" || survives 'closed standard input' 0 '"$1" <&-'
}

# ---- Slips and broken files ------------------------------------------------------------------------------------------

check 'an empty name of a start-up file' 2 '' '*a name is expected*' --startup '' -c 'show vsan'
check 'a forgotten VSAN removes no source' 2 '' '*^ expected VSAN*' --startup "$root/examples/startup.span" \
  -c configure -c 'span session 1' -c 'no source interface fc1/3 rx filter vsan'
ln -s nowhere "$work/dangling"
check 'a link to nothing stays' 2 '' '*: the link points to nothing*' -c "copy running-config $work/dangling"
verdict 'the link is still there' "$([ -L "$work/dangling" ] && echo yes)"
printf 'show vsan\n' >"$work/talks"
# full NAME ARGUMENT...: what is printed cannot be written.
full() {
  "$spansh" "${@:2}" >/dev/full 2>"$work/err"
  local status=$?
  verdict "nowhere to write: $1" "$([ $status = 2 ] && grep -q 'standard output: No space' "$work/err" && echo yes)" \
    "status $status" "$(<"$work/err")"
}
full 'a start-up that talks' --startup "$work/talks" -c configure
full 'help' --help
# A sanitizer needs descriptors of its own, so this is for the program as it is shipped.
if ! is_stand_in "$spansh" && ! ldd "$spansh" | grep -q -e libasan -e libubsan; then
  (exec 3>&- && ulimit -n 4 && "$spansh" --startup "$root/examples/startup.span" -c 'show span session brief') >"$work/out" 2>&1
  verdict 'a start-up without descriptors is done all the same' "$(grep -q ' 1 .*fc1/1' "$work/out" && echo yes)" "$(<"$work/out")"
fi

# ---- Terminal --------------------------------------------------------------------------------------------------------

# The shell on a terminal: keys go into descriptor 3, what the screen shows into $work/screen.
# libedit does not free the names of keys that a program adds; a sanitized build would tell.
trap '' PIPE # a shell that ended takes no more keys
mkfifo "$work/keys"
ASAN_OPTIONS=${ASAN_OPTIONS:-}:detect_leaks=0 script -qefc "$spansh" "$work/screen" <"$work/keys" >/dev/null 2>&1 &
terminal=$!
exec 3>"$work/keys"
seen=0

# shows NAME TEXT KEYS: types the keys, and waits until the text is on the screen behind what was there before.
shows() {
  local ok=no
  printf '%b' "$3" >&3
  for _ in {1..200}; do
    tail -c +"$((seen + 1))" "$work/screen" 2>/dev/null | grep -qF -- "$2" && ok=yes && break
    sleep 0.05
  done
  sleep 0.1
  verdict "terminal: $1" $ok "screen $(tail -c +"$((seen + 1))" "$work/screen" | cat -v)"
  seen=$(stat -c %s "$work/screen")
}

shows 'prompt' 'spanlab# ' ''
shows 'TAB completes' '112 VSANs' 'sh\tvs\t\r'
shows 'TAB lists' 'span            rspan-tunnel    running-config' 'show \t'
shows 'Ctrl-C drops the line' '^C' '\003'
shows 'Ctrl-C on an empty line goes on' '112 VSANs' '\003\003show vsan\r'
shows 'question mark helps' 'event-history      Recorded steps' 'show span ?'
shows 'the line goes on after help' 'Session 5 is not configured' 'session 5\r'
shows 'the line before comes back' 'Session 5 is not configured' '\020\r'
shows 'caret under the word' '^ expected span, rspan-tunnel, running-config, interface, vsan or roles' 'show bogus\r'
shows 'modes' 'spanlab(config-span)# ' 'configure\rspan session 1\r'
shows 'interfaces complete' 'svc 2/1 (mgmt), ' 'source interface sv\t\rshow span session 1\r'
shows 'TAB knows the sessions' 'Session 1 is not configured' 'no span session \t\rshow span session 1\r'
printf '\004' >&3
wait $terminal
status=$?
verdict 'terminal: Ctrl-D leaves' "$([ $status = 0 ] && echo yes)" "status $status"
exec 3>&-

all_passed
