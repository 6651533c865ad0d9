# Set-up shared by ./run and ./test: the system's packages, then the builds. Does only what is still to do, reads
# nothing from standard input and writes to standard error alone.
# shellcheck shell=bash
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)

say() { printf '%s: %s\n' "${0##*/}" "$*" >&2; }

# Debian packages, each with a command or a file that tells whether it is there.
host_packages=(
  g++ g++
  cmake cmake
  ninja-build ninja
  googletest /usr/src/googletest/CMakeLists.txt
  libcli11-dev /usr/include/CLI/CLI.hpp
  libtomlplusplus-dev /usr/include/toml++/toml.h
  libedit-dev /usr/include/histedit.h
  libasio-dev /usr/include/asio.hpp
)
lab_packages=(
  "${host_packages[@]}"
  libsqlite3-dev /usr/include/sqlite3.h
  libsnmp-dev /usr/include/net-snmp/net-snmp-config.h
  snmp snmpwalk
  snmpd /usr/sbin/snmpd
  snmptrapd /usr/sbin/snmptrapd
  erlang-snmp /var/lib/dpkg/info/erlang-snmp.list
)
# shellcheck disable=SC2034
test_packages=(
  "${lab_packages[@]}"
  g++-12-multilib /usr/lib/gcc/x86_64-linux-gnu/12/32/libstdc++.a
  g++-arm-linux-gnueabihf arm-linux-gnueabihf-g++
  qemu-user qemu-arm
  clang-19 clang++-19
  libclang-rt-19-dev /usr/lib/llvm-19/lib/clang/19/lib/linux/libclang_rt.fuzzer-x86_64.a
  llvm-19 llvm-cov-19
  gcovr gcovr
  abigail-tools abidw
  clang-tidy clang-tidy
  cppcheck cppcheck
  shellcheck shellcheck
  smitools smilint
  systemd systemd-analyze
  valgrind valgrind
  python3 python3
)

# need PACKAGE PROOF ...: installs the packages whose proof is missing, or names them and ends.
need() {
  local missing=()
  while [ $# -gt 0 ]; do
    case $2 in
      /*) [ -e "$2" ] || missing+=("$1") ;;
      *) command -v "$2" >/dev/null || missing+=("$1") ;;
    esac
    shift 2
  done
  [ ${#missing[@]} -eq 0 ] || install_packages "${missing[@]}" || {
    say "please install these packages (names of Debian 12): ${missing[*]}"
    exit 2
  }
}

# Without what is only recommended: that would bring gcc-multilib, which removes cross compilers.
install_packages() {
  local as_root=() apt_get
  (. /etc/os-release && [ "$ID $VERSION_ID" = "debian 12" ]) 2>/dev/null || return
  [ "$(id -u)" -eq 0 ] || as_root=(sudo -n)
  "${as_root[@]}" true 2>/dev/null || return
  say "installing $*"
  apt_get=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300)
  "${apt_get[@]}" update </dev/null >&2 || return
  "${apt_get[@]}" install --no-install-recommends "$@" </dev/null >&2
}

# configure PRESET: once, and again when the checkout has moved.
configure() {
  local build=$root/build/$1
  if ! [ -f "$build/build.ninja" ] || ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$build/CMakeCache.txt"; then
    (cd "$root" && cmake --fresh --preset "$1" </dev/null >&2)
  fi
}

# build PRESET TARGET...: a line for each step, none when everything is up to date.
build() {
  configure "$1"
  NINJA_STATUS="$1 [%f/%t] " ninja -C "$root/build/$1" -j "$(nproc)" "${@:2}" </dev/null 2>&1 |
    sed -u -e '/^ninja: Entering directory/d' -e '/Re-checking globbed directories/d' -e '/^ninja: no work to do/d' >&2
}
