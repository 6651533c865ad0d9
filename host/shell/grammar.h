// The command language of the shell: one table of forms. Parser, help and completion read it, nothing else knows a
// word.
#ifndef HOST_SHELL_GRAMMAR_H
#define HOST_SHELL_GRAMMAR_H

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "libspan.h"

namespace shell {

enum class Mode : uint8_t {
  kEvery,  // of forms only: a command of every mode
  kExec,
  kConfig,
  kSpan,
  kInterface,
};

// What stands at a place of a form.
enum class Kind : uint8_t {
  kKeyword,
  kSession,
  kExistingSession,  // of a command that has nothing to do with any other
  kInterface,
  kInterfaceRanges,
  kVsanRange,
  kPackets,
  kTest,
  kFile,
};

// Token ids that no handler tests: it finds these tokens by their position. Those of keywords that say what to dump
// travel on to the manager (host/manager/dump_ids.h).
enum : uint32_t {
  kNoToken = 0,
  kSessionToken = 100,
  kInterfaceToken,
  kVsanRangeToken,
  kModeToken,
  kKeywordToken,
  kPacketsToken,
  kTestToken,
  kFileToken,
};

// Types of a token's value, next to SPAN_VALUE_NUMBER.
enum : uint32_t { kNoValue = 0, kInterfaceValue = 0x40100002, kInterfaceRangesValue, kVsanRangeValue, kTextValue };

struct Word {
  std::string_view text;  // a keyword, or what stands for a value in help
  std::string_view help;
  Kind kind = Kind::kKeyword;
  std::array<uint32_t, 3> tokens{};  // the token's id; a keyword with more of them runs its command once for each
  std::optional<uint32_t> number{};  // value of a keyword's token
  bool hidden = false;               // accepted in full, never offered
};

// One place of a form: the words that may stand there.
struct Slot {
  constexpr Slot() = default;
  constexpr Slot(const Word& word) : words(&word, 1) {}
  template <size_t kCount>
  constexpr Slot(const Word (&choice)[kCount]) : words(choice) {}

  std::span<const Word> words;
  bool optional = false;
};

using Handler = uint32_t (*)(const span_cli_parms_t*);

// What the shell does itself.
enum class Builtin : uint8_t {
  kNothing,
  kExit,
  kEnd,
  kHelp,
  kDebug,
  kShowInterfaces,
  kShowVsans,
  kShowRoles,
  kShowEvents,
  kShowRunningConfig,
  kCopyRunningConfig,
};

using Action = std::variant<Handler, Builtin>;

enum class No : uint8_t { kNever, kAlso, kOnly };

constexpr size_t kMaxSlots = 8;

// One command. Its tokens follow that of its mode: the session number in kSpan, the interfaces in kInterface.
struct Form {
  constexpr Form(Mode of_mode, No no_form, std::initializer_list<Slot> places, Action does,
                 Mode opens_mode = Mode::kEvery)
      : mode(of_mode), no(no_form), action(does), opens(opens_mode) {
    for (const Slot& place : places) slots_[count_++] = place;
  }

  std::span<const Slot> slots() const { return {slots_.data(), count_}; }

  Mode mode;
  No no;
  Action action;
  Mode opens;           // mode that it enters, kEvery = none
  bool hidden = false;  // accepted, never offered

 private:
  std::array<Slot, kMaxSlots> slots_;
  size_t count_ = 0;
};

extern const Word kNoWord;

std::span<const Form> forms();

// The mode that `exit` goes to; kExec has none above it.
Mode parent(Mode mode);

// Whether a command of `form` is understood in `mode`: its own, one below it, or every.
bool is_visible(const Form& form, Mode mode);

// How to type it: "source filter vsan VSANS [rx|tx]", and that behind "[no] " where it has a no form.
std::string plain_usage(const Form& form);
std::string usage(const Form& form);

}  // namespace shell

#endif
