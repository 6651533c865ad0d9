# What test scripts share: checks, with a line for each, and patience. Sourced.
# shellcheck shell=bash
set -uo pipefail
export LC_ALL=C
failed=0
# shellcheck source=tests/support/environment.sh
source "$(dirname "${BASH_SOURCE[0]}")/environment.sh"

# verdict NAME OK DETAIL...: passes when OK is "yes"; else the details are told.
verdict() {
  if [ "$2" = yes ]; then
    echo "ok      $1"
  else
    echo "FAILED  $1"
    printf '        %s\n' "${@:3}"
    failed=$((failed + 1))
  fi
}

# yes_when COMMAND...: the OK of a command.
yes_when() { "$@" >/dev/null 2>&1 && echo yes || echo no; }

# within SECONDS COMMAND...: tries until it succeeds.
within() {
  local end=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ $SECONDS -lt $end ] || return 1
    sleep 0.05
  done
}

# is_stand_in PROGRAM: whether a script runs it under a tool, which is slow and has descriptors of its own: it opens
# standard files that are closed, and takes some of the few that a limit leaves.
is_stand_in() { [ "$(head -c 2 "$1")" = '#!' ]; }

# The last line of a script: it fails when a check did.
all_passed() {
  [ $failed -eq 0 ] || {
    echo "$failed checks failed"
    exit 1
  }
}
