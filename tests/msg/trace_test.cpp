// The trace event: its record in the event history, and debug output.
#include "internal/trace.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/msg/request_test.h"

namespace testkit {
namespace {

class Trace : public LibspanTest {};

TEST_F(Trace, IsRecordedInTheHistory) {
  libspan::trace(103, "%s: [%x]\n", "name", 0xABu);
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event_subtype_check(0x730000, 103)\n"
            "tarn_hist_event(0x730000, 16, 103, \"name: [ab]\\n\")\n"
            "tarn_chk_int(103, 0, 0, 1)\n");
}

TEST_F(Trace, ATextIsRecordedWithItsLengthAnd5) {
  for (const size_t length : {0u, 1u, 100u, 510u, 511u}) {
    const std::string text(length, 't');
    libspan::trace(7, "%s", text.c_str());
    EXPECT_EQ(fake.traces.back().length, length + 5);
    EXPECT_EQ(fake.traces.back().event, 7u);
    EXPECT_EQ(fake.traces.back().text, text);
  }
}

TEST_F(Trace, ATextIsCutAt511CharactersInTheHistoryAlone) {
  fake.debug_on = true;
  for (const size_t length : {512u, 2000u}) {
    const std::string text(length, 't');
    libspan::trace(7, "%s", text.c_str());
    EXPECT_EQ(fake.traces.back().length, 516u);
    EXPECT_EQ(fake.traces.back().text, std::string(511, 't'));
    EXPECT_TRUE(fake.calls("murmur").ends_with("murmur(1, tarn_dbg_modname, 0, \"" + text + "\")\n"));
  }
}

TEST_F(Trace, AnEventThatIsOffIsNotRecorded) {
  fake.history_on = false;
  libspan::trace(103, "text");
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event_subtype_check(0x730000, 103)\n"
            "tarn_chk_int(103, 0, 0, 1)\n");
}

TEST_F(Trace, DebugOutputDoesNotDependOnTheHistory) {
  fake.history_on = false;
  fake.debug_on = true;
  libspan::trace(103, "text %d", 5);
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event_subtype_check(0x730000, 103)\n"
            "tarn_chk_int(103, 0, 0, 1)\n"
            "murmur(1, tarn_dbg_modname, 0, \"text 5\")\n");
}

TEST_F(Trace, BothAreMadeWhenBothAreOn) {
  fake.debug_on = true;
  libspan::trace(0xFFFFFFFF, "text");
  EXPECT_EQ(fake.calls(),
            "tarn_hist_event_subtype_check(0x730000, 0xffffffff)\n"
            "tarn_hist_event(0x730000, 9, 0xffffffff, \"text\")\n"
            "tarn_chk_int(0xffffffff, 0, 0, 1)\n"
            "murmur(1, tarn_dbg_modname, 0, \"text\")\n");
}

TEST_F(Trace, NeedsNoMemory) {
  libspan::trace(1, "text");
  EXPECT_EQ(heap::requests(), 0u);
}

}  // namespace
}  // namespace testkit
