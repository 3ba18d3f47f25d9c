#include "line_editor.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cwchar>
#include <string_view>
#include <utility>

namespace {

// Of the control sequence that begins there, such as "\x1b[1m"; 0 for anything else.
std::size_t ControlLength(std::string_view text) {
  if (text.substr(0, 2) != "\x1b[") return 0;
  const std::size_t end = text.find_first_not_of("0123456789:;<=>? ", 2);
  return end == text.npos ? text.size() : end + 1;
}

// As a terminal shows it: without colours and the like, and "?" for what is no character of the locale.
std::wstring Shown(std::string_view text) {
  std::wstring shown;
  while (!text.empty()) {
    if (const std::size_t control = ControlLength(text); control > 0) {
      text.remove_prefix(control);
      continue;
    }
    wchar_t character = L'?';
    std::mbstate_t state = {};
    const std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
    const bool valid = length > 0 && length <= text.size();
    shown += valid ? character : L'?';
    text.remove_prefix(valid ? length : 1);
  }
  return shown;
}

// The one of libedit shows a "^D".
unsigned char DeleteOrEnd(EditLine* editor, wint_t) {
  const LineInfoW* const line = el_wline(editor);
  if (line->buffer == line->lastchar) return CC_EOF;
  if (line->cursor == line->lastchar) return CC_ERROR;
  el_cursor(editor, 1);
  el_deletestr(editor, 1);
  return CC_REFRESH;
}

}  // namespace

LineEditor::LineEditor(void (*wait)())
    : await_key(wait),
      nowhere(std::fopen("/dev/null", "we")),
      editor(el_init("RConsole", stdin, stdout, stderr)),
      past(history_init()) {
  HistEvent event;
  history(past, &event, H_SETSIZE, INT_MAX);
  el_set(editor, EL_CLIENTDATA, this);
  el_set(editor, EL_HIST, history, past);
  el_set(editor, EL_GETCFN, NextKey);
  el_wset(editor, EL_PROMPT, Prompt);
  BindKeys();
}

void LineEditor::BindKeys() {
  el_set(editor, EL_EDITOR, "emacs");
  el_set(editor, EL_ADDFN, "delete-or-end", "Delete the character under the cursor, or end an empty line",
         DeleteOrEnd);
  const auto bind = [this](const char* key, const char* function) {
    el_set(editor, EL_BIND, key, function, nullptr);
  };
  bind("^R", "em-inc-search-prev");
  bind("^U", "vi-kill-line-prev");
  bind("^W", "ed-delete-prev-word");
  bind("\\e[1~", "ed-move-to-beg");
  bind("\\e[4~", "ed-move-to-end");
  bind("\\e[3~", "ed-delete-next-char");
  bind("\\e[1;5C", "em-next-word");
  bind("\\e[1;5D", "ed-prev-word");
  el_source(editor, nullptr);
  bind("^C", "em-kill-line");
  bind("^D", "delete-or-end");
  bind("^I", "ed-insert");
}

LineEditor& LineEditor::Of(EditLine* editor) {
  void* self = nullptr;
  el_get(editor, EL_CLIENTDATA, &self);
  return *static_cast<LineEditor*>(self);
}

// Bytes that are no character of the locale are passed over.
int LineEditor::NextKey(EditLine* editor, wchar_t* key) {
  LineEditor& self = Of(editor);
  if (!std::exchange(self.reading, true)) el_set(editor, EL_SETFP, 1, stdout);
  std::mbstate_t state = {};
  for (;;) {
    char byte;
    self.await_key();
    const ssize_t count = read(STDIN_FILENO, &byte, 1);
    if (count == -1 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count <= 0) return static_cast<int>(count);
    const std::size_t length = std::mbrtowc(key, &byte, 1, &state);
    if (length <= 1) return 1;
    if (length == static_cast<std::size_t>(-1)) state = {};
  }
}

std::optional<std::string> LineEditor::Read(const std::string& shown) {
  prompt = Shown(shown);
  // Up to the first key libedit writes the prompt, which is there already and may have colours.
  el_set(editor, EL_SETFP, 1, nowhere);
  reading = false;
  int length = 0;
  const char* const text = el_gets(editor, &length);
  reading = false;
  if (text == nullptr || length <= 0) return std::nullopt;
  std::string line(text, static_cast<std::size_t>(length));
  if (line.back() == '\n') line.pop_back();
  HistEvent event;
  if (!line.empty()) history(past, &event, H_ENTER, line.c_str());
  return line;
}

int LineEditor::RowsAboveCursor(int columns) const {
  const LineInfoW* const line = el_wline(editor);
  int width = 0;
  for (const wchar_t character : prompt + std::wstring(line->buffer, line->cursor)) {
    width += std::max(wcwidth(character), 0);
  }
  return columns > 0 ? width / columns : 0;
}

void LineEditor::Resize() {
  int columns = 0;
  el_get(editor, EL_GETTC, "co", &columns);
  el_resize(editor);
  if (!reading) return;
  if (const int rows = RowsAboveCursor(columns); rows > 0) std::printf("\x1b[%dA", rows);
  std::fputs("\r\x1b[J", stdout);
  el_set(editor, EL_REFRESH);
  std::fflush(stdout);
}
