#!/bin/bash
# The SPAN manager is killed at random moments while clients change the switch: kill_test.sh PROGRAMS. KILLS (300) and
# SEED (a random one) come from the environment.
set -uo pipefail
export LC_ALL=C

programs=$(realpath "$1")
clients=$programs/../tests/kill_clients
if ! [ -x "$programs/spand" ] || ! [ -x "$clients" ]; then
  echo "usage: $0 PROGRAMS" >&2
  exit 2
fi
kills=${KILLS:-300}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

timeout $((60 + kills * 2)) "$clients" "$programs/spand" "$work" "$kills" "${SEED:-$RANDOM$RANDOM}" 2>"$work/log"
status=$?
grep -v ' serving .* at ' "$work/log" | head -n 20
[ $status -eq 0 ] || { echo "FAILED: status $status" && exit 1; }
"$programs/spand" --check --state "$work/state" || exit 1
