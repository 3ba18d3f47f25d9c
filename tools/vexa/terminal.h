// What is known of the terminal, and how texts stand on it.
#ifndef TERMINAL_H
#define TERMINAL_H

#include <cstddef>
#include <string>
#include <string_view>

// Of standard output; 0 where it is no terminal.
std::size_t TerminalWidth();
bool IsTerminal(int descriptor);
// Only on a terminal, and where neither NO_COLOR nor a dumb terminal speaks against it.
bool HasColours(int descriptor);

enum class Look { Plain, Heading, Faint, Error };
std::string Styled(std::string_view text, Look look, bool colours);

// In columns of a terminal.
std::size_t Width(std::string_view text);
// The front part that fits, with an ellipsis where something is missing.
std::string CutTo(std::string_view text, std::size_t width);
// One line without control characters, whatever data hold: U+FFFD stands for each, and for each byte that is
// no UTF-8.
std::string Printable(std::string_view text);

#endif
