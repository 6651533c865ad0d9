#!/bin/bash
# Measures what the tests reach and prints it as a table; the lines one by one are in build/coverage/*/index.html.
# Called as coverage.sh [library] [host], without a word for both. Fails when a test does, or when less is reached than
# these shares, in percent.
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/setup.sh"

library_gate=100 # lines, branches, conditions (MC/DC)
host_gate=90     # lines
report=$root/build/coverage
failed=0

coverage_packages=(
  gcovr gcovr
  clang-19 clang++-19
  llvm-19 llvm-cov-19
  libclang-rt-19-dev /usr/lib/llvm-19/lib/clang/19/lib/linux/libclang_rt.profile-i386.a
)

# quietly COMMAND...: its output only when it fails.
quietly() {
  "$@" >"$report/log" 2>&1 || {
    cat "$report/log" >&2
    say "failed: $*"
    exit 1
  }
}

# What was measured before would be added to what is measured now. The files for the counts are made here, so that
# tests may run programs as other users.
forget() {
  find "$root/build/$1" -name '*.gcda' -delete
  find "$root/build/$1" -name '*.gcno' | sed 's/gcno$/gcda/' | (umask 0 && xargs -d '\n' touch)
}

# gcov_table PRESET FOLDER: a line "FILE LINES REACHED BRANCHES REACHED" for each file of a folder, built with a preset.
gcov_table() {
  rm -rf "${report:?}/$1"
  mkdir -p "$report/$1"
  find "$root/build/$1" -name '*.gcda' -empty -delete
  quietly gcovr -r "$root" -f "$root/$2/" "$root/build/$1/${2%%/*}" --csv "$report/$1.csv" \
    --html-details "$report/$1/index.html"
  awk -F, 'NR > 1 { print $1, $2, $3, $5, $6 }' "$report/$1.csv"
}

# A line "FILE CONDITIONS REACHED" for each file of the library.
condition_table() {
  local tests=$root/build/mcdc32/tests/span_tests profile=$report/mcdc32.profdata
  quietly llvm-profdata-19 merge -o "$profile" "$report/mcdc32.profraw"
  rm -rf "$report/mcdc32"
  quietly llvm-cov-19 show "$tests" -instr-profile="$profile" -format=html -show-mcdc -output-dir="$report/mcdc32" \
    "$root/feature/span/lib"
  llvm-cov-19 report "$tests" -instr-profile="$profile" -show-mcdc-summary "$root/feature/span/lib" |
    awk 'NF > 10 && $1 ~ /\.(cpp|h)$/ { print "feature/span/lib/" $1, $(NF - 2), $(NF - 2) - $(NF - 1) }'
}

measure_library() {
  say "coverage of the library: building and running"
  build target32 span_tests
  build coverage32 span_tests
  build mcdc32 span_tests
  forget coverage32
  quietly "$root/build/coverage32/tests/span_tests" --gtest_brief=1
  quietly env LLVM_PROFILE_FILE="$report/mcdc32.profraw" "$root/build/mcdc32/tests/span_tests" --gtest_brief=1
  gcov_table coverage32 feature/span/lib >"$report/lines"
  condition_table >"$report/conditions"
  table library "$library_gate" "$report/conditions" "$report/lines" || failed=1
}

measure_host() {
  say "coverage of the host: building and running"
  build coverage64 all
  forget coverage64
  # Slowed down by the measurement, a test that measures time may miss it once.
  quietly ctest --test-dir "$root/build/coverage64" --output-on-failure --timeout 300 -j "$(nproc)" --repeat until-pass:2
  gcov_table coverage64 host >"$report/lines"
  table host "$host_gate" /dev/null "$report/lines" || failed=1
}

# table NAME GATE CONDITIONS LINES: prints the files and their sum. Fails when that is below the gate; without
# conditions, branches are told only.
table() {
  awk -v name="$1" -v gate="$2" '
    function share(reached, all) { return all ? sprintf("%5d of %5d %5.1f %%", reached, all, 100 * reached / all) : "-" }
    function row(file, n) { printf "%-42s %22s %22s %22s\n", file, share(n[2], n[1]), share(n[4], n[3]), share(n[6], n[5]) }
    function below(reached, all) { return all == 0 || 100 * reached < gate * all }
    FILENAME ~ /conditions$/ { conditions[$1] = $2; decided[$1] = $3; strict = 1; next }
    FNR == 1 { printf "%-42s %22s %22s %22s\n", name, "lines", "branches", "MC/DC" }
    {
      number[1] = $2; number[2] = $3; number[3] = $4; number[4] = $5
      number[5] = conditions[$1]; number[6] = decided[$1]
      for (i = 1; i <= 6; ++i) sum[i] += number[i]
      row($1, number)
    }
    END {
      row("all of the " name, sum)
      failed = below(sum[2], sum[1]) || strict && (below(sum[4], sum[3]) || below(sum[6], sum[5]))
      printf "%-42s %s %d %%\n\n", name, failed ? "FAILED: less than" : "ok: at least", gate
      exit failed
    }' "$3" "$4"
}

need "${test_packages[@]}" "${coverage_packages[@]}"
mkdir -p "$report"
[ $# -gt 0 ] || set -- library host
for part in "$@"; do
  case $part in
    library) measure_library ;;
    host) measure_host ;;
    *) say "unknown part '$part'; there are library and host" && exit 2 ;;
  esac
done
exit $failed
