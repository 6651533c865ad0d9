// The table of commands as a whole.
#include "host/shell/grammar.h"

#include <algorithm>

#include "tests/host/shell_support.h"

namespace shell {
namespace {

// The shortest and the longest way to type a form, with its first or its last choice of keywords.
struct Spelling {
  bool optional_words;
  bool last_choice;
};

std::string sample(const Word& word) {
  switch (word.kind) {
    case Kind::kKeyword:
      return std::string(word.text);
    case Kind::kSession:
    case Kind::kExistingSession:
      return "16";
    case Kind::kInterface:
      return "port-channel 3";
    case Kind::kInterfaceRanges:
      return "fc1/1 - fc1/4, port-channel 3";
    case Kind::kVsanRange:
      return "1-4095";
    case Kind::kPackets:
      return "65535";
    case Kind::kTest:
      return "5";
    case Kind::kFile:
      return "/var/lib/switch.span";
  }
  return "";
}

std::string spell(const Form& form, bool negated, Spelling spelling) {
  std::string line = negated ? "no" : "";
  for (const Slot& slot : form.slots()) {
    if (slot.optional && !spelling.optional_words) continue;
    line += ' ' + sample(spelling.last_choice ? slot.words.back() : slot.words.front());
  }
  return line;
}

class ShellGrammar : public ShellTest {
 protected:
  void expect_form(const std::string& line, Mode mode, const Form& form, bool negated) {
    const std::variant<Command, Problem> parsed = parser_.parse(line, mode);
    const Command* const command = std::get_if<Command>(&parsed);
    ASSERT_NE(command, nullptr) << line << ": " << std::get<Problem>(parsed).text;
    EXPECT_EQ(usage(*command->form), usage(form)) << line;
    EXPECT_EQ(command->form, &form) << line;
    EXPECT_EQ(command->negated, negated) << line;
  }

  void expect_every_spelling(const Form& form, Mode mode) {
    for (const bool negated : {false, true}) {
      if (form.no == (negated ? No::kNever : No::kOnly)) continue;
      for (const Spelling spelling : {Spelling{false, false}, {false, true}, {true, false}, {true, true}}) {
        expect_form(spell(form, negated, spelling), mode, form, negated);
      }
    }
  }

  const Parser parser_{chassis()};
};

TEST_F(ShellGrammar, EveryFormIsFoundInEveryModeThatHasIt) {
  for (const Form& form : forms()) {
    for (const Mode mode : {Mode::kExec, Mode::kConfig, Mode::kSpan, Mode::kInterface}) {
      if (is_visible(form, mode)) expect_every_spelling(form, mode);
    }
  }
}

TEST_F(ShellGrammar, ModesSeeTheirParents) {
  for (const Form& form : forms()) {
    if (form.mode == Mode::kEvery) {
      EXPECT_TRUE(is_visible(form, Mode::kExec) && is_visible(form, Mode::kConfig)) << usage(form);
    }
    if (form.mode == Mode::kConfig) {
      EXPECT_FALSE(is_visible(form, Mode::kExec)) << usage(form);
      EXPECT_TRUE(is_visible(form, Mode::kSpan) && is_visible(form, Mode::kInterface)) << usage(form);
    }
    if (form.mode == Mode::kSpan) {
      EXPECT_FALSE(is_visible(form, Mode::kConfig) || is_visible(form, Mode::kInterface)) << usage(form);
    }
  }
}

// Values of two kinds at one place could not be told apart.
TEST_F(ShellGrammar, AtMostOneKindOfValueAtEachPlace) {
  for (const Mode mode : {Mode::kExec, Mode::kConfig, Mode::kSpan, Mode::kInterface}) {
    for (const Form& form : forms()) {
      if (!is_visible(form, mode)) continue;
      std::string line = spell(form, form.no == No::kOnly, {true, false}) + ' ';
      for (; !line.empty(); line.pop_back()) {
        if (line.back() != ' ') continue;
        const std::vector<const Word*> words = parser_.expect(line, mode).words;
        const auto is_value = [](const Word* word) { return word->kind != Kind::kKeyword; };
        EXPECT_LE(std::count_if(words.begin(), words.end(), is_value), 1) << line;
      }
    }
  }
}

TEST_F(ShellGrammar, OfferedWordsHaveHelp) {
  for (const Form& form : forms()) {
    for (const Slot& slot : form.slots()) {
      for (const Word& word : slot.words) {
        EXPECT_TRUE(form.hidden || word.hidden || !word.help.empty()) << word.text;
      }
    }
  }
}

TEST_F(ShellGrammar, Usage) {
  std::vector<std::string> lines;
  for (const Form& form : forms()) {
    if (form.mode == Mode::kSpan && !form.hidden) lines.push_back(usage(form));
  }
  const std::vector<std::string> wanted = {
      "[no] destination interface INTERFACE",
      "[no] source interface INTERFACES",
      "[no] source interface INTERFACES rx|tx",
      "[no] source interface INTERFACES [rx|tx] traffic-type initiator|target|mgmt",
      "[no] source interface INTERFACES [rx|tx] filter vsan VSANS",
      "[no] source vsan VSANS",
      "[no] source filter vsan VSANS [rx|tx]",
      "[no] suspend",
  };
  EXPECT_EQ(lines, wanted);
}

TEST_F(ShellGrammar, WordsMayBeShort) {
  const std::pair<const char*, const char*> pairs[] = {
      {"sh sp se", "show span session"},
      {"sh sp se 3 b", "show span session 3 brief"},
      {"sh i b", "show interface brief"},
      {"sh sp e", "show span event-history"},
      {"so i fc1/1 r f v 5", "source interface fc1/1 rx filter vsan 5"},
      {"n des i po 3", "no destination interface port-channel 3"},
      {"so i svc 2/1 tr i", "source interface svc 2/1 traffic-type initiator"},
      {"sp s 3", "span session 3"},
      {"n sp m", "no span max-queued-packets"},
      {"sh ru s", "show running-config span"},
      {"sh sp in a s 3", "show span internal all session 3"},
      {"sh sp in e e", "show span internal event-history errors"},
      {"sh rs i po 3", "show rspan-tunnel interface port-channel 3"},
      {"cop r x", "copy running-config x"},
  };
  for (const auto& [typed, meant] : pairs) {
    const auto parsed = parser_.parse(typed, Mode::kSpan);
    const auto wanted = parser_.parse(meant, Mode::kSpan);
    ASSERT_TRUE(std::holds_alternative<Command>(parsed)) << typed << ": " << std::get<Problem>(parsed).text;
    EXPECT_EQ(std::get<Command>(parsed).form, std::get<Command>(wanted).form) << typed;
    EXPECT_EQ(std::get<Command>(parsed).negated, std::get<Command>(wanted).negated) << typed;
  }
}

TEST_F(ShellGrammar, BlanksAreFree) {
  EXPECT_TRUE(std::holds_alternative<Command>(parser_.parse("\t show   span \t session \r", Mode::kExec)));
}

}  // namespace
}  // namespace shell
