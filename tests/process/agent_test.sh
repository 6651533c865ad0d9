#!/bin/bash
# PORT-MIRROR-MIB as SNMP managers see it, with Net-SNMP's tools and a real snmpd: agent_test.sh PROGRAMS. One line for
# each check; fails when one of them does.
source "$(dirname "${BASH_SOURCE[0]}")/snmp_support.sh"

modules=$(module_path)
objects=$mirror.1

# The tools with the names of the MIB: named TOOL ARGUMENT..., named_set ARGUMENT...
named() {
  MIBDIRS=$modules MIBS=PORT-MIRROR-MIB timeout 60 "snmp$1" -v2c -c public -t 8 -r 0 -OQs \
    "127.0.0.1:$snmp_port" "${@:2}" 2>&1
}
named_set() {
  MIBDIRS=$modules MIBS=PORT-MIRROR-MIB timeout 60 snmpset -v2c -c private -t 8 -r 0 -OQs -Ir \
    "127.0.0.1:$snmp_port" "$@" 2>&1
}

# The error that a set comes to, and the object; "done" when there is none.
outcome() {
  local said
  if said=$(named_set "$@"); then
    echo 'done'
  else
    sed -n 's/^Reason: (\?\([A-Za-z]*\).*/\1/p; s/^Failed object: //p' <<<"$said" | paste -sd' '
  fi
}

# sets NAME OUTCOME ARGUMENT...
sets() { same "$1" "$2" "$(outcome "${@:3}")"; }

# refused NAME OUTCOME ARGUMENT...: and nothing has changed by it.
refused() {
  local before
  before=$(rows)
  sets "$@"
  [ "$before" = "$(rows)" ] || same "  and leaves all as it was" "$before" "$(rows)"
}

rows() { timeout 30 "$programs/span-rows" --connect "$@"; }

# Whether the programs take their usual time, and have their descriptors for themselves.
in_time() { ! is_stand_in "$programs/span-agent"; }

# ---- The module ------------------------------------------------------------------------------------------------------

lint() { (cd "$1" && SMIPATH=$(base_modules) smilint -s -l 6 ./PORT-MIRROR-MIB.txt 2>&1); }
same 'the MIB is clean' '' "$(lint "$mibs")"
mkdir "$work/wrong"
sed 's/UNITS "packets"/UNITS packets/; s/(0\.\.128)/(128..0)/' "$mibs/PORT-MIRROR-MIB.txt" \
  >"$work/wrong/PORT-MIRROR-MIB.txt"
verdict 'a wrong one is not' "$(yes_when grep -q . <<<"$(lint "$work/wrong")")"

# ---- Coming up -------------------------------------------------------------------------------------------------------

"$programs/span-agent" --base 1.3.x >/dev/null 2>"$work/said"
same 'a base is an object identifier' '2 --base: 1.3.x is no object identifier that a MIB could lie at' \
  "$? $(head -n 1 "$work/said")"
longest=$("$programs/span-agent" --help | sed -n 's/.*wait for a process, at most \([0-9]*\);.*/\1/p')
timeout 20 "$programs/span-agent" --timeout $((longest + 1)) >/dev/null 2>"$work/said"
same 'nothing is waited for longer than for an answer to a request' \
  '2 --timeout: Value 2001 not in range 1 to 2000' "$? $(head -n 1 "$work/said")"
touch "$work/file"
"$programs/span-agent" --connect "$work/file" --agentx "$work/agentx.sock" >/dev/null 2>"$work/said"
same 'a manager is looked for in a directory' "2 span-agent: $work/file: neither a run directory nor a socket" \
  "$? $(<"$work/said")"

error_of() { sed -n 's/^Reason: (\?\([A-Za-z]*\).*/\1/p'; }

# One beside all that follows, with a master of its own.
start deaf python3 "$(dirname "${BASH_SOURCE[0]}")/silent_master.py" "$work/deaf.sock"
needed 10 test -S "$work/deaf.sock"
start heedful "$programs/span-agent" --connect "$work/nowhere" --agentx "$work/deaf.sock"
heedful_since=$SECONDS

