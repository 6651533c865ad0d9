#!/bin/bash
# valgrind.sh BUILD: every test program of a build as a whole under valgrind, then the programs that people run, by a
# tour and by those of their tests that have time. Nothing may be found, and no block may be lost.
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

# Stand-ins for the programs; what valgrind says of them goes to files of their own, an empty one when there is nothing to
# say. Some tests play other users.
chmod 711 "$scratch"
mkdir "$scratch/host" "$scratch/tests"
for program in spansh span-rows spand span-linecard span-agent; do
  printf '#!/bin/bash\nexec%s --log-file=%q.%%p %q "$@"\n' "$(printf ' %q' "${memcheck[@]}")" \
    "$scratch/log/$program" "$build/host/$program" >"$scratch/host/$program"
  chmod +x "$scratch/host/$program"
done
ln -s "$build/tests/ask_spand" "$scratch/tests"

# look_over NAME PROGRAM...: that valgrind has watched each of these, and has nothing to say of any.
look_over() {
  local program
  for program in "${@:2}"; do
    compgen -G "$scratch/log/$program.*" >/dev/null && continue
    failed=1
    printf 'valgrind: %s: %s has not run under valgrind\n' "$1" "$program" >&2
  done
  grep -q . -r "$scratch/log" || return 0
  failed=1
  printf 'valgrind: %s: found\n' "$1" >&2
  cat "$scratch"/log/* >&2
}

# check_programs NAME PROGRAMS COMMAND...: the command runs these, and perhaps others.
check_programs() {
  rm -rf "$scratch/log"
  mkdir -m 1777 "$scratch/log"
  check "$1" "${@:3}"
  # shellcheck disable=SC2086
  look_over "$1" $2
}

# The switch refuses two commands of the tour.
check_programs tour spansh bash -c '"$@"; [ $? -eq 1 ]' tour "$scratch/host/spansh" examples/tour.span
check_programs spansh spansh tests/host/spansh_test.sh "$scratch/host/spansh"
check_programs span-rows span-rows tests/host/span_rows_test.sh "$scratch/host/span-rows"
for name in spand standby; do
  check_programs $name spand "tests/process/${name}_test.sh" "$scratch/host"
done
check_programs access 'spand span-linecard' tests/process/access_test.sh "$scratch/host"
check_programs agent 'spansh span-rows spand span-agent' tests/process/agent_test.sh "$scratch/host"
for name in smon notify; do
  check_programs $name 'spansh spand span-linecard span-agent' "tests/process/${name}_test.sh" "$scratch/host"
done
exit $failed
