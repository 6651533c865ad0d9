#!/bin/bash
# The standard view of port mirroring, asked by number with Net-SNMP's tools: smon_test.sh PROGRAMS. One line for each
# check; fails when one of them does.
source "$(dirname "${BASH_SOURCE[0]}")/snmp_support.sh"

copies=$smon.3.1
capabilities=$smon.1.1

start_manager
start_cards
start_snmpd
start_agent

# rows COLUMN: of portCopyTable, "SOURCE.DESTINATION VALUE".
rows() { snmp walk "$copies.1.$1" | sed -n "s/^$copies\.1\.$1\.\([0-9.]*\) = INTEGER: \([0-9]*\)\$/\1 \2/p"; }

tells() { [ "$(rows 4)" = "$1" ]; }

same "without sessions there is no copy" "$copies = No Such Object available on this agent at this OID" \
  "$(snmp walk "$copies")"

span >/dev/null <<'END'
configure
interface fc1/1-2, fc2/1
port mode span-destination
span session 1
destination interface fc1/1
source interface fc1/3-4
source interface port-channel 1 rx
span session 2
destination interface fc1/2
source vsan 1-10
source interface fc1/3 rx
source interface fc2/3-4 tx
span session 3
destination interface fc2/1
source interface fc2/3 rx
suspend
span session 4
source interface fc1/20
end
END

expected="$(fc 1 3).$(fc 1 1) 3
$(fc 1 3).$(fc 1 2) 1
$(fc 1 4).$(fc 1 1) 3
$(fc 2 3).$(fc 1 2) 2
$(fc 2 3).$(fc 2 1) 1
$(fc 2 4).$(fc 1 2) 2
$((0x04000001)).$(fc 1 1) 1"
same "a row for each source and destination" "$expected" "$(rows 4)"
same "with its status" "$(sed 's/ .*/ 1/; s/\(\.'"$(fc 2 1)"'\) 1/\1 2/' <<<"$expected")" "$(rows 5)"
same "bulk requests tell the same" "$(snmp walk "$copies")" "$(snmp bulkwalk -Cr50 "$copies")"
same "a row is got by its index" "$copies.1.5.$(fc 2 3).$(fc 2 1) = INTEGER: 2" \
  "$(snmp get "$copies.1.5.$(fc 2 3).$(fc 2 1)")"
same "no other one" "$copies.1.5.$(fc 2 4).$(fc 2 1) = No Such Instance currently exists at this OID" \
  "$(snmp get "$copies.1.5.$(fc 2 4).$(fc 2 1)")"
same "drop events of a destination are not told" \
  "$copies.1.3.$(fc 1 3).$(fc 1 1) = No Such Object available on this agent at this OID" \
  "$(snmp get "$copies.1.3.$(fc 1 3).$(fc 1 1)")"
for value in 1 4 6; do
  verdict "portCopyStatus $value cannot be written" \
    "$(yes_when grep -q notWritable <<<"$(snmp_set "$copies.1.5.$(fc 1 3).$(fc 1 1)" i $value)")"
done
verdict "nor a new row" "$(yes_when grep -q notWritable <<<"$(snmp_set "$copies.1.5.$(fc 1 6).$(fc 1 1)" i 4)")"
same "and nothing has changed" "$expected" "$(rows 4)"

# The same sessions by PORT-MIRROR-MIB's source table: each of its rows whose session has a destination is in a copy.
from_sources() {
  local session if_index direction destination
  snmp walk "$mirror.1.2.1.3" | sed -n 's/.*\.3\.\([0-9]*\)\.\([0-9]*\)\.\([12]\) = .*/\1 \2 \3/p' |
    while read -r session if_index direction; do
      destination=$(snmp get "$mirror.1.1.1.2.$session" | sed 's/.*: //')
      [ "$destination" = 0 ] || echo "$if_index.$destination $direction"
    done | awk '{ direction[$1] += $2 } END { for (place in direction) print place, direction[place] }' | sort -n
}
same "they are those of the source interface table" "$(from_sources)" "$(rows 4)"

span >/dev/null <<'END'
configure
span session 3
no suspend
span session 1
no source interface fc1/4 tx
no span session 2
END
expected="$(fc 1 3).$(fc 1 1) 3
$(fc 1 4).$(fc 1 1) 1
$(fc 2 3).$(fc 2 1) 1
$((0x04000001)).$(fc 1 1) 1"
same "copies follow the sessions" "$expected" "$(rows 4)"
same "and so does their status" "$(rows 4 | sed 's/ .*/ 1/')" "$(rows 5)"

# ---- Capabilities ----------------------------------------------------------------------------------------------------

# caps COLUMN IF_INDEX
caps() { snmp get "$capabilities.1.$1.1.3.6.1.2.1.2.2.1.1.$2" | sed 's/.* = //'; }

same "a Fibre Channel port can be both ends" 'Hex-STRING: F0' "$(caps 3 "$(fc 1 1)" | sed 's/ $//')"
same "a port channel is a source" 'Hex-STRING: B0' "$(caps 3 $((0x04000001)) | sed 's/ $//')"
same "a tunnel is a destination" 'STRING: "@"' "$(caps 3 $((0x0F000001)))"
same "its ifIndex is told" "INTEGER: $(fc 2 24)" "$(caps 4 "$(fc 2 24)")"
same "the agent tells data sources and port copies" '.1.3.6.1.2.1.16.19.15.0 = STRING: "("' \
  "$(snmp get .1.3.6.1.2.1.16.19.15.0)"
walked=$(snmp walk "$capabilities" | grep -c ' = ')
columns=$(for column in 2 3 4; do snmp walk "$capabilities.1.$column" | grep -c ' = '; done | sort -u)
same "each column has all data sources" "$walked" "$((3 * columns))"
verdict "there are $columns of them" "$(yes_when [ "$columns" -gt 50 ])"
same "the walk behind goes on to the copies" "$copies.1.4.$(fc 1 3).$(fc 1 1) = INTEGER: 3" \
  "$(snmp getnext "$capabilities.2")"

# ---- A manager that is away ------------------------------------------------------------------------------------------

# failed_walk: whether a walk of the copies ends with one error, and without a row.
failed_walk() {
  local walked
  walked=$(snmp walk "$copies")
  [ "$(grep -c genError <<<"$walked")" = 1 ] && ! grep -q INTEGER <<<"$walked"
}

kill -STOP "${pids[manager]}"
verdict "a manager that does not answer is an error" "$(yes_when failed_walk)"
kill -CONT "${pids[manager]}"
verdict "the rows are back when it does" "$(yes_when within 10 tells "$expected")" "$(rows 4)"

stop manager KILL
verdict "a row of a manager that is away is an error" \
  "$(yes_when grep -q genErr <<<"$(snmp get "$copies.1.4.$(fc 1 3).$(fc 1 1)")")"
verdict "so is a walk, without a row" "$(yes_when failed_walk)"
same "capabilities are told all the same" "$walked" "$(snmp walk "$capabilities" | grep -c ' = ')"
start_manager
verdict "the rows are back with it" "$(yes_when within 10 tells "$expected")" "$(rows 4)"

all_passed
