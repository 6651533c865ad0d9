#!/bin/bash
# Who may ask and who may change: access_test.sh PROGRAMS. As root other users are played; else this user is made a
# stranger, by a group that he is not in.
# shellcheck source=tests/process/spand_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/spand_common.sh"

group=54321
chmod 755 "$work"

# A server for everybody and one for the group, side by side.
all=$work/all/manager.sock
few=$work/few/manager.sock
start "$work/all.log" "$spand" --group $group --socket-mode 0666 --run-dir "$work/all" --state "$work/all-state"
start "$work/few.log" "$spand" --group $group --run-dir "$work/few" --state "$work/few-state"

permitted='0x00000000 *'
refused='0x40340160 changes are not permitted to this user'

modes() { find "$1" -printf '%f %M\n' | sort; }
expect "the state is for its owner alone" 0 'all-state drwx------
lock -rw-------
span.db -rw-------
span.db-shm -rw-------
span.db-wal -rw-------' modes "$work/all-state"
verdict "the modes of the sockets" "$(yes_when [ "$(stat -c %a "$all" "$few" | xargs)" = '666 660' ])"
verdict "the modes of their directories" "$(yes_when [ "$(stat -c %a "$work/all" "$work/few" | xargs)" = '755 750' ])"

if [ "$(id -u)" -eq 0 ]; then
  stranger=(setpriv --reuid=54400 --regid=54400 --clear-groups)
  member=(setpriv --reuid=54401 --regid=54400 "--groups=54399,$group")
  of_the_group=(setpriv --reuid=54402 "--regid=$group" --clear-groups)
  if ! "${stranger[@]}" test -x "$ask"; then
    echo "skipped  other users cannot reach the programs"
    all_passed
    exit
  fi
  expect "root may change" 0 "$permitted" "$ask" "$all" change 1
  expect "a member may, by a supplementary group" 0 "$permitted" "${member[@]}" "$ask" "$all" change 2
  expect "or by the primary one" 0 "$permitted" "${of_the_group[@]}" "$ask" "$all" change 3
  expect "a stranger may ask" 0 '*session is configured' "${stranger[@]}" "$ask" "$all" query 2
  expect "but not change" 0 "$refused" "${stranger[@]}" "$ask" "$all" change 4
  expect "nor tell it to take over" 0 "$refused" "${stranger[@]}" "$ask" "$all" take-over
  expect "what was refused has changed nothing" 0 '*session is not configured' "$ask" "$all" query 4
  expect "the audit names the refused one" 0 '*54400*create session 4*not permitted*54400*take over*not permitted*' \
    "$spand" --audit --state "$work/all-state"
  expect "a stranger cannot read it" 2 '*Permission denied' "${stranger[@]}" "$spand" --audit --state "$work/all-state"
  expect "nor reach a socket of the group" 1 EACCES "${stranger[@]}" "$ask" "$few" query 1
  expect "a member can" 0 "$permitted" "${member[@]}" "$ask" "$few" change 1
  expect "a stranger cannot serve from the state of another" 1 "*all-state*belongs to another user, uid 0" \
    "${stranger[@]}" "$spand" --run-dir "$work/all" --state "$work/all-state"
  install -d -o 54400 -g 54400 -m 700 "$work/home"
  start "$work/user.log" "${stranger[@]}" "$spand" --run-dir "$work/home/run" --state "$work/home/state"
  expect "an ordinary user may serve for himself" 0 "$permitted" "${stranger[@]}" "$ask" "$work/home/run/manager.sock" change 1
  expect "root does not serve from his state" 1 '*belongs to another user, uid 54400' \
    "$spand" --run-dir "$work/other" --state "$work/home/state"
else
  expect "a stranger may ask" 0 '*session is not configured' "$ask" "$all" query 4
  expect "but not change" 0 "$refused" "$ask" "$all" change 4
  expect "nor tell it to take over" 0 "$refused" "$ask" "$all" take-over
  expect "the audit tells it" 0 '*create session 4*not permitted*take over*not permitted*' \
    "$spand" --audit --state "$work/all-state"
fi
all_passed
