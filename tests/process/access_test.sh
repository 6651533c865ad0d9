#!/bin/bash
# Who may ask and who may change: access_test.sh PROGRAMS. As root other users are played; else this user is made a
# stranger, by a group that he is not in.
# shellcheck source=tests/process/spand_common.sh
source "$(dirname "${BASH_SOURCE[0]}")/spand_common.sh"

# hold NAME EXPECTED SOCKET COUNT COMMAND...: clients that stay, of a user that the command plays.
mkfifo "$work/open"
exec 8<>"$work/open"
hold() {
  : >"$work/held"
  "${@:5}" "$ask" "$3" hold "$4" >"$work/held" 2>&1 <&8 &
  pids+=($!)
  within 30 grep -q . "$work/held"
  verdict "$1" "$(yes_when [ "$(<"$work/held")" = "$2" ])" "$(<"$work/held")"
}

log_lines() { grep -c 'sent a client of user' "$work/all.log"; }

# Places for users who play others. Those of strangers stay taken.
check_places() {
  local other node
  hold "a stranger has an eighth of the places" '128 clients, then EBUSY' "$all" 1100 "${stranger[@]}"
  hold "and no more of them" '0 clients, then EBUSY' "$all" 10 "${stranger[@]}"
  verdict "the log tells it once" "$(yes_when [ "$(log_lines)" = 1 ])" "$(<"$work/all.log")"
  verdict "and who it was" "$(yes_when grep -q ' user 54400 away, process [0-9]*: too many .* this user$' "$work/all.log")"
  for other in 54411 54412 54413 54414 54415; do
    hold "stranger $other has as many" '128 clients, then EBUSY' "$all" 1100 \
      setpriv "--reuid=$other" --regid=54400 --clear-groups
  done
  hold "all strangers together leave some" '0 clients, then EBUSY' "$all" 10 \
    setpriv --reuid=54416 --regid=54400 --clear-groups
  hold "these are for members" '200 clients' "$all" 200 "${member[@]}"
  expect "and for root" 0 "$permitted" "$ask" "$all" change 6
  verdict "the log tells little of all that" "$(yes_when [ "$(log_lines)" = 2 ])" "$(<"$work/all.log")"
  "$programs/span-linecard" --run-dir "$work/all" >"$work/cards.log" 2>&1 </dev/null &
  pids+=($!)
  within 10 grep -q ': serving' "$work/cards.log"
  node=$work/all/node-102.sock
  hold "a line card serves a stranger as long" '128 clients, then EBUSY' "$node" 1100 "${stranger[@]}"
  hold "and others" '10 clients' "$node" 10 "${member[@]}"
  verdict "its log tells it, too" \
    "$(yes_when grep -q "^span-linecard: $node: sent a client of user 54400" "$work/cards.log")" "$(<"$work/cards.log")"
}

group=54321
files=$(ulimit -Hn)
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
  if [ "$files" = unlimited ] || [ "$files" -ge 4096 ]; then
    check_places
  else
    echo "skipped  places for all clients need more than $files open files"
  fi
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
