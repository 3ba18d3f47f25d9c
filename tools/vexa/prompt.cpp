#include "prompt.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "interrupts.h"
#include "terminal.h"

namespace {

constexpr int kMostRemembered = 2000;

// VEXA_HISTORY names the file, or nothing for no file.
std::string HistoryFile() {
  if (const char* named = std::getenv("VEXA_HISTORY")) return named;
  const char* const state = std::getenv("XDG_STATE_HOME");
  const char* const home = std::getenv("HOME");
  if (home == nullptr) return {};
  const std::filesystem::path directory =
      (state != nullptr ? std::filesystem::path(state) : std::filesystem::path(home) / ".local/state") /
      "vexa";
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  return error ? "" : (directory / "history").string();
}

}  // namespace

Prompt::Prompt() {
  if (!IsTerminal(STDIN_FILENO) || !IsTerminal(STDOUT_FILENO)) return;
  editor.reset(el_init("vexa", stdin, stdout, stderr));
  history.reset(history_init());
  if (!editor || !history) return;
  HistEvent event;
  ::history(history.get(), &event, H_SETSIZE, kMostRemembered);
  ::history(history.get(), &event, H_SETUNIQUE, 1);
  history_file = HistoryFile();
  if (!history_file.empty()) ::history(history.get(), &event, H_LOAD, history_file.c_str());
  el_set(editor.get(), EL_CLIENTDATA, this);
  el_set(editor.get(), EL_EDITOR, "emacs");
  el_set(editor.get(), EL_HIST, ::history, history.get());
  el_set(
      editor.get(), EL_PROMPT, +[](EditLine* asked) {
        Prompt* self = nullptr;
        el_get(asked, EL_CLIENTDATA, &self);
        return self->shown.data();
      });
  el_set(editor.get(), EL_GETCFN, NextCharacter);
  el_set(editor.get(), EL_BIND, "^R", "em-inc-search-prev", nullptr);
  el_source(editor.get(), nullptr);
}

Prompt::~Prompt() {
  HistEvent event;
  if (history && !history_file.empty()) ::history(history.get(), &event, H_SAVE, history_file.c_str());
}

// The editor's own would go on behind a signal.
int Prompt::NextCharacter(EditLine*, wchar_t* character) {
  std::mbstate_t state = {};
  while (true) {
    char byte = 0;
    if (Interrupted()) return -1;
    const ssize_t got = read(STDIN_FILENO, &byte, 1);
    if (got == -1 && errno == EINTR) continue;
    if (got <= 0) return static_cast<int>(got);
    const std::size_t length = std::mbrtowc(character, &byte, 1, &state);
    if (length == static_cast<std::size_t>(-1)) state = {};
    if (length <= 1) return 1;
  }
}

Prompt::End Prompt::Ask(const std::string& prompt, std::string& line) {
  shown = prompt;
  if (!editor) {
    if (std::getline(std::cin, line)) return End::Line;
    return Interrupted() ? End::Interrupt : End::Input;
  }
  int length = 0;
  const char* const typed = el_gets(editor.get(), &length);
  if (typed == nullptr || length <= 0 || Interrupted()) {
    std::cout << '\n';
    return Interrupted() ? End::Interrupt : End::Input;
  }
  line.assign(typed, static_cast<std::size_t>(length));
  while (line.ends_with('\n') || line.ends_with('\r')) line.pop_back();
  return End::Line;
}

void Prompt::Remember(const std::string& line) {
  HistEvent event;
  if (history && !line.empty()) ::history(history.get(), &event, H_ENTER, line.c_str());
}
