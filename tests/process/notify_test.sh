#!/bin/bash
# Notifications on their way from the switch to Net-SNMP's snmptrapd: notify_test.sh PROGRAMS. One line for each check;
# fails when one of them does.
source "$(dirname "${BASH_SOURCE[0]}")/snmp_support.sh"

received=$work/received
agent_options=(--poll 200)

# A line for each notification.
start_snmptrapd() {
  until try_snmptrapd; do trap_port=$(free_port $((trap_port + 1))); done
}

try_snmptrapd() {
  echo 'authCommunity log public' >"$work/snmptrapd.conf"
  MIBDIRS=$(module_path) start snmptrapd snmptrapd -f -C -c "$work/snmptrapd.conf" -m PORT-MIRROR-MIB -OQ -Lf "$received" \
    -F '%v\n' "udp:127.0.0.1:$trap_port"
  needed 10 settled "$trap_port" "$received" grep -qs NET-SNMP "$received"
  grep -q NET-SNMP "$received"
}

# news: what was received of the switch since the last look was over, "NAME, OBJECT = VALUE, ...".
seen=0
news() {
  sed -n "$((seen + 1)),\$p" "$received" |
    sed -n 's/.*= PORT-MIRROR-MIB::portMirror\([SD]\)/\1/; T; s/PORT-MIRROR-MIB::portMirror//g; s/\t/, /g; s/"//g; p'
}
look_over() { seen=$(wc -l <"$received"); }
news_are() { [ "$(news)" = "$1" ]; }

# brings NAME EXPECTED: that these notifications come, and no other ones with them.
brings() {
  local ok
  ok=$(yes_when within 10 news_are "$2")
  verdict "$1" "$ok" "expected:" "$2" "got:" "$(news)"
  look_over
}

# quiet SECONDS NAME: that nothing comes.
quiet() {
  sleep "$1"
  verdict "$2" "$(yes_when news_are '')" "$(news)"
  look_over
}

active() { echo "SessionActive, SessionOperStatus.$1 = active, SessionReason.$1 = Session is active"; }
inactive() { echo "SessionInactive, SessionOperStatus.$1 = inactive, SessionReason.$1 = $2"; }
set_session() { snmp_set "$mirror.1.1.1.$1" "$2" "$3" >/dev/null; }

# configure LINE...: in the shell.
configure() { printf '%s\n' configure "$@" end | span >/dev/null; }
is_told() { news | grep -q "$1"; }

start_manager
start_cards
configure 'interface fc1/1-2' 'port mode span-destination' 'span session 1' 'destination interface fc1/1' \
  'source interface fc1/3' 'span session 2' 'destination interface fc1/2'
start_snmptrapd
start_snmpd
start_agent
look_over

# ---- Sessions and the threshold --------------------------------------------------------------------------------------

quiet 1 "the first look only learns"
set_session "3.1" i 2
brings "a session that is suspended" "$(inactive 1 'Session is admin suspended')"
set_session "3.1" i 1
brings "and resumed" "$(active 1)"
configure 'span session 2' 'source interface fc1/4 rx'
brings "a session that gets a source" "$(active 2)"
configure 'interface fc1/2' 'port mode normal'
brings "a destination that goes down" "$(inactive 2 'Destination is down')"
configure 'interface fc1/2' 'port mode span-destination'
brings "and is up again" "$(active 2)"
configure 'span session 2' 'no destination interface fc1/2'
brings "a destination that is taken away" "$(inactive 2 'There is no destination')"
configure 'span session 1' 'no source interface fc1/3'
brings "a source that is taken away" "$(inactive 1 'There are no active sources')"
configure 'span session 1' 'source interface fc1/3' 'span session 2' 'destination interface fc1/2'
brings "two sessions at once" "$(active 1)
$(active 2)"
configure 'no span session 2'
brings "a session that is removed" "$(inactive 2 'Session was removed')"
configure 'span session 7'
quiet 0.6 "a new session is none that became inactive"
snmp_set "$mirror.1.5.1.0" u 77 >/dev/null
brings "another drop threshold" "DropThresholdChanged, DropThreshold.0 = 77 packets"

# ---- Drops -----------------------------------------------------------------------------------------------------------

# Half of the frames that enter the switch are far more copies than two modules send away.
configure 'span session 1' 'source vsan 1-100'
within 10 is_told 'DropModule.0 = 1,.*' && within 10 is_told 'DropModule.0 = 2,.*'
sleep 2
drops=$(news | sed 's/DropCount.0 = [1-9][0-9]* packets/DropCount.0 = some/' | sort)
same "each module that drops copies is told once" "DropsRising, DropModule.0 = 1, DropCount.0 = some
DropsRising, DropModule.0 = 2, DropCount.0 = some" "$drops"
configure 'span session 1' 'no source vsan 1-100'
look_over

# ---- What is away ----------------------------------------------------------------------------------------------------

stop manager KILL
quiet 1 "a manager that is away has no sessions that became inactive"
start_manager
quiet 1 "nor has one that is back and the same"

# While the agent does not see it, the manager runs in another place.
stop manager
SPAN_RUN_DIR=$work/elsewhere start_manager
SPAN_RUN_DIR=$work/elsewhere configure 'span session 1' 'suspend'
stop manager
start_manager
brings "what changed in the meantime is told on its return" "$(inactive 1 'Session is admin suspended')"

# slowest: of 30 requests, in milliseconds.
slowest() {
  local i begin taken slowest=0
  for ((i = 0; i < 30; ++i)); do
    begin=${EPOCHREALTIME/./}
    snmp get "$mirror.1.1.1.4.1" >/dev/null
    taken=$(((${EPOCHREALTIME/./} - begin) / 1000))
    slowest=$((taken > slowest ? taken : slowest))
    sleep 0.1
  done
  echo $slowest
}
usual=$(slowest)
kill -STOP "${pids[cards]}"
now=$(slowest)
verdict "with modules that do not answer, the slowest request took $now ms instead of $usual" \
  "$(yes_when [ "$now" -lt $((usual + 800)) ])"
set_session "3.1" i 1
brings "changes are told all the same" "$(active 1)"
kill -CONT "${pids[cards]}"
look_over

stop agent
start_agent
quiet 1 "an agent that starts again learns again"
set_session "3.1" i 2
brings "and tells what comes then" "$(inactive 1 'Session is admin suspended')"

stop snmpd
configure 'span session 1' 'no suspend'
sleep 1
before=$(log_lines agent serving)
start_snmpd
needed 40 serves_again "$before"
brings "what changed while snmpd was away is told when it is back" "$(active 1)"

# ---- A snmpd that stalls ---------------------------------------------------------------------------------------------

# told N...: the drop thresholds.
told() { printf 'DropThresholdChanged, DropThreshold.0 = %s packets\n' "$@"; }

kill -STOP "${pids[snmpd]}"
for threshold in 11 12; do
  configure "span max-queued-packets $threshold"
  sleep 2
done
kill -CONT "${pids[snmpd]}"
brings "what changed while snmpd stood still is told when it goes on" "$(told 11 12)"
quiet 1.5 "and each of it once"
snmp_set "$mirror.1.5.1.0" u 13 >/dev/null
brings "news go on" "$(told 13)"

same "the agent has printed nothing of its own" "" "$(grep -v '^span-agent: ' "$work/agent.log")"
all_passed
