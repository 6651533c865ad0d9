#!/bin/bash
# What the library exports is what libspan.map lists and what libspan.h declares.
source "$(dirname "$0")/common.sh"

exported=$(nm -D --defined-only "$library" | awk '{ print $NF }' | sort)
listed=$(listed_names)
declared=$(declared_names "$headers/libspan.h")

refuse "exported, but not in $map" "$(minus "$exported" "$listed")"
refuse "in $map, but not exported" "$(minus "$listed" "$exported")"
refuse "in libspan.h, but not in $map" "$(minus "$declared" "$listed")"
refuse "in $map, but not in libspan.h" "$(minus "$listed" "$declared")"
