// Lines from a terminal: editing, history, completion and help while typing.
#ifndef HOST_SHELL_LINE_EDITOR_H
#define HOST_SHELL_LINE_EDITOR_H

#include <histedit.h>

#include <memory>
#include <optional>
#include <string>

#include "host/shell/console.h"

namespace shell {

class LineEditor : public LineSource {
 public:
  explicit LineEditor(const Session& session);

  std::optional<std::string> next(const std::string& prompt) override;

 private:
  static LineEditor& self(EditLine* editor);
  static char* prompt_text(EditLine* editor);
  static unsigned char complete_key(EditLine* editor, int key);
  static unsigned char help_key(EditLine* editor, int key);
  static unsigned char cancel_key(EditLine* editor, int key);

  void bind(const char* key, const char* name, const char* help, unsigned char (*function)(EditLine*, int));
  std::string typed() const;  // up to the cursor
  unsigned char complete();
  unsigned char help();
  unsigned char redraw() const;
  void list(const std::vector<std::string>& candidates) const;

  const Session& session_;
  std::unique_ptr<EditLine, decltype(&el_end)> editor_;
  std::unique_ptr<History, decltype(&history_end)> history_;
  std::string prompt_;
  bool cancelled_ = false;
};

}  // namespace shell

#endif
