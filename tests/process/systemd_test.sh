#!/bin/bash
# The units of the service manager, as it sees them itself: systemd_test.sh PROGRAMS.
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"

programs=$(realpath "$1")
units=$(cd "$(dirname "${BASH_SOURCE[0]}")/../../host/systemd" && pwd)
command -v systemd-analyze >/dev/null || { echo "FAILED  there is no systemd-analyze (Debian's package systemd)" && exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for unit in "$units"/*.service; do
  name=$(basename "$unit")
  sed "s|=/usr/bin/|=$programs/|" "$unit" >"$work/$name"
  said=$(systemd-analyze verify --man=no "$work/$name" 2>&1)
  status=$?
  verdict "$name is sound" "$(yes_when [ $((status + ${#said})) -eq 0 ])" "$said"
  # Exposure of the service from 0 to 100; what is left comes of the one kind of socket that it needs.
  said=$(systemd-analyze security --no-pager --offline=true --threshold=8 "$work/$name" 2>&1)
  verdict "$name is confined" "$(yes_when [ $? -eq 0 ])" "$(tail -n 1 <<<"$said")"
done

# What cannot be read stays so: that ends the restarts. Only the status of the service itself counts there, not that of a
# command before it.
for unit in "$units"/spand*.service; do
  name=$(basename "$unit")
  grep -qx 'RestartPreventExitStatus=2' "$unit" && ! grep -q '^ExecStartPre=' "$unit"
  verdict "$name is not restarted on what cannot be read" "$(yes_when [ $? -eq 0 ])" "$(grep -E '^(Restart|ExecStart)' "$unit")"
done

# It ends with the status 1 to be started again, for the switch that the manager has by then.
unit=$units/span-agent.service
grep -qx 'Restart=on-failure' "$unit" && ! grep -qE '^(RestartPrevent|Success)ExitStatus=' "$unit"
verdict "span-agent.service is restarted when it ends by itself" "$(yes_when [ $? -eq 0 ])" "$(grep -E 'Restart|ExitStatus' "$unit")"

# Without its directories it may write nowhere.
sed -e "s|=/usr/bin/|=$programs/|" -e '/^ProtectSystem=/d' -e '/^SystemCallFilter=/d' "$units/spand.service" >"$work/open.service"
systemd-analyze security --no-pager --offline=true --threshold=8 "$work/open.service" >/dev/null 2>&1
verdict "a unit that is not confined is told" "$(yes_when [ $? -ne 0 ])" "it passes"

all_passed
