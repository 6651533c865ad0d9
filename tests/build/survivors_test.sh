#!/bin/bash
# Each explanation of a mutant that no test notices is still one of exactly one mutant.
source "$(dirname "$0")/common.sh"

tests/mutation/mutate.py --check || fail "an explanation of tests/mutation/survivors.txt has to be looked at again"
