// Texts and numbers as a person reads them. Whatever a driver sends may end in the output document, and there
// it must be UTF-8 without control characters.
#ifndef PLAIN_TEXT_H
#define PLAIN_TEXT_H

#include <string>
#include <string_view>

#include "dataset.h"

bool IsUtf8(std::string_view text);
// The text as XML can hold it: U+FFFD stands for each control character (but tab and line ends) and for each
// byte that is no UTF-8.
std::string Cleaned(std::string_view text);
// A reason as it travels in a reply: cleaned, without line ends behind it, at most 4 KiB.
std::string ReasonText(std::string_view text);
// Its characters, as a typewriter counts them.
std::size_t Width(std::string_view text);

// How a number is shown. Without decimals in its shortest form.
struct NumberStyle {
  static constexpr int kShortest = -1;
  FormatType type = FormatType::Fixed;
  int decimals = kShortest;
};

// The system-missing value is shown as ".".
std::string NumberText(double value, NumberStyle style = {});
// A value of a variable: its label, or where it has none the value in the variable's format.
std::string ValueText(const Variable& variable, double value);
std::string ValueText(const Variable& variable, std::string_view value);

#endif
