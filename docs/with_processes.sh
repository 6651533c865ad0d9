#!/bin/bash
# Runs commands beside the processes of the default switch, for pages: with_processes.sh PROGRAMS COMMAND...
# Shows each command behind a "$ ", then what it prints. The run directory is called run; $manager and $cards are the
# processes.
set -uo pipefail
export LC_ALL=C

programs=$(realpath "$1")
PATH=$programs:$PATH
work=$(mktemp -d)
cd "$work" || exit 1
manager='' cards=''
finish() {
  [ -z "$manager$cards" ] || kill -KILL $manager $cards
  wait
  rm -rf "$work"
} 2>/dev/null
trap finish EXIT

# within_10_seconds COMMAND...: until it succeeds.
within_10_seconds() {
  local tries
  for ((tries = 0; tries < 200; ++tries)); do
    "$@" && return
    sleep 0.05
  done
  cat ./*.log >&2
  exit 1
}

spand --run-dir run --state state >manager.log 2>&1 &
manager=$!
within_10_seconds grep -qs serving manager.log
span-linecard --run-dir run >cards.log 2>&1 &
cards=$!
within_10_seconds grep -qs serving cards.log

for command in "${@:2}"; do
  printf '$ %s\n' "$command"
  eval "$command" 2>&1 # a failure is worth showing
done
