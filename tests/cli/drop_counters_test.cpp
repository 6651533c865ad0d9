// The drop counters of the line cards.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "tests/cli/line_card_test.h"

namespace testkit {
namespace {

constexpr uint32_t kTransport = 113;

// One slot of the chassis as the inventory lists it.
struct Slot {
  uint8_t present = 1;
  uint8_t node = 0;
  uint8_t online = 1;
};

class DropCounters : public LineCardTest {
 protected:
  DropCounters() : slots_(kSlots) { fake.quill_errno = kTransport; }

  // The chassis: supervisors, and the table of modules in its slots.
  void expect_chassis(uint8_t supervisor1 = 0, uint8_t supervisor2 = 0) {
    fake.expect("get_platform_info([00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00])")
        .gives(Message(16, 0xEE).u8(0, supervisor1).u8(1, supervisor2));
    expect_table();
  }

  Script& expect_table() {
    Message table(kSlots * 16, 0xEE);
    for (size_t i = 0; i < kSlots; ++i) {
      table.u8(i * 16 + 2, slots_[i].present).u8(i * 16 + 3, slots_[i].node).u8(i * 16 + 4, slots_[i].online);
    }
    return fake.expect("rook_get_all_modules_in_chassis(7, 232)").gives(table);
  }

  Slot& slot(uint32_t module) { return slots_.at(module - 1); }

  // Modules whose software counts nothing.
  void expect_silent(uint32_t first, uint32_t last) {
    for (uint32_t module = first; module <= last; ++module) expect_software(module, kSilent);
  }

  // The request to a module up to its message; its answer comes next.
  Script& expect_request(uint32_t module) {
    const std::string address = std::to_string(slot(module).node << 8 | 2);
    fake.expect("span_hw_counters_payload_to_tlv(" + std::to_string(module - 1) + ", 1, 0, 0)").gives({0xC0, 0xDE});
    return fake.expect("quill_send(7, " + address + ", 935, 2020, [c0 de], message 0, 0, 0)");
  }

  void expect_answer(const Bytes& decoded) {
    fake.expect("quill_recv").gives({0xAA});
    fake.expect("span_hw_counters_payload_to_struct(").gives(decoded);
  }

  void expect_counter(uint32_t module, uint32_t drops) {
    expect_request(module);
    expect_answer(counter(module - 1, drops));
  }

  uint32_t show() { return call(span_cli_get_drop_counters, command_); }

