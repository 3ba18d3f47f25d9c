#include "text.h"

#include <locale>

void DecoratePathEnd(std::string& path) {
  if (!path.empty() && path.back() != '/') path += '/';
}

std::string UpperString(const std::string& text) {
  const std::locale locale;
  std::string upper = text;
  for (char& character : upper) character = std::toupper(character, locale);
  return upper;
}

int strincmp(const char* first, const char* second, std::size_t n) {
  const std::locale locale;
  for (std::size_t i = 0; i < n; ++i) {
    const int difference = std::toupper(first[i], locale) - std::toupper(second[i], locale);
    if (difference != 0) return difference;
    if (first[i] == '\0') return 0;
  }
  return 0;
}

std::vector<std::string> GetListFromDelims(const std::string& text, const std::string& delimiter) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  if (!delimiter.empty()) {
    for (std::size_t end; (end = text.find(delimiter, start)) != std::string::npos;
         start = end + delimiter.size()) {
      pieces.push_back(text.substr(start, end - start));
    }
  }
  if (start < text.size()) pieces.push_back(text.substr(start));
  return pieces;
}

void trimSpace(std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) {
    text.clear();
    return;
  }
  text.erase(text.find_last_not_of(' ') + 1);
  text.erase(0, first);
}