start agent "$programs/span-agent" --connect --agentx "$work/agentx.sock"
needed 10 log_has agent 'waiting for the SPAN manager'
needed 10 log_has agent 'no master agent yet'
start_snmpd
needed 20 log_has agent serving
verdict 'an agent that is there before snmpd finds it' yes
for table in 1 2 3 4 5; do
  same "before the manager, table $table is not told to be empty" genError "$(snmp getnext "$objects.$table" | error_of)"
done
same 'nor are the port copies' genError "$(snmp getnext "$smon.3.1" | error_of)"
same 'a row is an error, too' genError "$(snmp get "$objects.5.1.0" | error_of)"
sets 'a set is refused' 'resourceUnavailable portMirrorDropThreshold.0' portMirrorDropThreshold.0 = 9
start_manager
threshold_is_there() { [ "$(snmp get -Oqv "$objects.5.1.0")" = 1024 ]; }
verdict 'an agent that is there before the manager finds it' "$(yes_when within 20 threshold_is_there)"
same 'with a line for its absence and one for its coming' '1 1 4' \
  "$(log_lines agent 'waiting for the SPAN manager') $(log_lines agent 'SPAN manager is there') $(wc -l <"$work/agent.log")"

same 'a switch that nobody has configured' 'portMirrorDropThreshold.0 = 1024 packets' "$(named walk portMirrorMIB)"

# ---- Tables ----------------------------------------------------------------------------------------------------------

span >/dev/null <<'END'
configure
interface fc1/1
port mode span-destination
span max-queued-packets 77
span session 2
destination interface fc1/1
source interface fc1/3
source interface fc1/5 rx filter vsan 4
source interface port-channel 1 tx
source vsan 1-3
source vsan 9
source vsan 1000-1010
span session 5
destination interface rspan-tunnel 1
source interface fc2/3-8 rx
span session 16
suspend
source filter vsan 7
source interface svc 2/1 tx traffic-type target
end
END

# The names of interfaces on standard input as numbers.
numbers() {
  awk '{ for (i = 1; i <= NF; ++i) {
           if ($i ~ /^fc[0-9]+\/[0-9]+$/) { split(substr($i, 3), p, "/"); $i = 16777216 + 65536 * p[1] + p[2] }
           if ($i == "port-channel") { $i = 67108864 + $(i + 1); $(i + 1) = "" }
           if ($i == "rspan-tunnel") { $i = 251658240 + $(i + 1); $(i + 1) = "" }
         } print }' | tr -s ' ' | sed 's/ *$//'
}

# told TABLE: what span-rows shows of it.
told() { rows --table "$1" | tail -n +3 | numbers; }