  std::vector<Slot> slots_;
};

// ---- One module ------------------------------------------------------------------------------------------------------

TEST_F(DropCounters, OfModule12With255DropsIsOneLineInHex) {
  expect_chassis();
  expect_silent(1, 11);
  expect_software(12, kCounting);
  expect_counter(12, 255);
  expect_silent(13, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "SPAN Drop-Counters for module c is: 0xff\n");
}

TEST_F(DropCounters, EachModuleIsAskedForItsSoftwareAndThenForItsCounter) {
  slot(1).node = 0x12;
  expect_chassis();
  expect_software(1, kCounting);
  expect_counter(1, 0);
  expect_silent(2, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "SPAN Drop-Counters for module 1 is: 0x0\n");
  const std::string first =
      "get_platform_info([00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00])\n"
      "rook_get_all_modules_in_chassis(7, 232)\n"
      "wren_get_module_info(7, message 0, 1)\n"
      "quill_rr_token_get(message 1)\n" +
      received(100, 0x7001) +
      "quill_payload_get(message 2)\n"
      "quill_drop(7, message 1)\n"
      "quill_drop(7, message 2)\n"
      "span_hw_counters_payload_to_tlv(0, 1, 0, 0)\n"
      "quill_send(7, 4610, 935, 2020, [c0 de], message 0, 0, 0)\n"
      "quill_rr_token_get(message 3)\n"
      "quill_drop(7, message 3)\n" +
      received(5, 0x7003) +
      "quill_payload_get(message 4)\n"
      "span_hw_counters_payload_to_struct(?, 0, 0)\n"
      "quill_drop(7, message 4)\n"
      "wren_get_module_info(7, message 0, 2)\n"
      "quill_rr_token_get(message 5)\n";
  EXPECT_EQ(fake.calls().substr(0, first.size()), first);
  EXPECT_EQ(heap::requests(), 0u);
}

TEST_F(DropCounters, TheAddressIsTheNodeAnd2) {
  const std::array<uint8_t, 4> nodes = {0, 1, 0x80, 255};
  for (uint32_t module = 1; module <= nodes.size(); ++module) slot(module).node = nodes[module - 1];
  expect_chassis();
  for (uint32_t module = 1; module <= nodes.size(); ++module) {
    expect_software(module, kCounting);
    expect_counter(module, module);
  }
  expect_silent(5, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(),
            "SPAN Drop-Counters for module 1 is: 0x1\n"
            "SPAN Drop-Counters for module 2 is: 0x2\n"
            "SPAN Drop-Counters for module 3 is: 0x3\n"
            "SPAN Drop-Counters for module 4 is: 0x4\n");
  const std::string sends = fake.calls("quill_send");
  for (const char* address : {"(7, 2,", "(7, 258,", "(7, 32770,", "(7, 65282,"}) {
    EXPECT_NE(sends.find(address), std::string::npos) << address;
  }
}

TEST_F(DropCounters, TheModuleIsThatOfTheAnswer) {
  expect_chassis();
  expect_software(1, kCounting);
  expect_request(1);
  expect_answer(counter(9, 1));
  expect_software(2, kCounting);
  expect_request(2);
  expect_answer(counter(0xFFFFFFFF, 0xFFFFFFFF));
  expect_silent(3, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(),
            "SPAN Drop-Counters for module a is: 0x1\n"
            "SPAN Drop-Counters for module 0 is: 0xffffffff\n");
}

TEST_F(DropCounters, AnAnswerWithoutARecordIsSilent) {
  expect_chassis();
  expect_software(1, kCounting);
  expect_request(1);
  fake.expect("quill_recv").gives({0xAA});
  fake.expect("span_hw_counters_payload_to_struct");
  expect_software(2, kCounting);
  expect_counter(2, 7);
  expect_silent(3, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "SPAN Drop-Counters for module 2 is: 0x7\n");
}

TEST_F(DropCounters, TheQueueIsThatOfTheCommand) {
  command_.queue(0x55);
  fake.expect("get_platform_info");
  fake.expect("rook_get_all_modules_in_chassis(85, 232)").gives(Message(kSlots * 16, 1));
  fake.expect("wren_get_module_info(85, message 0, 1)");
  fake.expect("quill_recv(85,").gives(module_info(1, kCounting));
  fake.expect("span_hw_counters_payload_to_tlv").gives({1});
  fake.expect("quill_send(85,");
  fake.expect("quill_recv(85,");
  EXPECT_EQ(show(), 0x40340015u);
}

// ---- Which modules ---------------------------------------------------------------------------------------------------

class DropCounterSoftware : public DropCounters {
 protected:
  static constexpr auto kListed = std::to_array<uint16_t>(
      {29, 30, 31, 32, 34, 39, 40, 41, 42, 43, 44, 45, 51, 52, 53, 54, 55, 56, 57, 59, 75, 147, 163});

  static bool listed(uint32_t software) { return std::count(kListed.begin(), kListed.end(), software) != 0; }

