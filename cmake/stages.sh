# Stages of ./test: the output of each goes to a file of its own, its outcome into a table. Behind setup.sh.
# shellcheck shell=bash disable=SC2154

logs=$root/build/log
mkdir -p "$logs"
table=()
failed=0
ticker=

# On a terminal: the last line of a log, again and again.
tick() {
  local columns
  columns=$(tput cols 2>/dev/null || echo 80)
  while sleep 0.5; do
    printf '\r\033[K%s' "$(printf '%s  %s' "$1" "$(tail -n 1 "$2" | tr -cd '[:print:]')" | cut -c "1-$((columns - 1))")"
  done >&2
}

stop_ticker() {
  [ -n "$ticker" ] || return 0
  kill "$ticker" 2>/dev/null || true
  ticker=
  printf '\r\033[K' >&2
}
trap stop_ticker EXIT

# What the stage that runs has to say in the table, in a few words.
tell() { printf '%s' "$*" >"$logs/told"; }

# stage NAME COMMAND...
stage() {
  local log=$logs/$1 start=$SECONDS status outcome=passed
  printf '' >"$log"
  printf '' >"$logs/told"
  if [ -t 2 ]; then
    tick "$1" "$log" &
    ticker=$!
    disown "$ticker"
  else
    say "$1 ..."
  fi
  set +e
  (set -e && "${@:2}") >"$log" 2>&1 </dev/null
  status=$?
  set -e
  stop_ticker
  if [ $status -ne 0 ]; then
    outcome=FAILED
    failed=1
    grep -vE '^ +Start +[0-9]+: |^ *[0-9]+/[0-9]+ Test .* Passed ' "$log" >&2 || true
  fi
  table+=("$(printf '%-10s %s %4d s  %s' "$1" $outcome $((SECONDS - start)) "$(cat "$logs/told")")")
  say "${table[-1]}"
}

# Prints the table and ends.
verdict() {
  printf '\n'
  printf '%s\n' "${table[@]}"
  printf '%-10s %s %4d s\n' 'in all' "$([ $failed -eq 0 ] && echo passed || echo FAILED)" "$SECONDS"
  exit $failed
}