# shown TABLE: the same rows by what the shell shows, which no handler of SNMP's has a part in. A service port is the
# port channel that carries the traffic.
shown() {
  span -c 'show span session' | sed 's|svc 2/1 (target)|port-channel 202|; s/ (vsan [^)]*)//g' |
    awk '/^Session/ { session = $2; vsans = "-" }
         /filter/ { print "vsan-filter", session, /are/ ? $NF : "-" }
         /gress \(/ { direction = /tx/ ? 2 : 1 }
         /^ *vsans/ { vsans = $2 }
         /, $/ { for (i = split($0, names, ","); --i;) print "source-interfaces", session, names[i], direction }
         /^$/ { print "source-vsans", session, vsans }' | sed -n "s/^$1 //p" | numbers | sort -n
}

# column TABLE COLUMN: "INDEX VALUE" of each row.
column() {
  local name=$objects.$1.1.$2
  snmp walk -Oqn "$name" | sed -n "s/^$name\.\([0-9.]*\) \"\?\([^\"]*\)\"\?\$/\1 \2/p" | sort
}

sessions() {
  join <(column 1 2) <(column 1 3) | join - <(column 1 4) | join - <(column 1 5) | sed 's/^\([0-9]* \)0 /\1- /' |
    sort -n
}
same 'the session table' "$(told sessions)" "$(sessions)"

# table_is NAME TABLE ROWS
table_is() {
  same "$1" "$(told "$2")" "$3"
  same '  and to the shell' "$(shown "$2")" "$3"
}
table_is 'the source interface table' source-interfaces "$(column 2 3 | sed 's/ 1$//' | tr . ' ' | sort -n)"

# members FIRST OCTET...: the VSANs whose bits are in the octets, the first one's being FIRST.
members() {
  local first=$1 octet bit
  for octet in "${@:2}"; do
    for bit in 0 1 2 3 4 5 6 7; do
      [ $((0x$octet >> (7 - bit) & 1)) = 0 ] || echo $((first + bit))
    done
    first=$((first + 8))
  done
}

ranges() {
  awk 'function show() { printf "%s%s", comma, first == last ? first : first "-" last; comma = "," }
       NR > 1 && $1 == last + 1 { last = $1; next }
       NR > 1 { show() }
       { first = last = $1 }
       END { if (NR) show(); else printf "-" }'
}

# vsans TABLE: the four columns as span-rows shows them.
vsans() {
  local session quarter
  for session in 2 5 16; do
    printf '%s %s\n' "$session" "$(for quarter in 1 2 3 4; do
      # shellcheck disable=SC2046
      members $((1024 * (quarter - 1))) $(snmp get -Oqvx "$objects.$1.1.$quarter.$session" | tr -d '"')
    done | ranges)"
  done
}
table_is 'the source VSAN table' source-vsans "$(vsans 3)"
table_is 'the VSAN filter table' vsan-filter "$(vsans 4)"
same 'the drop threshold' "$(rows --table drop-threshold | sed -n 's/packets *//p')" \
  "$(snmp get -Oqv "$objects.5.1.0")"
same '  and to the shell' "$(span -c 'show span max-queued-packets')" \
  "Max-Queued-Packets for SPAN sessions: $(snmp get -Oqv "$objects.5.1.0")"
same 'sessions in brief' \
  "$(span -c 'show span session brief' | sed -n 's/no suspend/1/; s/suspend/2/; /^ [0-9]/p' | numbers |
    sed 's/^ //; s/ inactive/ 2/; s/ active/ 1/; s/not configured/-/')" \
  "$(join <(column 1 3) <(column 1 4) | join - <(column 1 2) | sed 's/ 0$/ -/' | sort -n)"

walked=$(snmp walk "$mirror")
same 'bulk requests tell the same' "$walked" "$(snmp bulkwalk -Cr50 "$mirror")"
same 'one row at a time, too' "$walked" "$(snmp bulkwalk -Cr1 "$mirror")"
same 'each object is got by its name' "$walked" \
  "$(sed -n 's/ = .*//p' <<<"$walked" | while read -r name; do snmp get "$name"; done)"
same 'snmptable shows them' "2.$(fc 1 3).ingress active(1)
2.$(fc 1 3).egress active(1)" "$(named table -CH -Ci portMirrorSourceIfTable | grep "2\.$(fc 1 3)" | awk '{ print $1, $NF }')"
same 'names and values have names' 'portMirrorSessionAdminStatus.16 = suspended' \
  "$(named get portMirrorSessionAdminStatus.16)"
same 'a row that is not there' 'portMirrorSessionAdminStatus.3 = No Such Instance currently exists at this OID' \
  "$(named get portMirrorSessionAdminStatus.3)"
same 'an object that is not there' "$objects.1.1.1.2 = No Such Object available on this agent at this OID" \
  "$(snmp get "$objects.1.1.1.2")"

# ---- Rows come and go ------------------------------------------------------------------------------------------------

row=portMirrorSessionRowStatus
source=portMirrorSourceIfRowStatus
sets 'a session is created' 'done' $row.3 = createAndGo
refused 'but not twice' "inconsistentValue $row.3" $row.3 = createAndGo
sets 'it is active' 'done' $row.3 = active
refused 'one that is not there is not' "inconsistentValue $row.4" $row.4 = active
for value in notInService notReady createAndWait 0 7; do
  refused "a session is never $value" "wrongValue $row.3" $row.3 = $value
  refused "nor a new one" "wrongValue $row.4" $row.4 = $value
  refused "nor a source" "wrongValue $source.3.$(fc 1 6).ingress" "$source.3.$(fc 1 6).1" = $value
