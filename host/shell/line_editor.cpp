#include "host/shell/line_editor.h"

#include <algorithm>
#include <cstdio>

namespace shell {
namespace {

constexpr int kHistorySize = 1000;
constexpr size_t kMaxListed = 200;
constexpr int kUsualWidth = 80;

}  // namespace

LineEditor::LineEditor(const Session& session)
    : session_(session),
      editor_(el_init("spansh", stdin, stdout, stderr), &el_end),
      history_(history_init(), &history_end) {
  EditLine* const editor = editor_.get();
  HistEvent event;
  history(history_.get(), &event, H_SETSIZE, kHistorySize);
  history(history_.get(), &event, H_SETUNIQUE, 1);
  el_set(editor, EL_CLIENTDATA, this);
  el_set(editor, EL_PROMPT, &prompt_text);
  el_set(editor, EL_SIGNAL, 1);
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_HIST, history, history_.get());
  el_set(editor, EL_SETTY, "-d", "-isig", nullptr);  // Ctrl-C is a key here: it drops the line
  bind("^I", "complete-command", "Complete the word before the cursor", &complete_key);
  bind("?", "show-help", "Tell what may follow", &help_key);
  bind("^C", "cancel-line", "Drop the line", &cancel_key);
}

void LineEditor::bind(const char* key, const char* name, const char* help, unsigned char (*function)(EditLine*, int)) {
  el_set(editor_.get(), EL_ADDFN, name, help, function);
  el_set(editor_.get(), EL_BIND, key, name, nullptr);
}

std::optional<std::string> LineEditor::next(const std::string& prompt) {
  prompt_ = prompt;
  cancelled_ = false;
  int length = 0;
  const char* const text = el_gets(editor_.get(), &length);
  if (cancelled_) return "";
  if (text == nullptr || length <= 0) {
    std::putchar('\n');
    return std::nullopt;
  }
  std::string line(text, static_cast<size_t>(length));
  if (line.ends_with('\n')) line.pop_back();
  HistEvent event;
  if (!is_comment(line)) history(history_.get(), &event, H_ENTER, line.c_str());
  return line;
}

LineEditor& LineEditor::self(EditLine* editor) {
  void* data = nullptr;
  el_get(editor, EL_CLIENTDATA, &data);
  return *static_cast<LineEditor*>(data);
}

char* LineEditor::prompt_text(EditLine* editor) { return self(editor).prompt_.data(); }

unsigned char LineEditor::complete_key(EditLine* editor, int) { return self(editor).complete(); }

unsigned char LineEditor::help_key(EditLine* editor, int) { return self(editor).help(); }

unsigned char LineEditor::cancel_key(EditLine* editor, int) {
  self(editor).cancelled_ = true;
  std::fputs("^C\n", stdout);
  return CC_NEWLINE;
}

std::string LineEditor::typed() const {
  const LineInfo* const line = el_line(editor_.get());
  return {line->buffer, line->cursor};
}

unsigned char LineEditor::complete() {
  const std::string line = typed();
  const Completion completion = session_.complete(line);
  const size_t typed_length = line.size() - completion.column;
  std::string text = common_prefix(completion.candidates);
  if (completion.candidates.size() == 1) text += ' ';
  if (text.size() > typed_length) {
    el_insertstr(editor_.get(), text.c_str() + typed_length);
    return CC_REFRESH;
  }
  if (completion.candidates.empty()) return CC_REFRESH_BEEP;
  std::putchar('\n');
  list(completion.candidates);
  return redraw();
}

void LineEditor::list(const std::vector<std::string>& candidates) const {
  if (candidates.size() > kMaxListed) {
    std::printf("%zu possibilities\n", candidates.size());
    return;
  }
  int width = kUsualWidth;
  el_get(editor_.get(), EL_GETTC, "co", &width);
  const size_t cell = std::ranges::max(candidates, {}, &std::string::size).size() + 2;
  const size_t columns = std::max<size_t>(1, static_cast<size_t>(width) / cell);
  for (size_t i = 0; i < candidates.size(); ++i) {
    const bool ends_row = (i + 1) % columns == 0 || i + 1 == candidates.size();
    std::printf("%-*s%s", static_cast<int>(cell), candidates[i].c_str(), ends_row ? "\n" : "");
  }
}

unsigned char LineEditor::help() {
  const std::string line = typed();
  if (!line.empty() && is_comment(line)) {
    el_insertstr(editor_.get(), "?");
    return CC_REFRESH;
  }
  std::puts("?");
  if (!session_.print_help(line)) std::puts("  nothing fits here");
  return redraw();
}

// The line again below what was printed. Editing would clear as many rows upwards as the line had.
unsigned char LineEditor::redraw() const {
  std::fflush(stdout);
  el_set(editor_.get(), EL_REFRESH);
  return CC_NORM;
}

}  // namespace shell
