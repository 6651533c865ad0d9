#!/bin/bash
# valgrind.sh BUILD: every test program of a build as a whole under valgrind, then the programs that people run, by a
# tour and by tests of theirs that have time. Nothing may be found, and no block may be lost.
set -euo pipefail
build=$(cd "$1" && pwd -P)
cd "$(dirname "$0")/.."

memcheck=(valgrind -q --error-exitcode=99 --leak-check=full '--errors-for-leak-kinds=definite,indirect'
  "--suppressions=$PWD/cmake/valgrind.supp")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failed=0

# check NAME COMMAND...
check() {
  local start=$SECONDS result=passed
  "${@:2}" >"$scratch/out" 2>&1 || result=FAILED
  [ $result = passed ] || { failed=1 && cat "$scratch/out" >&2; }
  printf 'valgrind: %-16s %s, %d s\n' "$1" $result $((SECONDS - start)) >&2
}

for program in "$build"/tests/*_tests; do
  check "$(basename "$program")" "${memcheck[@]}" "$program" --gtest_brief=1
done

# Stand-ins for the programs; what valgrind says of them goes to files of their own.
mkdir "$scratch/host" "$scratch/log"
for program in spansh span-rows spand span-linecard span-agent; do
  printf '#!/bin/bash\nexec%s --log-file=%q.%%p %q "$@"\n' "$(printf ' %q' "${memcheck[@]}")" \
    "$scratch/log/$program" "$build/host/$program" >"$scratch/host/$program"
  chmod +x "$scratch/host/$program"
done
# The switch refuses two commands of the tour.
check tour bash -c '"$@"; [ $? -eq 1 ]' tour "$scratch/host/spansh" examples/tour.span
check span-rows tests/host/span_rows_test.sh "$scratch/host/span-rows"
check notify tests/process/notify_test.sh "$scratch/host"
if grep -q . "$scratch"/log/*; then
  failed=1
  cat "$scratch"/log/* >&2
fi
exit $failed
