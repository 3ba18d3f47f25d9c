#include "XCmdArgument.h"

#include "text.h"

XCmdArgument::XCmdArgument(int argc, char** argv) : list(argv, argv + (argc > 0 ? argc : 0)) {}

XCmdArgument::XCmdArgument(const std::string& text) {
  if (text.empty()) return;
  list = GetListFromDelims(text, " ");
  modified = true;
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
  return vector.empty() ? nullptr : vector.data();
}

char* XCmdArgument::cmdline() {
  if (modified) {
    modified = false;
    line.reset();
    for (const std::string& argument : list) line = line.value_or("") + " " + argument;
  }
  return line ? line->data() : nullptr;
}

void XCmdArgument::BuildVector() {
  if (!modified) return;
  modified = false;
  copies = list;
  count = static_cast<std::int32_t>(copies.size());
  vector.clear();
  if (copies.empty()) return;
  for (std::string& copy : copies) vector.push_back(copy.data());
  vector.push_back(nullptr);
}
