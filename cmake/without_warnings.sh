#!/bin/bash
# Runs a compiler whose warnings are errors, also those that -Werror leaves alone. clang warns like that of a decision
# that it does not measure.
set -euo pipefail
said=$("$@" 2>&1) || {
  printf '%s\n' "$said" >&2
  exit 1
}
[ -z "$said" ] || {
  printf '%s\n' "$said" "${0##*/}: a warning is an error here" >&2
  exit 1
}
