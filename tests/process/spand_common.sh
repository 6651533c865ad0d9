# Shared by the checks of the SPAN manager's daemon. Each is called as CHECK PROGRAMS.
# shellcheck shell=bash
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"

programs=$(realpath "$1")
spand=$programs/spand
ask=$(realpath "$programs/../tests/ask_spand")
if ! [ -x "$spand" ] || ! [ -x "$ask" ]; then
  echo "usage: $0 PROGRAMS" >&2
  exit 2
fi
work=$(mktemp -d)
pids=()

# shellcheck disable=SC2317
clean_up() {
  [ ${#pids[@]} -eq 0 ] || { kill -KILL "${pids[@]}"; wait; } 2>/dev/null
  rm -rf "$work"
}
trap clean_up EXIT

# expect NAME STATUS OUTPUT COMMAND...: runs it. OUTPUT is a pattern of all that it says.
expect() {
  local output status ok=no limit=(timeout 20)
  declare -F "$4" >/dev/null && limit=()
  output=$("${limit[@]}" "${@:4}" 2>&1 </dev/null)
  status=$?
  # shellcheck disable=SC2053
  [ $status = "$2" ] && [[ $output == $3 ]] && ok=yes
  verdict "$1" $ok "status $status" "$output"
}

# start LOG COMMAND...: a daemon; waits until it says that it is there. Its process is $pid.
start() {
  : >"$1"
  "${@:2}" >"$1" 2>&1 </dev/null &
  pid=$!
  pids+=("$pid")
  within 10 grep -qE '^spand: (serving|standing by)' "$1" || { echo "FAILED  $* does not come up" && cat "$1" && exit 1; }
}

has_ended() { ! [ -e "/proc/$1" ] || grep -q '^State:.Z' "/proc/$1/status"; }

# expect_end NAME PID: it ends by itself within ten seconds, with status 0.
expect_end() {
  local status=none
  within 10 has_ended "$2" && wait "$2" && status=$?
  verdict "$1" "$(yes_when [ "$status" = 0 ])"
}
