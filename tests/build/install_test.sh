#!/bin/bash
# An installed tree is complete to the last file, open to everybody, and works without the build that it comes from.
source "$(dirname "$0")/common.sh"

build=$(cd "$(dirname "$library")/../../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$work/tree
usr=$tree/usr
programs=(spansh spand span-linecard span-agent span-rows)

cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
lib=$(cached CMAKE_INSTALL_LIBDIR)
has_host() { grep -qF '/host/cmake_install.cmake")' "$build/cmake_install.cmake"; }

# The build's own rules, but for the list of what was installed: that would be left in the build. The folders are those
# that a system has; root's umask may be tight.
install_tree() {
  local rules place='file(WRITE "'
  rules=$(<"$build/cmake_install.cmake")
  printf '%s\n' "${rules/"$place$build/"/"$place$work/"}" >"$work/cmake_install.cmake"
  (umask 022 && mkdir -p "$usr"/{bin,"$lib",include,lib/systemd/system,lib/sysusers.d,share/{doc,snmp/mibs}})
  (umask 077 && env -i PATH="$PATH" DESTDIR="$tree" cmake --install "$work" --prefix /usr) </dev/null >"$work/said" 2>&1 ||
    fail "cannot be installed:" "$(<"$work/said")"
  [ -e "$work/install_manifest.txt" ] || fail "the list of what was installed is left in the build"
}

# What there must be below /usr.
expected() {
  printf '%s\n' "$lib"/libspan.so{,.1,".$(cached CMAKE_PROJECT_VERSION)"} include/libspan.h
  printf 'include/%s\n' platform/*.h
  has_host || return 0
  printf 'bin/%s\n' "${programs[@]}"
  printf '%s\n' share/libspan/default.toml share/snmp/mibs/PORT-MIRROR-MIB.txt lib/sysusers.d/span.conf
  printf 'lib/systemd/system/%s\n' span{-agent,-linecard,d-standby,d}.service
  (cd docs && printf 'share/doc/libspan/%s\n' README.md *.md)
}

check_files() {
  local there should
  there=$(cd "$tree" && find . ! -type d | sed 's|^\./usr/||' | sort)
  should=$(expected | sort)
  refuse "not installed" "$(minus "$should" "$there")"
  refuse "installed, but nobody knows why" "$(minus "$there" "$should")"
  refuse "not open to everybody" "$(find "$tree" -type d ! -perm 755 -o -type f ! -perm -444)"
  refuse "leads nowhere" "$(find "$tree" -xtype l)"
}

# Who calls the library needs nothing but what is installed.
check_caller() {
  local header
  cd "$work"
  for header in "$usr"/include/platform/*.h; do printf '#include "platform/%s"\n' "${header##*/}"; done >caller.c
  printf '%s\n' '#include "libspan.h"' 'int main(void) { return span_print_time(); }' >>caller.c
  "${compiler[@]}" -std=c11 -Wall -Wextra -Werror -I"$usr/include" caller.c -L"$usr/$lib" -lspan \
    -Wl,--unresolved-symbols=ignore-in-shared-libs -o caller || fail "a program that calls the library cannot be built"
  cd "$root"
  readelf -dW "$work/caller" | grep -q 'NEEDED.*\[libspan\.so\.1\]' || fail "it is built with another library"
}

# Where each file looks for libraries: the library nowhere, a program beside itself.
check_run_paths() {
  local program paths should
  refuse "the library has a path" "$(readelf -dW "$usr/$lib/libspan.so.1" | grep -E '\((RPATH|RUNPATH)\)')"
  has_host || return 0
  should="\$ORIGIN/$(realpath -m --relative-to="$usr/bin" "$usr/$lib")"
  for program in "${programs[@]}"; do
    paths=$(readelf -dW "$usr/bin/$program" | sed -nE 's/.*\((RPATH|RUNPATH)\).*\[(.*)\]/\2/p')
    [ "$paths" = "$should" ] || fail "$program looks for libraries in: $paths"
  done
}

# run PROGRAM ARGUMENT...: an installed program, with nothing in its environment.
run() { (cd "$work" && env -i "$usr/bin/$1" "${@:2}" </dev/null 2>&1); }

# says OUTPUT PROGRAM ARGUMENT...: it succeeds, and prints that first.
says() {
  local said
  said=$(run "${@:2}") || fail "${*:2}: status $?" "$said"
  [[ $said == "$1"* ]] || fail "${*:2} says:" "$said"
}

check_programs() {
  local program loaded
  for program in "${programs[@]}"; do
    says '' "$program" --help
    loaded=$(cd "$work" && env -i LD_TRACE_LOADED_OBJECTS=1 "$usr/bin/$program" | awk '$1 == "libspan.so.1" { print $3 }')
    [ -z "$loaded" ] || [ "$loaded" -ef "$usr/$lib/libspan.so.1" ] || fail "$program loads $loaded"
  done
  # By this name the installed description is told from that of the checkout.
  sed -i 's/^name = "spanlab" /name = "installed" /' "$usr/share/libspan/default.toml"
  says $'installed# show vsan\n' spansh --echo -c 'show vsan'
  says $'switch installed: ' spand --check --state "$work/state"
  says $'[sessions]\n' span-rows
}

# The page for those who install builds what is installed.
check_page() {
  grep -qF -- "--target ${programs[*]}" docs/daemon.md || fail "docs/daemon.md builds something else"
}

# What the units name is there; and they are those of host/systemd, which a test of their own reads.
check_units() {
  local file
  for file in host/systemd/*.service; do
    cmp "$file" "$usr/lib/systemd/system/${file##*/}" || fail "another unit is installed"
  done
  grep -rohE '/usr/[^ :]+' "$usr/lib/systemd/system" "$usr/lib/sysusers.d" | sort -u >"$work/named"
  [ "$(wc -l <"$work/named")" -gt 3 ] || fail "the units name too little"
  while read -r file; do [ -e "$tree$file" ] || fail "a unit names $file"; done <"$work/named"
}

install_tree
check_files
check_run_paths
check_caller
has_host || exit 0
check_page
check_units
check_programs