done
sets 'a source is added' 'done' "$source.3.$(fc 1 6).1" = createAndGo
refused 'but not twice' "inconsistentValue $source.3.$(fc 1 6).ingress" "$source.3.$(fc 1 6).1" = createAndGo
sets 'it is active' 'done' "$source.3.$(fc 1 6).1" = active
refused 'the other direction is not' "inconsistentValue $source.3.$(fc 1 6).egress" "$source.3.$(fc 1 6).2" = active
same 'its row is there' "3 $(fc 1 6) 1" "$(told source-interfaces | grep '^3 ')"
sets 'it is removed' 'done' "$source.3.$(fc 1 6).1" = destroy
sets 'once more, too' 'done' "$source.3.$(fc 1 6).1" = destroy
same 'its row is gone' '' "$(told source-interfaces | grep '^3 ')"
sets 'the session is destroyed' 'done' $row.3 = destroy
sets 'once more, too' 'done' $row.3 = destroy
same 'its row is gone' '2 5 16' "$(told sessions | awk '{ print $1 }' | paste -sd' ')"

# ---- Several variables in one request --------------------------------------------------------------------------------

dest=portMirrorSessionDestination
sets 'a whole session in one request' 'done' portMirrorFilterVsans1k.3 x 40 "$source.3.$(fc 1 6).2" = createAndGo \
  "$dest.3" = "$(fc 2 1)" portMirrorSessionAdminStatus.3 = suspended $row.3 = createAndGo
same 'is there' "3 $(fc 2 1) 2 2 Session is admin suspended, 3 $(fc 1 6) 2, 3 1" \
  "$(told sessions | grep '^3 '), $(told source-interfaces | grep '^3 '), $(told vsan-filter | grep '^3 ')"
refused 'one that is refused leaves nothing behind' "inconsistentValue $dest.4" \
  portMirrorDropThreshold.0 = 9 "$dest.4" = "$(fc 2 1)" $row.4 = createAndGo "$source.3.$(fc 1 6).2" = destroy
refused 'nor one that is refused at its end' 'wrongValue portMirrorDropThreshold.0' $row.4 = createAndGo \
  "$dest.4" = "$(fc 2 2)" "$source.4.$(fc 1 6).1" = createAndGo portMirrorDropThreshold.0 = 0
refused 'some VSANs that are refused take the others with them' 'wrongValue portMirrorSourceVsans1k.3' \
  "$dest.3" = "$(fc 2 2)" portMirrorSourceVsans1k.3 x "40$(printf '00%.0s' {1..26})40"
sets 'a destination goes from one to the other' 'done' $row.4 = createAndGo "$dest.4" = "$(fc 2 1)" "$dest.3" = 0
same 'it has' "3 - 4 $(fc 2 1)" "$(told sessions | awk '$1 == 3 || $1 == 4 { print $1, $2 }' | paste -sd' ')"
refused 'a request does not contradict itself' "inconsistentValue $dest.4" $row.4 = destroy "$dest.4" = 0
sets 'both go' 'done' $row.3 = destroy $row.4 = destroy

# ---- What is refused -------------------------------------------------------------------------------------------------

