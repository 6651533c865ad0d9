// Says one thing to a manager: ask_spand SOCKET query|change|dump|roles|take-over [SESSION]. Prints the status of the
// answer with its text; or the name of the error, and what the other end says of it. Or is many clients at once:
// ask_spand SOCKET hold COUNT. Prints how many found a place, and what the next one heard; and stays until its input
// ends.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/transport/channel.h"
#include "platform/syserr.h"
#include "tests/host/manager_support.h"

namespace {

using transport::Type;

constexpr transport::Milliseconds kPatience{5000};

struct Said {
  Type type;
  transport::Bytes body;
};

Said request(uint32_t opcode, uint32_t kind, transport::Bytes payload) {
  return {Type::kRequest, encode(transport::Request{opcode, kind, "ask_spand", std::nullopt, std::move(payload)})};
}

Said words(const std::string& what, uint8_t index) {
  if (what == "query") return request(2001, manager_test::kQuery, {index, 0, 0, 0});
  if (what == "change") return request(2004, manager_test::kChange, manager_test::sessions_request(1, {index}));
  if (what == "dump") return {Type::kDump, encode(transport::DumpRequest{"span_debug_dump", transport::Bytes(8)})};
  if (what == "roles") return {Type::kRoles, {}};
  return {Type::kTakeOver, {}};
}

void print_reply(const transport::Reply& reply) {
  std::printf("0x%08x %s", reply.status, syserr2str(reply.status));
  if (reply.response.size() >= 6) std::printf(", manager status 0x%08x", manager_test::be32(reply.response, 0));
  if (reply.response.size() > 1000) std::printf(", session is %sconfigured", reply.response[5] != 0 ? "" : "not ");
  std::puts("");
}

void print_answer(const transport::Message& answer) {
  if (const auto reply = transport::decode<transport::Reply>(answer.body); answer.type == Type::kReply && reply) {
    print_reply(*reply);
  } else if (const auto dumped = transport::decode<transport::Dumped>(answer.body);
             answer.type == Type::kDumped && dumped) {
    std::printf("0x%08x\n%s", dumped->status, dumped->text.c_str());
  } else {
    std::printf("answer of type %u\n", static_cast<unsigned>(answer.type));
  }
}

int hold(const char* socket, size_t count) {
  std::vector<transport::Channel> clients;
  transport::Welcome welcome;
  int error = 0;
  while (clients.size() < count && error == 0) {
    clients.emplace_back(socket, "ask_spand");
    error = clients.back().welcome(welcome, kPatience);
  }
  if (error == 0) {
    std::printf("%zu clients\n", clients.size());
  } else {
    std::printf("%zu clients, then %s\n", clients.size() - 1, strerrorname_np(error));
  }
  std::fflush(stdout);
  while (std::getchar() != EOF) {
  }
  return error == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3)
    return std::fputs("usage: ask_spand SOCKET query|change|dump|roles|take-over [SESSION] | hold COUNT\n", stderr), 2;
  if (std::string(argv[2]) == "hold" && argc > 3) return hold(argv[1], std::strtoul(argv[3], nullptr, 10));
  const int session = argc > 3 ? std::atoi(argv[3]) : 1;
  const Said said = words(argv[2], static_cast<uint8_t>(session - 1));
  transport::Channel channel(argv[1], "ask_spand");
  transport::Message answer{};
  const int error = channel.call(said.type, said.body, answer, kPatience);
  if (error == 0) return print_answer(answer), 0;
  const auto failed = transport::decode<transport::Failed>(answer.body);
  std::printf("%s%s%s\n", strerrorname_np(error), failed ? ": " : "", failed ? failed->text.c_str() : "");
  return 1;
}
