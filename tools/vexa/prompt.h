// Lines that a person types: with editing and history on a terminal, else as they come.
#ifndef PROMPT_H
#define PROMPT_H

#include <histedit.h>

#include <memory>
#include <string>

class Prompt {
 public:
  enum class End { Line, Interrupt, Input };  // a line; Ctrl-C; no more of them

  Prompt();
  Prompt(const Prompt&) = delete;
  Prompt& operator=(const Prompt&) = delete;
  ~Prompt();

  // Without its line end.
  End Ask(const std::string& prompt, std::string& line);
  // For the history: a line alone.
  void Remember(const std::string& line);

 private:
  static int NextCharacter(EditLine* editor, wchar_t* character);

  std::string shown;
  std::string history_file;  // empty for none
  std::unique_ptr<EditLine, void (*)(EditLine*)> editor{nullptr, el_end};
  std::unique_ptr<History, void (*)(History*)> history{nullptr, history_end};
};

#endif
