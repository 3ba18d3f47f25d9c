// Cases as a cursor gives them: blocks, laid out as the types of the variables say.
#ifndef PROVE_CASES_H
#define PROVE_CASES_H

#include "prove.h"

inline constexpr std::size_t kUnit = 8;  // bytes
inline constexpr std::int32_t kEndOfData = 23, kEndOfSplit = 67;

struct Layout {
  std::vector<std::string> names;
  std::vector<std::int32_t> types;
  std::vector<std::size_t> offsets;  // bytes
  std::size_t bytes = 0;             // of a case
};
// As the procedure's dictionary has it; empty where that is not served.
Layout AskLayout(TriedSession& session);

class Cursor {
 public:
  Cursor(TriedSession& in_session, const Layout& of_layout) : session(in_session), layout(of_layout) {}
  bool Open(const char* access);
  // Up to so many cases behind those that came; fewer at the end.
  std::string Next(int wanted);
  bool AtEnd() const { return end; }
  void Close();

 private:
  TriedSession& session;
  const Layout& layout;
  bool end = false;
};

double NumberAt(const std::string& cases, const Layout& layout, std::size_t at, std::size_t variable);
std::string TextAt(const std::string& cases, const Layout& layout, std::size_t at, std::size_t variable);

#endif
