// Lines that a person types at the terminal of this process, by libedit: the keys of Emacs, a history,
// characters of the locale. A file ~/.editrc may change the keys, apart from those that end or drop a line.
//
//   LineEditor editor(wait_for_the_keyboard);
//   std::optional<std::string> line = editor.Read("> ");
#ifndef LINE_EDITOR_H
#define LINE_EDITOR_H

#include <histedit.h>

#include <cstdio>
#include <optional>
#include <string>

class LineEditor {
 public:
  // `await_key` returns when there is something to read on standard input. The locale has been set by now.
  explicit LineEditor(void (*await_key)());
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Behind `prompt`, which the terminal shows already. Without the line's end; nothing for Ctrl-D on an empty
  // line, and where the keyboard cannot be read.
  std::optional<std::string> Read(const std::string& prompt);
  // To be called when the window may have another size, within `await_key` as well.
  void Resize();

 private:
  static LineEditor& Of(EditLine* editor);
  static int NextKey(EditLine* editor, wchar_t* key);
  static wchar_t* Prompt(EditLine* editor) { return Of(editor).prompt.data(); }
  void BindKeys();
  int RowsAboveCursor(int columns) const;

  void (*const await_key)();
  std::FILE* const nowhere;
  EditLine* const editor;
  History* const past;
  std::wstring prompt;
  bool reading = false;
};

#endif
