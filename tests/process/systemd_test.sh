#!/bin/bash
# The units of the service manager, as it sees them itself: systemd_test.sh PROGRAMS.
set -uo pipefail
export LC_ALL=C

programs=$(realpath "$1")
units=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../host/systemd" && pwd)
command -v systemd-analyze >/dev/null || { echo "skipped: there is no systemd-analyze" && exit 0; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

verdict() {
  if [ "$2" -eq 0 ]; then
    echo "ok      $1"
  else
    printf 'FAILED  %s\n' "$1" "$3"
    failed=$((failed + 1))
  fi
}

for unit in "$units"/*.service; do
  name=$(basename "$unit")
  sed "s|=/usr/bin/|=$programs/|" "$unit" >"$work/$name"
  said=$(systemd-analyze verify --man=no "$work/$name" 2>&1)
  status=$?
  verdict "$name is sound" $((status + ${#said})) "$said"
  # Exposure of the service from 0 to 100; what is left comes of the one kind of socket that it needs.
  said=$(systemd-analyze security --no-pager --offline=true --threshold=8 "$work/$name" 2>&1)
  verdict "$name is confined" $? "$(tail -n 1 <<<"$said")"
done

# Without its directories it may write nowhere.
sed -e "s|=/usr/bin/|=$programs/|" -e '/^ProtectSystem=/d' -e '/^SystemCallFilter=/d' "$units/spand.service" >"$work/open.service"
systemd-analyze security --no-pager --offline=true --threshold=8 "$work/open.service" >/dev/null 2>&1
verdict "a unit that is not confined is told" $(($? == 0)) "it passes"

exit $((failed > 0))
