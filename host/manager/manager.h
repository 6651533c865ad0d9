// The SPAN manager: sessions and their rules, behind one entry.
#ifndef HOST_MANAGER_MANAGER_H
#define HOST_MANAGER_MANAGER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/chassis/chassis.h"

namespace manager {

struct Config;
struct Switch;

struct Reply {
  uint32_t status = 0;            // of the exchange: 0, or why there is no answer (a malformed request)
  std::vector<uint8_t> response;  // empty when status is not 0
  uint32_t result = 0;            // the worst result that the response tells, 0 = done: for exit statuses and audits
};

// What a debug function had to say, or why it could not run.
struct Dump {
  uint32_t status = 0;
  std::string text;  // lines
};

// Keeps a change, before it is answered: what was, what is to be, the answer. False = it cannot be kept.
using Keep = std::function<bool(const Config& from, const Config& to, const Reply& reply)>;

class Manager {
 public:
  explicit Manager(const chassis::Chassis& chassis);
  Manager(const chassis::Chassis& chassis, Config config);  // which obeys the rules
  ~Manager();

  // One request. Whatever the bytes are, the answer is a Reply; a change either happens whole, or for the elements that
  // the response does not refuse. One that is not kept, or ends in something thrown, did not happen.
  Reply handle(uint32_t opcode, uint32_t kind, std::span<const uint8_t> payload, const Keep& keep = {});

  // Runs one of its debug functions. None of them changes anything.
  Dump dump(std::string_view function, std::span<const uint8_t> record) const;

  // What it keeps, and the switch that it keeps it for.
  const Config& config() const;
  const Switch& state() const;

  chassis::PortMode port_mode(uint32_t if_index) const;
  bool is_destination(uint32_t if_index) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The answer of a manager that has no state. It answers session queries: their first word tells, and no session is
// behind it.
Reply standby_reply(uint32_t opcode);

}  // namespace manager

#endif
