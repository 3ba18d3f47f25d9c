#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cwchar>

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// Takes a character off the text. Its bytes, and in `columns` what it needs; -1 for what cannot be shown.
std::string_view TakeCharacter(std::string_view& text, int& columns) {
  wchar_t character = 0;
  std::mbstate_t state = {};
  std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
  const bool broken = length == 0 || length > text.size();
  if (broken) length = 1;
  columns = broken ? -1 : wcwidth(character);
  const std::string_view taken = text.substr(0, length);
  text.remove_prefix(length);
  return taken;
}

}  // namespace

bool IsTerminal(int descriptor) { return isatty(descriptor) == 1; }

std::size_t TerminalWidth() {
  winsize size = {};
  if (!IsTerminal(STDOUT_FILENO) || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
  constexpr std::size_t kUsual = 80;
  return size.ws_col != 0 ? size.ws_col : kUsual;
}

bool HasColours(int descriptor) {
  const char* const refused = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return IsTerminal(descriptor) && (refused == nullptr || *refused == '\0') && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

std::string Styled(std::string_view text, Look look, bool colours) {
  if (!colours || look == Look::Plain) return std::string(text);
  const char* const start = look == Look::Heading ? "\033[1m" : look == Look::Faint ? "\033[2m" : "\033[31m";
  return start + std::string(text) + "\033[0m";
}

std::size_t Width(std::string_view text) {
  std::size_t width = 0;
  for (int columns = 0; !text.empty(); width += static_cast<std::size_t>(columns < 0 ? 1 : columns))
    TakeCharacter(text, columns);
  return width;
}

std::string CutTo(std::string_view text, std::size_t width) {
  if (Width(text) <= width) return std::string(text);
  std::string kept;
  for (std::size_t used = 1; !text.empty();) {
    int columns = 0;
    const std::string_view character = TakeCharacter(text, columns);
    used += static_cast<std::size_t>(columns < 0 ? 1 : columns);
    if (used > width) break;
    kept += character;
  }
  return width == 0 ? "" : kept + "…";
}

std::string Printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    int columns = 0;
    const std::string_view character = TakeCharacter(text, columns);
    shown += columns >= 0 ? character : kReplacement;
  }
  return shown;
}
