// The page on the protocol against the protocol: its bytes go to a server.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "transport_support.h"

namespace {

using namespace transport_test;

// A record of the page: lines of hexadecimal digits behind an arrow, up to a gap of three spaces.
struct Record {
  char direction;
  Bytes bytes;
};

Bytes bytes_of(const std::string& line) {
  const std::string digits = line.substr(1, line.find("   ") - 1);
  Bytes bytes;
  std::string pair;
  for (const char each : digits) {
    if (each == ' ') continue;
    pair += each;
    if (pair.size() < 2) continue;
    bytes.push_back(static_cast<uint8_t>(std::stoi(pair, nullptr, 16)));
    pair.clear();
  }
  return bytes;
}

std::vector<Record> records_of_page() {
  const auto root = std::filesystem::path(HOST_DEFAULT_CHASSIS).parent_path().parent_path().parent_path();
  std::ifstream page(root / "docs/transport.md");
  std::vector<Record> records;
  char direction = ' ';
  for (std::string line; std::getline(page, line); direction = line.empty() ? ' ' : line[0]) {
    if (!line.starts_with("> ") && !line.starts_with("< ")) continue;
    if (line[0] != direction) records.push_back({line[0], {}});
    const Bytes bytes = bytes_of(line);
    records.back().bytes.insert(records.back().bytes.end(), bytes.begin(), bytes.end());
  }
  return records;
}

// As a standby manager answers.
void stand_by(const Peer&, Message message, Responder answer) {
  const auto request = transport::decode<transport::Request>(message.body);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->opcode, 2005u);
  EXPECT_EQ(request->requester1, "oper");
  EXPECT_EQ(request->requester2, std::nullopt);
  answer(Type::kReply, encode(transport::Reply{0x4034002b, 0, {}}));
}

TEST(TransportPage, ShowsBytesAsTheyTravel) {
  const auto records = records_of_page();
  ASSERT_EQ(records.size(), 6u);
  const Folder folder;
  Serving serving(folder / "standby.sock", stand_by);
  serving.in_thread([&serving] { serving.server().set_role(transport::Role::kStandby); });
  Raw client(folder / "standby.sock");
  for (const Record& each : records) {
    if (each.direction == '>') {
      EXPECT_EQ(client.send(each.bytes), 0);
    } else {
      EXPECT_EQ(client.receive(), each.bytes);
    }
  }
  EXPECT_TRUE(client.is_cut());
  EXPECT_EQ(serving.received(), 1);
}

}  // namespace