  // The counters of a chassis whose module m runs `software` of m; those that are listed count `software`.
  template <class Software>
  std::string show_chassis(Software software) {
    expect_chassis();
    for (uint32_t module = 1; module <= kSlots; ++module) {
      expect_software(module, static_cast<uint16_t>(software(module)));
      if (listed(software(module))) expect_counter(module, software(module));
    }
    EXPECT_EQ(show(), 0u);
    return printed();
  }
};

TEST_F(DropCounterSoftware, OfEachListedIdentityIsShownAndOfNoOther) {
  EXPECT_EQ(show_chassis([](uint32_t module) { return module - 1; }),
            "SPAN Drop-Counters for module 1e is: 0x1d\n"
            "SPAN Drop-Counters for module 1f is: 0x1e\n"
            "SPAN Drop-Counters for module 20 is: 0x1f\n"
            "SPAN Drop-Counters for module 21 is: 0x20\n"
            "SPAN Drop-Counters for module 23 is: 0x22\n"
            "SPAN Drop-Counters for module 28 is: 0x27\n"
            "SPAN Drop-Counters for module 29 is: 0x28\n"
            "SPAN Drop-Counters for module 2a is: 0x29\n"
            "SPAN Drop-Counters for module 2b is: 0x2a\n"
            "SPAN Drop-Counters for module 2c is: 0x2b\n"
            "SPAN Drop-Counters for module 2d is: 0x2c\n"
            "SPAN Drop-Counters for module 2e is: 0x2d\n"
            "SPAN Drop-Counters for module 34 is: 0x33\n"
            "SPAN Drop-Counters for module 35 is: 0x34\n"
            "SPAN Drop-Counters for module 36 is: 0x35\n"
            "SPAN Drop-Counters for module 37 is: 0x36\n"
            "SPAN Drop-Counters for module 38 is: 0x37\n"
            "SPAN Drop-Counters for module 39 is: 0x38\n"
            "SPAN Drop-Counters for module 3a is: 0x39\n"
            "SPAN Drop-Counters for module 3c is: 0x3b\n"
            "SPAN Drop-Counters for module 4c is: 0x4b\n"
            "SPAN Drop-Counters for module 94 is: 0x93\n"
            "SPAN Drop-Counters for module a4 is: 0xa3\n");
}

TEST_F(DropCounterSoftware, BothBytesOfTheIdentityCount) {
  EXPECT_EQ(show_chassis([](uint32_t module) { return 256 + module - 1; }), "");
  EXPECT_EQ(show_chassis([](uint32_t module) { return (module - 1) << 8; }), "");
  EXPECT_EQ(show_chassis([](uint32_t module) { return 0xFFFF - module; }), "");
}

TEST_F(DropCounters, OfSupervisorsAreNeverAskedFor) {
  expect_chassis(2, 231);
  for (uint32_t module = 1; module <= kSlots; ++module) {
    expect_software(module, kCounting);
    if (module != 2 && module != 231) expect_counter(module, 0);
  }
  EXPECT_EQ(show(), 0u);
  const std::string text = printed();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 230);
  EXPECT_EQ(text.find("module 2 "), std::string::npos);
  EXPECT_EQ(text.find("module e7 "), std::string::npos);
}

TEST_F(DropCounters, OneSupervisorMayFillBothBytes) {
  expect_chassis(1, 1);
  expect_software(1, kCounting);
  expect_software(2, kCounting);
  expect_counter(2, 3);
  expect_silent(3, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "SPAN Drop-Counters for module 2 is: 0x3\n");
}

TEST_F(DropCounters, OfModulesThatAreAbsentOrNotOnlineAreNotAskedFor) {
  slot(1) = {.present = 0, .online = 1};
  slot(2) = {.present = 1, .online = 0};
  slot(3) = {.present = 0, .online = 0};
  slot(4) = {.present = 255, .online = 0x80};
  slot(5) = {.present = 0x80, .online = 2};
  expect_chassis();
  for (uint32_t module = 1; module <= 5; ++module) {
    expect_software(module, kCounting);
    if (module >= 4) expect_counter(module, 1);
  }
  expect_silent(6, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(),
            "SPAN Drop-Counters for module 4 is: 0x1\n"
            "SPAN Drop-Counters for module 5 is: 0x1\n");
}

TEST_F(DropCounters, KeepsAskingAbsentModulesAndSupervisorsForTheirSoftware) {
  slots_.assign(kSlots, {.present = 0, .online = 0});
  expect_chassis(5, 6);
  expect_silent(1, 232);
  EXPECT_EQ(show(), 0u);
  std::string asked;
  for (int module = 1; module <= 232; ++module) {
    asked += "wren_get_module_info(7, message 0, " + std::to_string(module) + ")\n";
  }
  EXPECT_EQ(fake.calls("wren"), asked);
}

TEST_F(DropCounters, KeepsTheResultOfTheModuleTableUnread) {
  fake.expect("get_platform_info").gives(Bytes(16));
  expect_table().returns(0xFFFFFFFF);
  expect_software(1, kCounting);
  expect_counter(1, 4);
  expect_silent(2, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "SPAN Drop-Counters for module 1 is: 0x4\n");
}

TEST_F(DropCounters, AModuleTableThatIsNotFilledHasNoModules) {
  fake.expect("get_platform_info").gives(Bytes(16));
  fake.expect("rook_get_all_modules_in_chassis").returns(0xFFFFFFFF);
  for (uint32_t module = 1; module <= kSlots; ++module) expect_software(module, kCounting);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "");
}

// ---- Failures that end it --------------------------------------------------------------------------------------------

TEST_F(DropCounters, WithoutThePlatformsInformationNothingIsAsked) {
  for (const uint32_t result : {0xFFFFFFFFu, 0x80000000u}) {
    fake.expect("get_platform_info").returns(result);
    EXPECT_EQ(show(), 1u);
    EXPECT_EQ(printed(), "Error: unable to get platform info\n");
  }
  EXPECT_EQ(fake.calls(""), fake.calls("get_platform_info"));
}

