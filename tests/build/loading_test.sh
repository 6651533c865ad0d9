#!/bin/bash
# The library loads with libc alone, runs no code when it loads, and leaves no page both writable and executable.
source "$(dirname "$0")/common.sh"

dynamic=$(readelf -dW "$library")
sections=$(readelf -SW "$library")
segments=$(readelf -lW "$library")

# value KEY: what the dynamic section says, in brackets, for this key.
value() { sed -nE "s/.*\($1\).*\[(.*)\]/\1/p" <<<"$dynamic"; }

# none WHAT REGEX TEXT / some WHAT REGEX TEXT
none() { ! grep -qE "$2" <<<"$3" || fail "$1:" "$(grep -E "$2" <<<"$3")"; }
some() { grep -qE "$2" <<<"$3" || fail "$1"; }

[ "$(value NEEDED)" = libc.so.6 ] || fail "needs:" "$(value NEEDED)"
[ "$(value SONAME)" = libspan.so.1 ] || fail "soname: $(value SONAME)"

none "code at load or unload" '\.(init|fini|preinit)(_array)? |\.[cd]tors ' "$sections"
none "in the dynamic section" '\(TEXTREL\)|\(RPATH\)|\(RUNPATH\)' "$dynamic"
none "writable and executable" ' RWE ' "$segments"
some "no word on the stack: it is executable" GNU_STACK "$segments"
some "relocated data stays writable" GNU_RELRO "$segments"
some "bound lazily" BIND_NOW "$dynamic"