refused 'a session that is not there' "inconsistentName $dest.4" "$dest.4" = "$(fc 2 1)"
refused 'nor its sources' "inconsistentName $source.4.$(fc 1 6).ingress" "$source.4.$(fc 1 6).1" = createAndGo
refused 'nor its VSANs' 'inconsistentName portMirrorFilterVsans1k.4' portMirrorFilterVsans1k.4 x 40
refused 'an interface that is not known' "wrongValue $dest.2" "$dest.2" = 99
refused 'one that is no port' "wrongValue $dest.2" "$dest.2" = $((0x04000001))
refused 'a member of a port channel' "inconsistentValue $dest.2" "$dest.2" = "$(fc 1 9)"
refused 'a source as destination' "inconsistentValue $dest.5" "$dest.5" = "$(fc 1 3)"
refused 'the destination of another one' "inconsistentValue $dest.5" "$dest.5" = "$(fc 1 1)"
refused 'that of the other one in exchange' "inconsistentValue $dest.5" "$dest.5" = "$(fc 1 1)" "$dest.2" = $((0x0F000001))
refused 'a destination as source' "inconsistentName $source.5.$(fc 1 1).ingress" "$source.5.$(fc 1 1).1" = createAndGo
refused 'a source that is not known' "noCreation $source.5.99.egress" "$source.5.99.2" = createAndGo
refused 'a tunnel as source' "noCreation $source.5.$((0x0F000001)).egress" "$source.5.$((0x0F000001)).2" = createAndGo
refused 'a VSAN that is reserved' 'wrongValue portMirrorSourceVsans1k.5' portMirrorSourceVsans1k.5 x 80
refused 'a VSAN that is not there' 'wrongValue portMirrorFilterVsans4k.5' portMirrorFilterVsans4k.5 x 40
refused 'a threshold of 0' 'wrongValue portMirrorDropThreshold.0' portMirrorDropThreshold.0 = 0
refused 'an administrative status of its own' 'wrongValue portMirrorSessionAdminStatus.5' \
  portMirrorSessionAdminStatus.5 = 3
refused 'what is only read' 'notWritable portMirrorSessionOperStatus.5' portMirrorSessionOperStatus.5 = 1

# By number, so that the tool has no opinion: numbered NAME ERROR ARGUMENT...
numbered() {
  local before
  before=$(rows)
  same "$1" "$2" "$(snmp_set "${@:3}" | sed -n 's/^Reason: (\?\([A-Za-z]*\).*/\1/p')"
  [ "$before" = "$(rows)" ] || same "  and leaves all as it was" "$before" "$(rows)"
}
numbered 'a number of another type' wrongType "$objects.1.1.2.5" i 5
numbered 'a text for a number' wrongType "$objects.5.1.0" s 5
numbered 'too many VSANs' wrongLength "$objects.3.1.1.5" x "$(printf '00%.0s' {1..129})"
numbered 'session 17' noCreation "$objects.1.1.6.17" i 4
numbered 'session 0' noCreation "$objects.1.1.6.0" i 4
numbered 'direction 3' noCreation "$objects.2.1.3.5.$(fc 1 6).3" i 4
numbered 'half an index' noCreation "$objects.2.1.3.5" i 4
numbered 'a column that is not there' notWritable "$objects.1.1.9.5" i 4
numbered 'a table that is not there' notWritable "$objects.9.1.1.5" i 4

# The manager does not find its database any more.
before=$(snmp walk "$mirror")
mv "$work/state/span.db" "$work/aside.db"
refused 'a threshold that cannot be saved' 'commitFailed portMirrorDropThreshold.0' portMirrorDropThreshold.0 = 5
refused 'a session that cannot' "commitFailed $row.3" $row.3 = createAndGo
refused 'VSANs that cannot' 'commitFailed portMirrorFilterVsans1k.5' portMirrorFilterVsans1k.5 x 40
refused 'a request of two steps' "commitFailed $row.3" "$dest.3" = "$(fc 2 1)" $row.3 = createAndGo
mv "$work/aside.db" "$work/state/span.db"
same 'when changes can be saved again, all is as it was' "$before" "$(snmp walk "$mirror")"

sets 'the threshold is set' 'done' portMirrorDropThreshold.0 = 99
same 'it is the new one' 'packets 99' "$(rows --table drop-threshold | tail -n 1 | tr -s ' ')"
audited=$("$programs/spand" --audit 1 --state "$work/state" | sed -n '2s/  */ /gp')
same 'the audit names user, process and program' "$(id -un) ${pids[agent]} span-agent" "$(cut -d' ' -f2-4 <<<"$audited")"
sets 'its default is set' 'done' portMirrorDropThreshold.0 = 4294967295
same 'it is 1024' 'portMirrorDropThreshold.0 = 1024 packets' "$(named get portMirrorDropThreshold.0)"

