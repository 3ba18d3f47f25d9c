// Small operations on text that the configuration and the names of the system share.
#ifndef TEXT_H
#define TEXT_H

#include <cstddef>
#include <string>
#include <vector>

// Appends "/" to a path that is not empty and does not end in one.
void DecoratePathEnd(std::string& path);

// In upper case, character by character, under the global C++ locale.
std::string UpperString(const std::string& text);

// Compares the first n characters in upper case: the difference of the first unequal pair, or 0. The end of
// either text counts as a NUL and ends the comparison there.
int strincmp(const char* first, const char* second, std::size_t n);

// The pieces of `text` in front of each delimiter, empty ones included, and what follows the last delimiter
// unless that is empty: "a;;b;" at ";" gives "a", "", "b".
std::vector<std::string> GetListFromDelims(const std::string& text, const std::string& delimiter);

// Removes blanks, and no other white space, from both ends.
void trimSpace(std::string& text);

#endif
