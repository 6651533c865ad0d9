# What the caller's environment shall not decide: which switch the programs talk to, which tests run, what a sanitizer
# lets pass, and whether the name of a socket has room. Sourced.
# shellcheck shell=bash
unset SPAN_CONNECT SPAN_RUN_DIR XDG_RUNTIME_DIR NOTIFY_SOCKET STATE_DIRECTORY XDG_STATE_HOME MIBS MIBDIRS
unset ASAN_OPTIONS LSAN_OPTIONS UBSAN_OPTIONS LLVM_PROFILE_FILE "${!GTEST_@}"
[[ ${TMPDIR-} =~ ^.{0,40}$ ]] || unset TMPDIR
