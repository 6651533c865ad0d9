#!/bin/bash
# Each of the other checks fails when it should: on libraries and sources that are wrong in one point.
source "$(dirname "$0")/common.sh"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp -R feature platform host tests bench docs README.md "$scratch"
mkdir -p "$scratch/build/$headers"
good=$scratch/build/$headers/good.so
bad=$scratch/bad.so

# A library with the right names: functions that do nothing, and one that calls the platform and libc.
right_source() {
  listed_names | sed 's/.*/void &(void) {}/'
  printf '%s\n' 'unsigned ntoh_if_index(unsigned); int puts(const char *);' \
    '__attribute__((visibility("hidden"))) unsigned used(void) { return ntoh_if_index((unsigned)puts("")); }'
}

# build OUTPUT [LINK-FLAG...]: the library of the source on standard input.
build() {
  "${compiler[@]}" -w -shared -fPIC -nostdlib -Wl,-soname,libspan.so.1,-z,relro,-z,now -x c - -x none "${@:2}" -lc \
    -o "$1"
}

check() { "$scratch/tests/build/$1_test.sh" "$2" "${compiler[@]}" >/dev/null 2>&1; }

# wrong_source CHECK LINE, wrong_link CHECK FLAG...: a library with this in addition fails the check.
wrong_source() {
  { right_source && printf '%s\n' "$2"; } | build "$bad"
  ! check "$1" "$bad" || fail "the check '$1' accepts: $2"
}
wrong_link() {
  right_source | build "$bad" "${@:2}"
  ! check "$1" "$bad" || fail "the check '$1' accepts: ${*:2}"
}

# wrong_file CHECK FILE SED-SCRIPT: the tree with this change fails the check.
wrong_file() {
  sed -i "$3" "$scratch/$2"
  ! cmp -s "$scratch/$2" "$2" || fail "'$3' does not change $2"
  ! check "$1" "$good" || fail "the check '$1' accepts $2 after '$3'"
  cp "$2" "$scratch/$2"
}

# wrong_abi SED-SCRIPT FILE...: the library with this change compiles and has another ABI.
wrong_abi() {
  local file
  for file in "${@:2}"; do sed -i "$1" "$scratch/$headers/$file"; done
  "$scratch/tests/abi/describe.sh" "${compiler[@]}" >/dev/null || fail "'$1' does not compile"
  ! check abi "$good" || fail "the check 'abi' accepts '$1'"
  for file in "${@:2}"; do cp "$headers/$file" "$scratch/$headers"; done
}

# The install scripts of the library's build, in the tree: they install what the build has.
copy_install_scripts() {
  local from to=$scratch/build
  from=$(cd "$(dirname "$library")/../../.." && pwd)
  (cd "$from" && find . -name cmake_install.cmake -exec cp --parents {} "$to" \;)
  cp "$from/CMakeCache.txt" "$to"
  sed -i "s|\"$from/|\"$to/|" "$to/cmake_install.cmake"
}

# wrong_rules SCRIPT: with one rule less, whichever it is, the check fails.
wrong_rules() {
  local script=$scratch/build/$1 rule count first='^ *file\((INSTALL|RPATH_CHANGE)( |$)'
  cp "$script" "$scratch/rules"
  count=$(grep -cE "$first" "$script") || fail "no rules in $1"
  for ((rule = 1; rule <= count; ++rule)); do
    awk -v rule="$rule" -v first="$first" '
      $0 ~ first { missing = ++count == rule }
      !missing
      /\)$/ { missing = 0 }' "$scratch/rules" >"$script"
    ! check install "$good" || fail "the check 'install' accepts $1 without rule $rule"
  done
  cp "$scratch/rules" "$script"
}

right_source | build "$good"
copy_install_scripts
checks=(exports undefined loading header sources install survivors)
described() { [ -e "tests/abi/$("${compiler[@]}" -print-multiarch).abi" ]; }
if described; then checks+=(arrows abi); fi
for name in "${checks[@]}"; do
  check "$name" "$good" || fail "the check '$name' refuses what is right"
done

wrong_source exports 'void span_extra(void) {}'
wrong_source undefined 'double sin(double); double f(double x) { return sin(x); }'
wrong_source loading '__attribute__((constructor)) static void f(void) {}'
wrong_source loading '__attribute__((destructor)) static void f(void) {}'
wrong_link loading -Wl,--no-as-needed -lm
wrong_link loading -Wl,-soname,libspan.so.2
wrong_link loading -Wl,-z,execstack
wrong_link loading -Wl,-z,lazy
wrong_link loading -Wl,-z,norelro
wrong_link loading -Wl,-rpath,/nowhere

wrong_file exports "$map" '/ span_print_time;/d'
wrong_file exports "$map" 's/ span_print_time;/&\n    span_not_there;/'
wrong_file exports "$headers/libspan.h" 's/^int span_print_time(void);/&\nint span_unlisted(void);/'
wrong_file exports "$headers/libspan.h" '/^int span_print_time(void);/d'
wrong_file undefined platform/if_index.h '/ntoh_if_index/d'
wrong_file header "$headers/libspan.h" 's/^#include <stdint.h>/&\ninline bool span_flag = false;/'
wrong_file header platform/vex.h 's/^#include <stdint.h>//'
wrong_file sources "$headers/span_msg.cpp" '1i #include "generated.h"'

wrong_rules "$headers/cmake_install.cmake"
if grep -qF '/host/cmake_install.cmake")' "$scratch/build/cmake_install.cmake"; then
  wrong_rules cmake_install.cmake
  wrong_rules host/cmake_install.cmake
  wrong_file install host/systemd/spand.service 's/^User=span/User=root/'
  wrong_file install docs/daemon.md 's/^\(cmake --build .*\) span-rows$/\1/'
fi

# What is the same for every compiler is made to fail once, for the one whose ABI is described.
described || exit 0
wrong_file arrows host/manager/manager.cpp '1i #include "host/shell/session.h"'
wrong_file arrows tests/support/messages.cpp '1i #include <internal/wire.h>'
wrong_file arrows "$headers/internal/heap.h" '1i #include "platform/vex.h"'
wrong_file arrows "$headers/span_cli.cpp" '/^#include "libspan.h"/a void stray() { span_snmp_set_tarn(1); }'
wrong_file arrows host/rows/span_rows.cpp '1i // span_cli_print_session_id'
wrong_file arrows tests/build/arrows.txt '/^include host\/shell /d'
wrong_file survivors "$headers/span_cli.cpp" 's/uint32_t tunnel = 0;/uint32_t tunnel{};/'
wrong_file survivors "$headers/span_cli.cpp" 's/uint8_t valid = 0;/&\n    uint8_t valid = 0;/'
wrong_file survivors tests/mutation/survivors.txt 's/, span_cli_set_session_state: /: /'
wrong_file survivors tests/mutation/survivors.txt 's/, print_rspan_tunnel: /, show_all: /'
wrong_file survivors tests/mutation/survivors.txt 's/^span_msg.cpp: payload.bytes.reset(nullptr); => ;$/&\n&/'

wrong_abi 's/^\(uint32_t span_cli_print_session_id(.*\))/\1, int more)/' libspan.h span_cli.cpp
wrong_abi 's/^\(uint32_t span_cli_print_session_id(const\) span_cli_parms_t/\1 void/' libspan.h span_cli.cpp
wrong_abi 's/^  uint8_t reserved1\[81\];/  uint8_t reserved0;\n  uint8_t reserved1[80];/' libspan.h
wrong_abi '/ span_print_time;/d' libspan.map