# ---- snmpd comes and goes --------------------------------------------------------------------------------------------

walked=$(snmp walk "$mirror")
for time in first second; do
  before=$(log_lines agent serving)
  stop snmpd
  start_snmpd
  verdict "snmpd is back for the $time time" "$(yes_when within 40 serves_again "$before")"
  same "and all objects are" "$walked" "$(snmp walk "$mirror")"
done
same 'each loss and each return was told in a line' '2 3 8' \
  "$(log_lines agent 'is gone') $(log_lines agent serving) $(wc -l <"$work/agent.log")"

# ---- A manager that is away ------------------------------------------------------------------------------------------

# In a walk: the first rows are there, then there is no manager.
getnext() { snmp getnext -Oqn "$1" | sed 's/ .*//'; }
at=$(getnext "$(getnext "$mirror")")
same 'a walk is under way' "$objects.1.1.2.5" "$at"
stop manager KILL
same 'without the manager it ends with an error' genError "$(snmp getnext "$at" | error_of)"
same 'a new one shows no row' 0 "$(snmp walk "$mirror" | grep -c 'INTEGER\|Gauge32\|STRING')"
for table in 1 2 3 4 5; do
  same "table $table is not told to be empty" genError "$(snmp getnext "$objects.$table" | error_of)"
done
same 'a row is an error, too' genError "$(snmp get "$objects.1.1.6.2" | error_of)"
sets 'a set is refused' "resourceUnavailable $row.3" $row.3 = createAndGo
start_manager
same 'all rows are back with it' "$walked" "$(snmp walk "$mirror")"

kill -STOP "${pids[manager]}"
began=$SECONDS
same 'a manager that does not answer is an error' genError "$(snmp walk "$mirror" | error_of)"
took=$((SECONDS - began))
! in_time || verdict "within seconds" "$(yes_when [ $took -le 4 ])" "$took seconds"
kill -CONT "${pids[manager]}"
tells_all() { [ "$(snmp walk "$mirror")" = "$walked" ]; }
verdict 'all rows are back when it does' "$(yes_when within 10 tells_all)"

# It stands still in the midst of a change of many steps, and goes on when the agent takes back what was done.
many=()
for port in {13..24}; do
  for direction in 1 2; do many+=("$source.2.$(fc 2 "$port").$direction" '=' createAndGo); done
done
# An agent that rests after a stall refuses this, too.
remove_many() { [ "$(outcome "${many[@]/createAndGo/destroy}")" = 'done' ]; }
a_step_is_done() { [ "$work/state/span.db-wal" -nt "$work/since" ]; }
stall_in_the_midst() {
  local end=$((SECONDS + 20))
  until a_step_is_done || [ $SECONDS -gt $end ]; do :; done
  kill -STOP "${pids[manager]}"
  sleep 2.8
  kill -CONT "${pids[manager]}"
}
if in_time; then
  before=$(rows)
  # Once more when it stood still too late, or for so long that taking back was cut off as well.
  for ((try = 0; try < 5; ++try)); do
    needed 10 tells_all
    touch "$work/since"
    stall_in_the_midst &
    cut_off=$(outcome "${many[@]}")
    wait $!
    [ "${cut_off% *}" != resourceUnavailable ] || break
    within 10 remove_many
  done
  same 'a change that a slow manager cuts off is refused' resourceUnavailable "${cut_off% *}"
  same 'and leaves all as it was' "$before" "$(rows)"

  # Killed in the midst, there is nobody to take back what was done. Once more when it was too late, or too early.
  stays() { told source-interfaces | grep -c "^2 $(fc 2 13) 1$"; }
  kill_in_the_midst() {
    local end=$((SECONDS + 20))
    until a_step_is_done || [ $SECONDS -gt $end ]; do :; done
    kill -KILL "${pids[manager]}"
  }
  for ((try = 0; try < 5; ++try)); do
    needed 10 tells_all
    touch "$work/since"
    kill_in_the_midst &
    cut_off=$(outcome "${many[@]}")
    wait $!
    stop manager
    start_manager
    cut_off="${cut_off% *} $(stays)"
    [ "$cut_off" != 'undoFailed 1' ] || break
    within 10 remove_many
  done
  same 'of a change that is cut off for good, what was done stays, and that is told' 'undoFailed 1' "$cut_off"
  sets 'until it is removed' 'done' "${many[@]/createAndGo/destroy}"
  same 'and all is as it was' "$before" "$(rows)"
