# Shared by the checks of the shared object. Each is called as CHECK LIBRARY C-COMPILER [FLAG...].
# shellcheck shell=bash
set -euo pipefail
export LC_ALL=C

# shellcheck disable=SC2034
library=$1
shift
compiler=("$@")

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$root"
headers=feature/span/lib
map=$headers/libspan.map
include=(-I. -Iplatform -I"$headers")

fail() {
  printf '%s\n' "$@" >&2
  exit 1
}

# refuse WHAT NAMES: passes when there are no names.
refuse() { [ -z "$2" ] || fail "$1:" "$2"; }

# minus NAMES NAMES: the names, sorted and one a line, that are in the first list only.
minus() { comm -23 <(printf '%s\n' "$1") <(printf '%s\n' "$2"); }

# The names that the library may export.
listed_names() { sed -nE 's/^ +([A-Za-z_0-9]+);$/\1/p' "$map" | sort; }

# Names in the dynamic symbol table, without the version that libc's have: dynamic_names NM-OPTION LIBRARY.
dynamic_names() { nm -D "$@" | awk '{ sub(/@.*/, "", $NF); print $NF }' | sort -u; }

# The functions and objects that the given headers declare, as the compiler sees them.
declared_names() {
  local header
  for header in "$@"; do
    printf '#include "%s"\n' "$header" | "${compiler[@]}" -std=c11 "${include[@]}" -fsyntax-only -aux-info /dev/fd/3 \
      -x c - 3>&1 >/dev/null | sed -nE "s#^/\* $header:[0-9]+:.. \*/ extern ##p" | sed -E 's/ \(.*//; s/.*[ *]//'
    sed -nE 's/^extern [A-Za-z_0-9 *]*[ *]([A-Za-z_0-9]+)(\[[^]]*\])?;.*/\1/p' "$header"
  done | sort
}
