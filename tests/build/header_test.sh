#!/bin/bash
# Each public header stands alone, as C11 and as C++20.
source "$(dirname "$0")/common.sh"

for header in "$headers/libspan.h" platform/*.h; do
  for language in c:c11 c++:c++20; do
    printf '#include "%s"\n' "${header##*/}" |
      "${compiler[@]}" -x "${language%:*}" -std="${language#*:}" -Wall -Wextra -Wpedantic -Werror "${include[@]}" \
        -fsyntax-only - || fail "$header is not ${language#*:}"
  done
done
