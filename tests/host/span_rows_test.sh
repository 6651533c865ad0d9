#!/bin/bash
# The SNMP tables as a program shows them: span_rows_test.sh SPAN-ROWS. One line for each check; fails when one of them
# does.
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"

rows=$(realpath "$1")
[ -x "$rows" ] || { echo "usage: $0 SPAN-ROWS" >&2 && exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# check NAME STATUS OUTPUT ERRORS ARGUMENT...: runs span-rows. ERRORS is a pattern.
check() {
  local name=$1 status=$2 output=$3 errors=$4 ok=no
  shift 4
  timeout 10 "$rows" "$@" >"$work/out" 2>"$work/err"
  local got=$? out err
  out=$(<"$work/out")
  err=$(<"$work/err")
  # shellcheck disable=SC2053
  [ $got = "$status" ] && [ "$out" = "$output" ] && [[ $err == $errors ]] && ok=yes
  verdict "$name" $ok "status $got" "output $out" "errors $err"
}

cat >"$work/startup" <<'END'
configure
interface fc1/1
port mode span-destination
span max-queued-packets 77
span session 2
destination interface fc1/1
source interface fc1/3
source interface fc1/5 rx filter vsan 4
source interface port-channel 1 tx
source vsan 1-3
source vsan 9
span session 16
suspend
source filter vsan 7
source interface svc 2/1 tx traffic-type target
end
END

check 'a switch that nobody has configured' 0 '[sessions]
session  destination       admin  oper  reason
[source-interfaces]
session  interface         direction
[source-vsans]
session  VSANs
[vsan-filter]
session  VSANs
[drop-threshold]
packets  1024' ''

check 'all tables' 0 '[sessions]
session  destination       admin  oper  reason
2        fc1/1             1      1     Session is active
16       -                 2      2     Session is admin suspended
[source-interfaces]
session  interface         direction
2        fc1/3             1
2        fc1/3             2
2        fc1/5             1
2        port-channel 1    2
16       port-channel 202  2
[source-vsans]
session  VSANs
2        1-3,9
16       -
[vsan-filter]
session  VSANs
2        -
16       7
[drop-threshold]
packets  77' '' --startup "$work/startup"

check 'one table' 0 '[vsan-filter]
session  VSANs
2        -
16       7' '' --startup "$work/startup" --table vsan-filter

check 'unknown table' 2 '' '*--table*bogus*' --table bogus
check 'no such start-up file' 2 '' 'span-rows: /nonexistent: No such file or directory' --startup /nonexistent
check 'no such chassis' 2 '' 'span-rows: /nonexistent*' --chassis /nonexistent
printf 'configure\nspan session 17\nspan session 1\nsource vsan 500\n' >"$work/wrong"
check 'a wrong start-up file' 2 '[drop-threshold]
packets  1024' "span-rows: $work/wrong:2: span session 17: a session number is 1 to 16
span-rows: $work/wrong:4: source vsan 500: Following vsans are not allowed as a SPAN source; 500" \
  --startup "$work/wrong" --table drop-threshold

"$rows" >/dev/full 2>"$work/err"
got="status $? errors $(<"$work/err")"
verdict 'full standard output' \
  "$(yes_when [ "$got" = 'status 2 errors span-rows: standard output: No space left on device' ])" "$got"

all_passed
