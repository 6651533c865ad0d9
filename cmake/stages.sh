# Stages of ./test: the output of each goes to a file of its own, its outcome into a table. Behind setup.sh.
# shellcheck shell=bash disable=SC2154

logs=$root/build/log
mkdir -p "$logs"
rm -f "$logs"/*.row "$logs"/*.told
rows=()
ticker=
aside= # the stage that runs beside the others

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

stop() {
  stop_ticker
  [ -z "$aside" ] || kill -- "-$aside" 2>/dev/null || true
}
trap stop EXIT

# What the stage that runs has to say in the table, in a few words.
tell() { printf '%s' "$*" >"$logs/$stage.told"; }

# run_stage COMMAND...: the work of `stage`, its row in the table included.
run_stage() {
  local start=$SECONDS status outcome=passed
  set +e
  (set -e && "$@") >"$logs/$stage" 2>&1 </dev/null
  status=$?
  set -e
  stop_ticker
  if [ $status -ne 0 ]; then
    outcome=FAILED
    grep -vE '^ +Start +[0-9]+: |^ *[0-9]+/[0-9]+ Test .* Passed ' "$logs/$stage" >&2 || true
  fi
  printf '%-16s %s %4d s  %s\n' "$stage" $outcome $((SECONDS - start)) "$(cat "$logs/$stage.told" 2>/dev/null)" \
    >"$logs/$stage.row"
  say "$(cat "$logs/$stage.row")"
}

# stage NAME COMMAND...
stage() {
  local stage=$1
  rows+=("$1")
  printf '' >"$logs/$1"
  if [ -t 2 ]; then
    tick "$1" "$logs/$1" &
    ticker=$!
    disown "$ticker"
  else
    say "$1 ..."
  fi
  run_stage "${@:2}"
}

# stage_aside NAME COMMAND...: beside the stages that follow, after the last one that ran aside. In a process group of
# its own, so that all of it can be ended.
stage_aside() {
  local stage=$1
  rows+=("$1")
  await_aside
  say "$1 ..."
  set -m
  run_stage "${@:2}" &
  aside=$!
  set +m
}

await_aside() {
  [ -z "$aside" ] || wait "$aside" || true
  aside=
}

# Whether a stage that has ended passed.
passed() { [ "$(cut -c 18-23 "$logs/$1.row" 2>/dev/null)" = passed ]; }

# Prints the table and ends.
verdict() {
  local row failed=0 outcome=passed
  await_aside
  printf '\n'
  for row in "${rows[@]}"; do
    grep . "$logs/$row.row" || printf '%-16s FAILED\n' "$row"
    passed "$row" || failed=1 outcome=FAILED
  done
  printf '%-16s %s %4d s\n' 'in all' $outcome "$SECONDS"
  exit $failed
}
