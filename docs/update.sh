#!/bin/bash
# Puts real output into pages: docs/update.sh [--check] SPANSH PAGE...
#
# A page names the command in a comment, and everything up to the next end mark becomes its output:
#
#   <!-- output of: spansh -c 'show vsan' -->
#   <!-- end of output -->
#
# The command runs at the root of the repository, with SPANSH as spansh and the span-rows that lies beside it. With --check no page is written; those that
# would change are named, and the exit status is 1.
set -euo pipefail
export LC_ALL=C

check=no
[ "${1-}" = --check ] && check=yes && shift
[ $# -ge 2 ] || { sed -n '2s/^# //p' "$0" >&2 && exit 2; }
# shellcheck source=tests/support/environment.sh
source "$(dirname "$0")/../tests/support/environment.sh"
binary=$(realpath "$1")
pages=$(realpath "${@:2}")
cd "$(dirname "$0")/.."

# shellcheck disable=SC2317
spansh() { "$binary" "$@"; }
# shellcheck disable=SC2317
span-rows() { "$(dirname "$binary")/span-rows" "$@"; }
# shellcheck disable=SC2317
span-agent() { "$(dirname "$binary")/span-agent" "$@"; }
# shellcheck disable=SC2317
spand() { "$(dirname "$binary")/spand" "$@"; }
# shellcheck disable=SC2317
span-linecard() { "$(dirname "$binary")/span-linecard" "$@"; }
# shellcheck disable=SC2317
with-agent() { docs/with_agent.sh "$(dirname "$binary")" "$@"; }
# shellcheck disable=SC2317
with-processes() { docs/with_processes.sh "$(dirname "$binary")" "$@"; }

# The page on standard input with its outputs made anew.
renew() {
  local line inside=no
  while IFS= read -r line || [ -n "$line" ]; do
    if [[ $line =~ ^'<!-- output of: '(.*)' -->'$ ]]; then
      inside=yes
      printf '%s\n```text\n' "$line"
      eval "${BASH_REMATCH[1]}" 2>&1 </dev/null || true # a refusal is output too
      printf '```\n'
    elif [ "$line" = '<!-- end of output -->' ]; then
      inside=no
    fi
    [ $inside = yes ] || printf '%s\n' "$line"
  done
}

status=0
while IFS= read -r page; do
  new=$(renew <"$page" && echo .)
  [ "$new" = "$(cat "$page" && echo .)" ] && continue
  if [ $check = yes ]; then
    echo "$page: outputs are not up to date" >&2
    status=1
  else
    printf '%s' "${new%.}" >"$page"
    echo "$page: updated"
  fi
done <<<"$pages"
exit $status