fi

# ---- A master that does not answer -----------------------------------------------------------------------------------

needed 60 log_has heedful serving
same 'objects that were offered in vain are offered again' \
  'span-agent: the master agent does not answer
span-agent: the master agent is gone; looking for it
span-agent: serving' "$(grep -v waiting "$work/heedful.log")"
heedful_for_20_seconds() { [ $((SECONDS - heedful_since)) -ge 20 ]; }
needed 30 heedful_for_20_seconds
same 'nothing else is asked of it' '0 open 0 register 1 open 1 register' "$(uniq "$work/deaf.log" | xargs)"
stop heedful
stop deaf

# ---- Who may not change anything -------------------------------------------------------------------------------------

stop agent
stop manager
# The manager admits everybody and lets the root group change it. An ordinary user runs both as himself.
unprivileged=()
other=$work/others/run
mkdir -p "$work/others/state"
if [ "$(id -u)" = 0 ]; then
  unprivileged=(setpriv --reuid=65534 --regid=65534 --clear-groups)
  chmod 711 "$work"
  chmod 755 "$work/others"
  chown 65534:65534 "$work/others" "$work/others/state" "$work/agentx.sock"
fi
if "${unprivileged[@]}" test -x "$programs/spand"; then
  start manager "${unprivileged[@]}" "$programs/spand" --run-dir "$other" --state "$work/others/state" --group 0 \
    --socket-mode 0666
  needed 10 test -S "$other/manager.sock"
  before=$(log_lines agent serving)
  start agent "${unprivileged[@]}" "$programs/span-agent" --connect "$other" --agentx "$work/agentx.sock"
  needed 20 serves_again "$before"
  sets 'who may not change anything is told so' "authorizationError $row.3" $row.3 = createAndGo
  sets 'for the threshold, too' 'authorizationError portMirrorDropThreshold.0' portMirrorDropThreshold.0 = 9
  same 'who may not change anything may look' 'portMirrorDropThreshold.0 = 1024 packets' "$(named walk portMirrorMIB)"
  stop agent
  stop manager
else
  echo "skipped  other users cannot reach the programs"
fi

# ---- Another switch --------------------------------------------------------------------------------------------------

# start_child OPTION...: an agent whose exit status can be asked for. Its output goes where start_agent's does.
start_child() {
  "$programs/span-agent" "$@" </dev/null >>"$work/agent.log" 2>&1 &
  pids[agent]=$!
}

# await_end: the exit status of that one is $status.
await_end() {
  status=none
  within 10 ended "${pids[agent]}" || { stop agent KILL; return; }
  wait "${pids[agent]}"
  status=$?
  unset 'pids[agent]'
}

sed 's/^name = "spanlab"/name = "other"/; s/^fcip = .*/fcip = "1-5"/' "$mibs/../chassis/default.toml" >"$work/other.toml"
data_sources() { snmp walk "$smon.1.1.1.4" | wc -l; }
start_manager
before=$(log_lines agent serving)
start_child --connect --agentx "$work/agentx.sock"
needed 20 serves_again "$before"
known=$(data_sources)
stop manager
manager_options=(--chassis "$work/other.toml")
start_manager
await_end
same 'it ends when the switch is another one, and says so' \
  '1 span-agent: the SPAN manager is back, with another switch: ending; start again to serve that one' \
  "$status $(tail -n 1 "$work/agent.log")"
