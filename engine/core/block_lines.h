// How a block of another language stands in what is submitted: between a line "LANGUAGE name." and one "END
// LANGUAGE.".
#ifndef BLOCK_LINES_H
#define BLOCK_LINES_H

#include <string>
#include <string_view>

// Takes a line off the text, without its end.
std::string_view TakeLine(std::string_view& text);
// The language, in capitals, that a line opens a block of; empty for another line.
std::string OpenedLanguage(std::string_view line);
bool EndsBlock(std::string_view line);

#endif
