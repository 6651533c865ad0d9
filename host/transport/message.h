// What the processes of the switch tell each other. A message travels as one frame or several, see frame.h; here are
// its types and the bodies that they carry. Numbers are big-endian; a text or a block of bytes travels behind its
// length, 4 bytes.
#ifndef HOST_TRANSPORT_MESSAGE_H
#define HOST_TRANSPORT_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace transport {

using Bytes = std::vector<uint8_t>;

// Longest body. Nothing that the manager answers comes near it.
constexpr size_t kMaxBody = 4u << 20;

enum class Type : uint16_t {
  kHello = 1,      // the first message of a client: Hello; answered with kWelcome: Welcome
  kWelcome = 2,    //
  kRequest = 3,    // of the manager: Request; answered with kReply: Reply
  kReply = 4,      //
  kDump = 5,       // of the manager: DumpRequest; answered with kDumped: Dumped
  kDumped = 6,     //
  kRoles = 7,      // what the ports are to the manager, empty body; answered with kRoleList: RoleList
  kRoleList = 8,   //
  kWatch = 9,      // of a line card: Watch; answered with kRates: Rates, as soon as they are others or after a second
  kRates = 10,     //
  kTakeOver = 11,  // tells a standby manager to become the active one, empty body; answered with kReply: Reply
  kSend = 12,      // single message to a service: Send; answered with kAnswer: a block of bytes, by kFailed, or never
  kAnswer = 13,    //
  kFailed = 14,    // there is no answer: Failed. Follows on anything that is malformed, too, before the line is cut;
                   // the id is 0 when it is about no message
};

// `id` is the client's; the answer carries the same one.
struct Message {
  Type type;
  uint32_t id = 0;
  Bytes body{};

  bool operator==(const Message&) const = default;
};

struct Hello {
  std::string program;
  bool operator==(const Hello&) const = default;
};

enum class Role : uint8_t { kActive = 0, kStandby = 1, kNode = 2 };

// Who answers, and the description of the switch (empty from a node).
struct Welcome {
  Role role = Role::kActive;
  std::string chassis_name;  // the file's, for messages
  std::string chassis;       // TOML
  bool operator==(const Welcome&) const = default;
};

struct Request {
  uint32_t opcode = 0;
  uint32_t kind = 0;
  std::optional<std::string> requester1{};
  std::optional<std::string> requester2{};
  Bytes payload{};
  bool operator==(const Request&) const = default;
};

// As manager::Reply.
struct Reply {
  uint32_t status = 0;
  uint32_t result = 0;
  Bytes response{};
  bool operator==(const Reply&) const = default;
};

struct DumpRequest {
  std::string function;
  Bytes record{};
  bool operator==(const DumpRequest&) const = default;
};

struct Dumped {
  uint32_t status = 0;
  std::string text;
  bool operator==(const Dumped&) const = default;
};

// What a port is to the sessions. Ports in the normal mode that are no destination are left out.
struct PortRole {
  uint32_t if_index = 0;
  uint32_t mode = 0;  // chassis::PortMode
  bool destination = false;
  bool operator==(const PortRole&) const = default;
};

struct RoleList {
  std::vector<PortRole> ports;
  bool operator==(const RoleList&) const = default;
};

// Of the rates that the line card knows, 0 = none.
struct Watch {
  uint64_t generation = 0;
  bool operator==(const Watch&) const = default;
};

// How many copies arise in a second, by module number, and how many may wait on a module.
struct Rates {
  uint64_t generation = 0;
  uint32_t threshold = 0;  // packets
  std::map<uint32_t, uint64_t> copies;
  bool operator==(const Rates&) const = default;
};

struct Send {
  uint32_t service = 0;
  uint32_t opcode = 0;
  Bytes payload{};
  bool operator==(const Send&) const = default;
};

struct Failed {
  uint32_t error = 0;  // errno
  std::string text;
  bool operator==(const Failed&) const = default;
};

// Bodies. decode() gives nothing when the bytes are not exactly one T.
template <class T>
Bytes encode(const T& body);
template <class T>
std::optional<T> decode(std::span<const uint8_t> body);

}  // namespace transport

#endif
