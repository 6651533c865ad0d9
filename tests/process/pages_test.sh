#!/bin/bash
# What the pages show as output is what the programs print: pages_test.sh PROGRAMS. One line for each page.
# shellcheck source=tests/support/checks.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/checks.sh"

spansh=$(realpath "$1")/spansh
[ -x "$spansh" ] || { echo "usage: $0 PROGRAMS" >&2 && exit 2; }
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

check_page() { "$root/docs/update.sh" --check "$spansh" "$1" 2>&1; }

readarray -t pages < <(grep -l '^<!-- output of: ' "$root"/*.md "$root"/docs/*.md)
verdict "there are pages with output" "$(yes_when [ ${#pages[@]} -gt 0 ])"
for page in "${pages[@]}"; do
  said=$(check_page "$page") && ok=yes || ok=no
  verdict "${page#"$root/"} shows real output" "$ok" "$said"
done

printf '%s\n' '<!-- output of: spansh -c "show vsan" -->' '```text' '0 VSANs' '```' '<!-- end of output -->' >"$work/page.md"
said=$(check_page "$work/page.md")
said="$? $said"
verdict "a page that does not is named" "$(yes_when [ "$said" = "1 $work/page.md: outputs are not up to date" ])" "$said"
all_passed
