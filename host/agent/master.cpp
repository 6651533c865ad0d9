#include "host/agent/master.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <utility>

#include "host/agent/reply.h"
#include "host/platform/switch.h"
// Behind Net-SNMP's other headers.
#include <net-snmp/agent/agent_callbacks.h>

// Exported by Net-SNMP, but in none of its headers. Connects to the master agent, 0 = done.
extern "C" int subagent_open_master_session(void);

namespace agent {
namespace {

constexpr unsigned kFirstWait = 1;  // seconds before the master is tried again, each time twice as long
constexpr unsigned kLongestWait = 16;
constexpr int kPatience = 3;  // seconds for an answer of the master

Say say;
int stop_pipe[2] = {-1, -1};
bool stopping = false;
bool connected = false;
netsnmp_session* line = nullptr;  // to the master, while connected
bool unheard = false;             // whether the master has left a registration without an answer
unsigned next_wait = kFirstWait;

// ---- What Net-SNMP says ---------------------------------------------------------------------------------------------

// What repeats itself is told once.
int take_log(int, int, void* message, void*) {
  static std::string last;
  const auto& log = *static_cast<const snmp_log_message*>(message);
  if (log.priority > LOG_ERR) return 0;
  std::string text = log.msg;
  text.resize(text.find_last_not_of(" \n") + 1);
  if (!text.empty() && text != last) say(text);
  last = std::move(text);
  return 0;
}

void listen_to_library() {
  snmp_disable_log();
  snmp_enable_calllog();
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, take_log, nullptr);
}

// ---- Coming and going of the master ---------------------------------------------------------------------------------

// Ends as a line does that the master has closed.
void cut_off() {
  say("the master agent does not answer");
  shutdown(snmp_sess_transport(snmp_sess_pointer(line))->sock, SHUT_RDWR);
}

// Objects that the master has not heard of would be missing for as long as it lives.
void offer_objects() {
  unheard = false;
  register_mib_reattach();
  if (!connected) return;
  if (unheard) return cut_off();
  next_wait = kFirstWait;
  say("serving");
}

void try_later();

void try_again(unsigned, void*) {
  if (subagent_open_master_session() != 0) return try_later();
  offer_objects();
}

void try_later() {
  snmp_alarm_register(next_wait, 0, try_again, nullptr);
  next_wait = std::min(2 * next_wait, kLongestWait);
}

int note_return(int, int, void* session, void*) {
  connected = true;
  line = static_cast<netsnmp_session*>(session);
  return 0;
}

// Behind Net-SNMP's own.
int note_registration(int, int, void*, void*) {
  unheard = unheard || (connected && line->s_snmp_errno != SNMPERR_SUCCESS);
  return 0;
}

int note_loss(int, int, void*, void*) {
  if (!connected) return 0;
  connected = false;
  if (stopping) return 0;
  say("the master agent is gone; looking for it");
  try_later();
  return 0;
}

void watch_master() {
  snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, note_return, nullptr);
  snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, note_loss, nullptr);
  netsnmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID, note_registration, nullptr,
                            NETSNMP_CALLBACK_LOWEST_PRIORITY);
}

// Settings that init_agent() makes, too. With pings Net-SNMP would reconnect by itself, 15 seconds after each loss and
// unnoticed. What the master has not answered in time would be sent again, while it stands in line already: a
// notification would arrive as often. The time-out and the retries of AgentX's name are those of a master.
void overrule_library() {
  netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, 0);
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_RETRIES, 0);
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_TIMEOUT, kPatience);
}

// ---- Signals and alarms ---------------------------------------------------------------------------------------------

// What is waited for is not worth it any more.
void ask_to_stop(int) {
  const int saved = errno;
  host::interrupt_switch();
  [[maybe_unused]] const ssize_t written = write(stop_pipe[1], "", 1);
  errno = saved;
}

void take_stop(int, void*) { stopping = true; }

// A signal wakes the loop up as a request does, so that none is missed.
bool catch_signals() {
  if (pipe2(stop_pipe, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  register_readfd(stop_pipe[0], take_stop, nullptr);
  struct sigaction action = {};
  action.sa_handler = ask_to_stop;
  for (const int number : {SIGTERM, SIGINT}) sigaction(number, &action, nullptr);
  return true;
}

void do_work(unsigned, void* work) {
  if (!stopping) (*static_cast<const std::function<void()>*>(work))();
}

}  // namespace

bool open_master(const std::string& socket, Say speaker) {
  say = speaker;
  setenv("MIBS", "", 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_NO_CONNECTION_WARNINGS, 1);
  if (!socket.empty()) {
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, socket.c_str());
  }
  listen_to_library();
  watch_master();
  if (init_agent("span-agent") != 0) return false;
  overrule_library();
  return catch_signals();
}

void join_master() {
  init_snmp("span-agent");
  if (connected) return offer_objects();
  say("there is no master agent yet; looking for it");
  try_later();
}

bool has_master() { return connected; }

void repeat(unsigned period_ms, std::function<void()> work) {
  static std::deque<std::function<void()>> all;
  const timeval period = {static_cast<time_t>(period_ms / 1000), static_cast<suseconds_t>(period_ms % 1000 * 1000)};
  snmp_alarm_register_hr(period, SA_REPEAT, do_work, &all.emplace_back(std::move(work)));
}

void serve() {
  while (!stopping) agent_check_and_process(1);
}

void stop_serving() { stopping = true; }

void leave_master() {
  stopping = true;
  snmp_shutdown("span-agent");
}

}  // namespace agent
