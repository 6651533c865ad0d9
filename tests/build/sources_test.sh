#!/bin/bash
# Each source of the library compiles alone: nothing is generated, nothing is passed but where the headers are.
source "$(dirname "$0")/common.sh"

for source in "$headers"/span_*.cpp; do
  "${compiler[@]}" -x c++ -std=c++20 "${include[@]}" -fsyntax-only "$source" || fail "$source does not compile alone"
done
