// As much of SQL as it takes to tell one statement from the next: quotes, comments and the first word.
#ifndef SQL_TEXT_H
#define SQL_TEXT_H

#include <string>
#include <string_view>

// Behind the semicolon that ends the first statement of the text, and what is left of its line when that is
// blank. The whole text where none does.
std::size_t StatementEnd(std::string_view text);
// Whether the text ends with a semicolon that ends a statement; blanks and comments behind it do not count.
bool IsWhole(std::string_view text);
// Without blanks and comments in front, and without the semicolon and blanks at the end.
std::string_view BareStatement(std::string_view text);
// In capitals: "SELECT". Empty for a statement that begins with none.
std::string FirstWord(std::string_view statement);

#endif
