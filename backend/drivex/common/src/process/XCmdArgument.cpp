#include "XCmdArgument.h"

#include <cstring>

#include "text.h"

namespace {

char* NewText(const std::string& text) {
  char* copy = new char[text.size() + 1];
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace

XCmdArgument::XCmdArgument(int argc, char** argv) : list(argv, argv + (argc > 0 ? argc : 0)) {}

XCmdArgument::XCmdArgument(const std::string& text) {
  if (text.empty()) return;
  list = GetListFromDelims(text, " ");
  modified = true;
}

XCmdArgument::~XCmdArgument() {
  FreeVector();
  delete[] line;
}

void XCmdArgument::pushArgument(const std::string& argument, bool) {
  list.push_back(argument);
  modified = true;
}

void XCmdArgument::modifyArgument(int index, const std::string& argument) {
  if (index < 0 || index >= static_cast<int>(list.size())) return;
  list[static_cast<std::size_t>(index)] = argument;
  modified = true;
}

const char* XCmdArgument::argumentAt(int index) const {
  if (index < 0 || index >= static_cast<int>(list.size())) return nullptr;
  return list[static_cast<std::size_t>(index)].c_str();
}

int XCmdArgument::argc() {
  BuildVector();
  return count;
}

char** XCmdArgument::argv() {
  BuildVector();
  return vector;
}

char* XCmdArgument::cmdline() {
  if (!modified) return line;
  modified = false;
  delete[] line;
  line = nullptr;
  if (list.empty()) return nullptr;
  std::string joined;
  for (const std::string& argument : list) joined += " " + argument;
  line = NewText(joined);
  return line;
}

void XCmdArgument::BuildVector() {
  if (!modified) return;
  modified = false;
  FreeVector();
  if (list.empty()) return;
  count = static_cast<std::int32_t>(list.size());
  vector = new char*[list.size() + 1]();
  for (std::size_t i = 0; i < list.size(); ++i) vector[i] = NewText(list[i]);
}

void XCmdArgument::FreeVector() {
  for (std::int32_t i = 0; i < count; ++i) delete[] vector[i];
  delete[] vector;
  vector = nullptr;
  count = 0;
}
