#!/bin/bash
# Reads the sources without running them: cppcheck, clang-tidy, shellcheck. Called as static.sh BUILD [--deep]: a build in
# which everything is compiled tells what each source consists of. What clang-tidy has found good is read again when the
# source, a header of it or the configuration has changed. The host is analysed path by path when it is to be deep, the
# library always.
set -euo pipefail
build=$(cd "$1" && pwd -P)
deep=${2-}
cd "$(dirname "$0")/.."
passed=build/static/passed
mkdir -p "$passed" build/static/cppcheck
export build deep passed
failures=0

# part NAME COMMAND...: a line that tells the outcome and the time; what the command prints goes before it.
part() {
  local start=$SECONDS result=ok
  "${@:2}" >&2 || result=failed
  [ $result = ok ] || failures=$((failures + 1))
  printf 'static: %s: %s, %d s\n' "$1" $result $((SECONDS - start)) >&2
}

check_cpp() {
  cppcheck -q -j "$(nproc)" --std=c++20 --library=posix \
    --enable=warning,performance,portability --error-exitcode=1 --suppressions-list=cmake/cppcheck.txt \
    --cppcheck-build-dir=build/static/cppcheck -I. -Iplatform -Ifeature/span/lib feature host bench
}

# A line "SOURCE FILE..." for each source: the files of this checkout that its object was compiled from.
parts() {
  ninja -C "$build" -t deps | awk -v root="$PWD/" '
    /: #deps/ { print ""; separator = ""; next }
    index($1, root) == 1 && index($1, root "build/") != 1 {
      printf "%s%s", separator, substr($1, length(root) + 1)
      separator = " "
    }' | grep -E '^(feature|host|bench)/[^ ]*\.cpp ' | sort -u -k1,1
}

# tidy SOURCE FILE...
tidy() {
  local key findings checks='' stamp=$passed/${1//\//,}$deep
  [[ $deep || $1 == feature/* ]] || checks='-clang-analyzer-*'
  key=$(sha256sum .clang-tidy cmake/static.sh "$@" | sha256sum)
  [ "$key" != "$(cat "$stamp" 2>/dev/null)" ] || return 0
  findings=$(clang-tidy -p "$build" --quiet --checks="$checks" "$1" 2>&1) || { echo "$findings" && return 1; }
  echo "$key" >"$stamp"
}
export -f tidy

check_tidy() {
  local sources
  sources=$(parts)
  [ -n "$sources" ] || { echo "nothing is compiled in $build" && return 1; }
  xargs -P "$(nproc)" -L 1 bash -c 'tidy "$@"' tidy <<<"$sources"
}

check_scripts() {
  find . \( -path ./build -o -path ./.git \) -prune -o -type f -print0 |
    xargs -0 grep -lZE '^#!/bin/(ba)?sh|^# shellcheck shell' | xargs -0 shellcheck -x
}

part cppcheck check_cpp
part clang-tidy check_tidy
part shellcheck check_scripts
[ "$failures" -eq 0 ]
