#!/bin/bash
# Runs every fuzzer for a while, two at a time: fuzz.sh SECONDS [NAME...]. Each starts from its seeds, corpus/NAME/, and
# from what earlier runs found, which stays in build/fuzz/corpus/. An input that a fuzzer fails on is kept in
# build/fuzz/failures/ and named; the fuzzer plays it again when that file is its argument.
source "$(dirname "$(readlink -f "$0")")/../../cmake/setup.sh"

seconds=$1
work=$root/build/fuzz
programs=$work/tests/fuzz
mkdir -p "$work/failures" "$work/out"

# run NAME: whether it failed is in the status. What the code under test prints is not shown.
run() {
  mkdir -p "$work/corpus/$1"
  "$programs/fuzz_$1" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=8192 -close_fd_mask=1 \
    -print_final_stats=1 -artifact_prefix="$work/failures/$1-" "$work/corpus/$1" "$root/tests/fuzz/corpus/$1" \
    >"$work/out/$1" 2>&1
}

figure() { sed -nE "s/^stat::$2: +//p" "$work/out/$1"; }

report() {
  local name=$1 status=$2 result='no crash'
  [ "$status" -eq 0 ] || result='FAILED'
  printf '%-10s %12s executions %8s a second   %s\n' "$name" "$(figure "$name" number_of_executed_units)" \
    "$(figure "$name" average_exec_per_sec)" "$result"
  [ "$status" -eq 0 ] || cat "$work/out/$name" >&2
}

build fuzz fuzzers
names=("${@:2}")
[ ${#names[@]} -gt 0 ] || for source in "$root"/tests/fuzz/*_fuzz.cpp; do names+=("$(basename "$source" _fuzz.cpp)"); done

say "${#names[@]} fuzzers, $seconds s each, two at a time"
failed=0
cd "$work"
for ((i = 0; i < ${#names[@]}; i += 2)); do
  declare -A started=()
  for name in "${names[@]:i:2}"; do
    run "$name" &
    started[$name]=$!
  done
  for name in "${names[@]:i:2}"; do
    status=0
    wait "${started[$name]}" || status=$?
    report "$name" "$status"
    [ "$status" -eq 0 ] || failed=1
  done
done
exit $failed
