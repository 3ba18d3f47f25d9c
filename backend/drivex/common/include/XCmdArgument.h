// XCmdArgument: a list of program arguments, in the plain forms that execve wants. The plain forms are
// copies, built when they are asked for; they live until they are built anew or the object goes.
//
// One flag says that the list has changed since a plain form was built, and building either form clears it.
// So after cmdline() the vector is not rebuilt until the list changes again, and the other way round.
#ifndef XCMDARGUMENT_H
#define XCMDARGUMENT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vexa_api.h"

class VEXA_API XCmdArgument {
 public:
  XCmdArgument() = default;
  // Copies the strings. The list does not count as changed: argc() gives 0 until something changes it.
  XCmdArgument(int argc, char** argv);
  // Cuts the text at each blank; two blanks in a row give an empty argument. An empty text gives an empty
  // list.
  explicit XCmdArgument(const std::string& text);
  XCmdArgument(const XCmdArgument&) = delete;
  XCmdArgument& operator=(const XCmdArgument&) = delete;

  // Appends. The flag changes nothing.
  void pushArgument(const std::string& argument, bool flag = false);
  // An index outside the list does nothing.
  void modifyArgument(int index, const std::string& argument);
  // Null for an index outside the list.
  const char* argumentAt(int index) const;

  int argc();
  // Ends with a null entry; null for an empty list.
  char** argv();
  // All arguments, each with a blank in front of it; null for an empty list.
  char* cmdline();

 private:
  void BuildVector();

  bool modified = false;
  std::vector<std::string> list;
  std::int32_t count = 0;
  std::vector<std::string> copies;  // what `vector` points at
  std::vector<char*> vector;
  std::optional<std::string> line;
};

#endif