start_agent
same 'started again, it serves that one' $((known + 1)) "$(data_sources)"
same 'with the rows that are there' "$walked" "$(snmp walk "$mirror")"
stop agent
stop manager
manager_options=()

# ---- Elsewhere, and its end ------------------------------------------------------------------------------------------

start_manager
agent_options=(--base 1.3.6.1.4.1.99999.7)
registered=.1.3.6.1.4.1.99999.7.1
start_agent
same 'the MIB is where it was moved to' "$walked" \
  "$(snmp walk .1.3.6.1.4.1.99999.7 | sed "s/^\.1\.3\.6\.1\.4\.1\.99999\.7\.1\./$mirror./")"
same 'and no longer where it was' "$mirror = No Such Object available on this agent at this OID" \
  "$(snmp walk "$mirror" | head -n 1)"
stop agent
agent_options=()
registered=$mirror

# has_socket: one of its own; others are of who runs this script.
has_socket() {
  readlink "/proc/${pids[agent]}/fd/"* | grep '^socket:' | grep -qvxFf <(readlink "/proc/$$/fd/"*)
}
if in_time; then
  "$programs/span-agent" --connect --agentx "$work/agentx.sock" <&- >&- 2>&- &
  pids[agent]=$!
  disown
  needed 10 has_socket
  same 'standard files lend their numbers to no socket' '/dev/null /dev/null /dev/null' \
    "$(readlink "/proc/${pids[agent]}/fd/"{0,1,2} | xargs)"
  stop agent KILL

  # A manager that does not answer is not waited for so long that snmpd would miss the agent.
  kill -STOP "${pids[manager]}"
  agent_options=(--timeout "$longest")
  began=$SECONDS
  start_agent
  took=$((SECONDS - began))
  verdict 'a manager that stands still keeps the agent from serving for a moment' "$(yes_when [ $took -le 10 ])" \
    "$took seconds"
  same 'what it serves is errors' genError "$(snmp get "$objects.5.1.0" | error_of)"
  agent_options=()
  stop agent

  # Once more when it had given up before it was told.
  for ((try = 0; try < 5; ++try)); do
    : >"$work/agent.log"
    start_child --connect --timeout "$longest" --agentx "$work/nowhere.sock"
    needed 10 has_socket
    kill "${pids[agent]}"
    await_end
    ended_as="$status, gave up $(log_lines agent 'does not answer') times"
    [ "$ended_as" != '0, gave up 0 times' ] || break
  done
  same 'who waits for its answer ends when told to' '0, gave up 0 times' "$ended_as"
fi

# A stateless standby knows no sessions.
stop manager
start manager "$programs/spand" --standby --run-dir "$SPAN_RUN_DIR" --state "$work/standby-state"
needed 10 test -S "$SPAN_RUN_DIR/standby.sock"
before=$(log_lines agent serving)
start agent "$programs/span-agent" --connect "$SPAN_RUN_DIR/standby.sock" --agentx "$work/agentx.sock"
needed 20 serves_again "$before"
for table in 1 2 3 4 5; do
  same "table $table of a standby is not told to be empty" genError "$(snmp getnext "$objects.$table" | error_of)"
done
sets 'a standby changes nothing' "resourceUnavailable $row.3" $row.3 = createAndGo
stop agent

said_lines() { [ "$(wc -l <"$work/agent.log")" -ge "$1" ]; }
# ends_after LINES OPTION...: told to end when it has said as much, it does so with a $status and no further word.
ends_after() {
  : >"$work/agent.log"
  start_child "${@:2}" --agentx "$work/nowhere.sock"
  within 20 said_lines "$1"
  kill "${pids[agent]}"
  await_end
  [ "$(wc -l <"$work/agent.log")" -eq "$1" ] || status+=", and said $(<"$work/agent.log")"
}
ends_after 2 --connect "$work/nowhere"
same 'it ends when it is told to while it waits' 0 "$status"
ends_after 1 --embedded
same 'it ends when it is told to' 0 "$status"

all_passed
