#!/bin/bash
# What the library leaves to others is the platform's or libc's.
source "$(dirname "$0")/common.sh"

undefined=$(dynamic_names --undefined-only "$library")
platform=$(declared_names platform/*.h)
libc=$(dynamic_names --defined-only "$("${compiler[@]}" -print-file-name=libc.so.6)")

refuse "neither in platform/*.h nor in libc" "$(minus "$undefined" "$(printf '%s\n' "$platform" "$libc" | sort)")"