TEST_F(DropCounters, APositiveResultOfThePlatformsInformationIsNoFailure) {
  fake.expect("get_platform_info").returns(1).gives(Bytes(16));
  expect_table();
  expect_silent(1, 232);
  EXPECT_EQ(show(), 0u);
}

TEST_F(DropCounters, ARequestThatCannotBeEncodedEndsItSilently) {
  for (const uint32_t result : {1u, 0xFFFFFFFFu, 0x40340015u}) {
    expect_chassis();
    expect_software(1, kCounting);
    expect_counter(1, 6);
    expect_software(2, kCounting);
    fake.expect("span_hw_counters_payload_to_tlv(1, 1, 0, 0)").returns(result).gives({1});
    EXPECT_EQ(show(), 1u);
    EXPECT_EQ(printed(), "SPAN Drop-Counters for module 1 is: 0x6\n");
  }
}

TEST_F(DropCounters, AReplyWithoutAPayloadEndsItSilently) {
  expect_chassis();
  expect_silent(1, 2);
  expect_software(3, kCounting);
  expect_request(3);
  fake.expect("quill_recv");
  EXPECT_EQ(show(), 0x40340015u);
  EXPECT_EQ(printed(), "");
  EXPECT_TRUE(
      fake.calls().ends_with("quill_payload_get(message 8)\n"
                             "quill_drop(7, message 8)\n"));
}

TEST_F(DropCounters, KeepsTheMisspeltTextOfAReplyThatCannotBeDecoded) {
  expect_chassis();
  expect_silent(1, 9);
  expect_software(10, kCounting);
  expect_request(10);
  fake.expect("quill_recv").gives({0xAA});
  fake.expect("span_hw_counters_payload_to_struct").returns(1);
  EXPECT_EQ(show(), 1u);
  EXPECT_EQ(printed(), "span_cli_get_drop_counters conversion from TLV to struct failedi for mod a \n");
  EXPECT_TRUE(
      fake.calls().ends_with("span_hw_counters_payload_to_struct(?, 0, 0)\n"
                             "quill_drop(7, message 22)\n"));
}

TEST_F(DropCounters, TheRecordOfAFailedDecodingIsNotShown) {
  for (const uint32_t result : {1u, 0xFFFFFFFFu}) {
    expect_chassis();
    expect_software(1, kCounting);
    expect_request(1);
    fake.expect("quill_recv").gives({0xAA});
    fake.expect("span_hw_counters_payload_to_struct").returns(result).gives(counter(0, 5));
    EXPECT_EQ(show(), 1u);
    EXPECT_EQ(printed(), "span_cli_get_drop_counters conversion from TLV to struct failedi for mod 1 \n");
  }
}

TEST_F(DropCounters, KeepsAReceiveErrorOfNumber0LookingLikeAReplyWithoutAPayload) {
  fake.quill_errno = 0;
  expect_chassis();
  expect_software(1, kCounting);
  expect_request(1);
  fake.expect("quill_recv").returns(0xFFFFFFFF);
  EXPECT_EQ(show(), 0x40340015u);
  EXPECT_EQ(printed(), "span_show_send_receive QUILL receive error 0\n");
}

// ---- Failures that skip a module -------------------------------------------------------------------------------------

TEST_F(DropCounters, AModuleThatCannotBeAskedForItsSoftwareIsToldAndSkipped) {
  expect_chassis();
  expect_inventory(1).returns(1);
  expect_inventory(2).returns(0xFFFFFFFF);
  expect_silent(3, 231);
  expect_software(232, kCounting);
  expect_counter(232, 0x10);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(),
            "Cannot get info about module 1\n"
            "Cannot get info about module 2\n"
            "SPAN Drop-Counters for module e8 is: 0x10\n");
}

TEST_F(DropCounters, AModuleWhoseSoftwareIsNotToldIsSkipped) {
  fake.messages_left = 1;
  expect_chassis();
  expect_inventory(1);
  fake.expect("quill_recv").returns(0xFFFFFFFF).does([] { errno = ETIMEDOUT; });
  expect_software(2, kCounting);
  expect_counter(2, 1);
  expect_silent(3, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(),
            "\n"
            " quill_recv returned errno " +
                std::to_string(ETIMEDOUT) + " : " + std::strerror(ETIMEDOUT) +
                "SPAN Drop-Counters for module 2 is: 0x1\n");
}

TEST_F(DropCounters, AModuleWhoseAnswerHasNoPayloadIsSkipped) {
  expect_chassis();
  expect_inventory(1);
  fake.expect("quill_recv");
  expect_silent(2, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), "");
}

