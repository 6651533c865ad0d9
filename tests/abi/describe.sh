#!/bin/bash
# The ABI of this checkout's library as a compiler makes it, on standard output: exported functions and objects, and all
# records of libspan.h, also those that callers know behind a void pointer alone. The description holds neither the
# checkout's path nor line numbers. Called as describe.sh C-COMPILER [FLAG...].
set -euo pipefail
cd "$(dirname "$0")/../.."

headers=feature/span/lib
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# One exported object that knows every record: what can be reached from an exported name is described.
records_source() {
  local name
  printf '#include "libspan.h"\nextern "C" { extern const struct span_records {\n'
  sed -nE 's/^(typedef struct .*)?\} (span_[a-z0-9_]+_t);.*/\2/p' "$headers/libspan.h" |
    while read -r name; do printf '  %s* %s;\n' "$name" "${name%_t}"; done
  printf '} span_records; }\nconst struct span_records span_records{};\n'
}

sed 's/^ *global:/& span_records;/' "$headers/libspan.map" >"$scratch/libspan.map"
records_source |
  "$@" -x c++ -std=c++20 -I. -Iplatform -I"$headers" -g -O0 -fPIC -fno-exceptions -fno-rtti -shared -nostdlib \
    -Wl,--version-script="$scratch/libspan.map",-soname,libspan.so.1 "$headers"/span_*.cpp - -x none -lc -lgcc \
    -o "$scratch/libspan.so"
abidw --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --exported-interfaces-only \
  --type-id-style hash "$scratch/libspan.so"
