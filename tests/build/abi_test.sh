#!/bin/bash
# The ABI is the one that is described in tests/abi, to the last parameter and field. ./test --accept-abi describes anew.
source "$(dirname "$0")/common.sh"

description=tests/abi/$("${compiler[@]}" -print-multiarch).abi
now=$(mktemp)
trap 'rm -f "$now"' EXIT

tests/abi/describe.sh "${compiler[@]}" >"$now"
abidiff --harmless "$description" "$now" >&2 || fail "that is not the ABI of $description"
