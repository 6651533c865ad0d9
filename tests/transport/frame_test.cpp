// Frames: what makes a message, and what breaks a line.
#include "host/transport/frame.h"

#include <sys/socket.h>

#include "transport_support.h"

namespace {

using namespace transport_test;
using transport::Assembler;
using transport::FrameBuffer;
using transport::kMaxBody;
using transport::kMaxFrame;
using transport::kMaxPiece;
using transport::Malformed;
using transport::Outgoing;

std::unique_ptr<FrameBuffer> buffer_of(const Bytes& record) {
  auto buffer = std::make_unique<FrameBuffer>();
  std::copy_n(record.begin(), std::min(record.size(), buffer->size()), buffer->begin());
  return buffer;
}

std::optional<Message> add(Assembler& to, const Bytes& record) { return to.add(*buffer_of(record), record.size()); }

// What a record is refused with, after others that are not.
Malformed refusal(const std::vector<Bytes>& records) {
  Assembler assembler;
  for (size_t i = 0; i + 1 < records.size(); ++i) add(assembler, records[i]);
  try {
    add(assembler, records.back());
  } catch (const Malformed& malformed) {
    return malformed;
  }
  return {0, "it was taken"};
}

// A message's records, as they leave a socket.
std::vector<Bytes> records_of(const Message& message) {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  const Raw from(ends[0]);
  Raw to(ends[1]);
  std::vector<Bytes> records;
  for (Outgoing outgoing(message); !outgoing.is_done();) {
    EXPECT_EQ(outgoing.send_next(from.descriptor()), 0);
    records.push_back(to.receive());
  }
  return records;
}

TEST(Frames, OfAShortMessageAreOne) {
  EXPECT_EQ(records_of({Type::kRequest, 0x01020304, {7, 8}}),
            (std::vector<Bytes>{{'S', 'P', 'A', 'N', 0, 1, 0, 3, 1, 2, 3, 4, 0, 0, 0, 2, 0, 0, 0, 0, 7, 8}}));
}

TEST(Frames, OfAnEmptyMessageAreOneHeader) {
  EXPECT_EQ(records_of({Type::kRoles, 5, {}}), (std::vector<Bytes>{frame({.type = 7, .id = 5})}));
}

TEST(Frames, CarrySixtyKibibytesAtMost) {
  EXPECT_EQ(records_of({Type::kRequest, 1, Bytes(61440, 0x5a)}), (std::vector<Bytes>{frame({.total = 61440}, 61440)}));
  EXPECT_EQ(records_of({Type::kRequest, 1, Bytes(61441, 0x5a)}),
            (std::vector<Bytes>{frame({.total = 61441}, 61440), frame({.total = 61441, .offset = 61440}, 1)}));
}

TEST(Frames, GiveTheMessageBack) {
  Random random(1);
  for (const size_t length : {size_t{0}, size_t{1}, kMaxPiece, kMaxPiece + 1, 3 * kMaxPiece, kMaxBody}) {
    Message message{Type::kAnswer, random(), Bytes(length)};
    for (uint8_t& each : message.body) each = static_cast<uint8_t>(random());
    const auto records = records_of(message);
    Assembler assembler;
    for (size_t i = 0; i + 1 < records.size(); ++i) {
      EXPECT_FALSE(add(assembler, records[i]));
      EXPECT_TRUE(assembler.has_begun());
    }
    EXPECT_EQ(add(assembler, records.back()), message);
    EXPECT_FALSE(assembler.has_begun());
  }
}

TEST(Frames, MayCarryAnyPieceButNone) {
  Assembler assembler;
  EXPECT_FALSE(add(assembler, frame({.total = 3}, 1)));
  EXPECT_FALSE(add(assembler, frame({.total = 3, .offset = 1}, 1)));
  EXPECT_EQ(add(assembler, frame({.total = 3, .offset = 2}, 1))->body.size(), 3u);
}

TEST(Frames, TakeNoMoreMemoryThanCame) {
  Assembler assembler;
  add(assembler, frame({.total = kMaxBody}, 10));
  EXPECT_EQ(assembler.size(), 10u);
}

struct Wrong {
  std::vector<Bytes> records;
  int error;
  uint32_t id;
  std::string text;
};

TEST(Frames, AreRefusedWithTheReason) {
  const Wrong all[] = {
      {{Bytes(1)}, EPROTO, 0, "a frame of 1 bytes is too short"},
      {{Bytes(19)}, EPROTO, 0, "a frame of 19 bytes is too short"},
      {{Bytes(kMaxFrame + 1)}, EMSGSIZE, 0, "a frame of 61461 bytes is too long"},
      {{frame({.magic = 0x5350414f})}, EPROTO, 0, "this is no frame"},
      {{frame({.version = 2})}, EPROTO, 0, "protocol version 2 is not spoken here, but 1"},
      {{frame({.version = 0})}, EPROTO, 0, "protocol version 0 is not spoken here, but 1"},
      {{frame({.type = 0})}, EPROTO, 1, "message type 0 is unknown"},
      {{frame({.type = 15})}, EPROTO, 1, "message type 15 is unknown"},
      {{frame({.total = kMaxBody + 1}, 1)}, EMSGSIZE, 1, "a body of 4194305 bytes is too long"},
      {{frame({.total = 0xffffffff}, 1)}, EMSGSIZE, 1, "a body of 4294967295 bytes is too long"},
      {{frame({.total = 5, .offset = 1}, 4)}, EPROTO, 1, "a frame at a wrong offset"},
      {{frame({.total = 5}, 6)}, EPROTO, 1, "a frame beyond the end of its message"},
      {{frame({}, 1)}, EPROTO, 1, "a frame beyond the end of its message"},
      {{frame({.total = 5})}, EPROTO, 1, "a frame without a piece"},
      {{frame({.total = 5}, 2), frame({.total = 5, .offset = 2})}, EPROTO, 1, "a frame without a piece"},
      {{frame({.total = 5}, 2), frame({.total = 5, .offset = 1}, 3)}, EPROTO, 1, "a frame at a wrong offset"},
      {{frame({.total = 5}, 2), frame({.total = 5, .offset = 3}, 2)}, EPROTO, 1, "a frame at a wrong offset"},
      {{frame({.total = 5}, 2), frame({.total = 5, .offset = 2}, 4)},
       EPROTO,
       1,
       "a frame beyond the end of its message"},
      {{frame({.total = 5}, 2), frame({.total = 6, .offset = 2}, 3)},
       EPROTO,
       1,
       "a frame of another message in the middle of one"},
      {{frame({.total = 5}, 2), frame({.id = 2, .total = 5, .offset = 2}, 3)},
       EPROTO,
       2,
       "a frame of another message in the middle of one"},
      {{frame({.total = 5}, 2), frame({.type = 5, .total = 5, .offset = 2}, 3)},
       EPROTO,
       1,
       "a frame of another message in the middle of one"},
  };
  for (const Wrong& each : all) {
    const Malformed malformed = refusal(each.records);
    EXPECT_EQ(malformed.error(), each.error) << each.text;
    EXPECT_EQ(malformed.what(), each.text);
    EXPECT_EQ(malformed.id(), each.id) << each.text;
  }
}

// Every message that comes out is one that was put in, or the line is broken.
TEST(Frames, ThatAreGarbageAreSurvived) {
  int messages = 0;
  int refusals = 0;
  for (uint32_t seed = 0; seed < 3000; ++seed) {
    Random random(seed);
    Assembler assembler;
    for (int i = 0; i < 6; ++i) {
      const uint32_t total = random() % 4;
      const uint32_t offset = random() % 3 == 0 ? random() % 4 : static_cast<uint32_t>(assembler.size());
      Bytes record = frame({.type = random() % 17, .id = random() % 2, .total = total, .offset = offset}, random() % 4);
      if (random() % 4 == 0) record[random() % record.size()] ^= static_cast<uint8_t>(1 << random() % 8);
      if (random() % 8 == 0) record.resize(random() % record.size());
      try {
        const auto message = add(assembler, record);
        if (!message) continue;
        ++messages;
        EXPECT_LE(message->body.size(), kMaxBody);
        EXPECT_TRUE(std::ranges::all_of(message->body, [](uint8_t each) { return std::popcount(each ^ 0x5au) <= 1; }));
      } catch (const Malformed&) {
        ++refusals;
        break;
      }
    }
  }
  EXPECT_GT(messages, 300);
  EXPECT_GT(refusals, 300);
}

}  // namespace