TEST_F(DropCounters, AModuleThatCannotBeSentToIsNotAvailable) {
  expect_chassis();
  expect_silent(1, 9);
  expect_software(10, kCounting);
  expect_request(10).returns(0xFFFFFFFF);
  fake.expect("brio_print_quill_error_message(2, 113)");
  expect_software(11, kCounting);
  expect_counter(11, 2);
  expect_silent(12, 232);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(),
            "span_cli_get_drop_counters module a not available\n"
            "SPAN Drop-Counters for module b is: 0x2\n");
}

TEST_F(DropCounters, AModuleThatDoesNotAnswerIsNotAvailable) {
  expect_chassis();
  expect_silent(1, 231);
  expect_software(232, kCounting);
  expect_request(232);
  fake.expect("quill_recv").returns(0xFFFFFFFF);
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(),
            "span_show_send_receive QUILL receive error 71\n"
            "span_cli_get_drop_counters module e8 not available\n");
}

// ---- A whole chassis -------------------------------------------------------------------------------------------------

class DropCountersOfAChassis : public DropCounters {
 protected:
  // What the slots behind the two supervisors do, in turn.
  enum Kind {
    kCounts,
    kNotAsked,
    kSoftwareLost,
    kSoftwareEmpty,
    kOther,
    kAbsent,
    kOffline,
    kNotSent,
    kMute,
    kNoRecord
  };
  static constexpr uint32_t kKinds = 10;

  static Kind kind_of(uint32_t module) { return static_cast<Kind>((module - 3) % kKinds); }

  void expect_slot(uint32_t module) {
    switch (kind_of(module)) {
      case kNotAsked:
        expect_inventory(module).returns(1);
        return;
      case kSoftwareLost:
        expect_inventory(module);
        fake.expect("quill_recv").returns(0xFFFFFFFF).does([] { errno = ETIMEDOUT; });
        return;
      case kSoftwareEmpty:
        expect_inventory(module);
        fake.expect("quill_recv");
        return;
      case kOther:
        return expect_software(module, kSilent);
      default:
        expect_software(module, kCounting);
        expect_counting_slot(module);
    }
  }

  // The part of a slot whose software counts.
  void expect_counting_slot(uint32_t module) {
    switch (kind_of(module)) {
      case kCounts:
        return expect_counter(module, module * 0x100);
      case kNotSent:
        expect_request(module).returns(0xFFFFFFFF);
        fake.expect("brio_print_quill_error_message(2, 113)");
        return;
      case kMute:
        expect_request(module);
        fake.expect("quill_recv").returns(0xFFFFFFFF);
        return;
      case kNoRecord:
        expect_request(module);
        fake.expect("quill_recv").gives({0xAA});
        fake.expect("span_hw_counters_payload_to_struct");
        return;
      default:
        return;
    }
  }

  static std::string text_of(uint32_t module) {
    const std::string number = hex_digits(module);
    switch (kind_of(module)) {
      case kCounts:
        return "SPAN Drop-Counters for module " + number + " is: 0x" + number + "00\n";
      case kNotAsked:
        return "Cannot get info about module " + std::to_string(module) + "\n";
      case kSoftwareLost:
        return "\n quill_recv returned errno " + std::to_string(ETIMEDOUT) + " : " + std::strerror(ETIMEDOUT);
      case kNotSent:
        return "span_cli_get_drop_counters module " + number + " not available\n";
      case kMute:
        return "span_show_send_receive QUILL receive error 71\n"
               "span_cli_get_drop_counters module " +
               number + " not available\n";
      default:
        return "";
    }
  }
};

TEST_F(DropCountersOfAChassis, WithEveryKindOfAbsenceAreThoseOfTheModulesThatAnswer) {
  fake.messages_left = 23;
  for (uint32_t module = 3; module <= kSlots; ++module) {
    slot(module) = {.present = kind_of(module) != kAbsent,
                    .node = static_cast<uint8_t>(module),
                    .online = kind_of(module) != kOffline};
  }
  expect_chassis(1, 2);
  expect_software(1, kCounting);
  expect_software(2, kCounting);
  std::string text;
  for (uint32_t module = 3; module <= kSlots; ++module) {
    expect_slot(module);
    text += text_of(module);
  }
  EXPECT_EQ(show(), 0u);
  EXPECT_EQ(printed(), text);
  EXPECT_EQ(heap::requests(), 0u);
}

}  // namespace
}  // namespace testkit
