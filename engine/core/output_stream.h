// The output for a program that shows it while it comes: each thing as soon as it is there, as an element of
// the output page on a line of its own. A line end within an element stands as "&#10;".
//
//   <pre>three&#10;</pre>
//   <h2>Summary</h2>
//   <h3>Statistics</h3>
//   <table><thead>...</thead><tbody>...</tbody></table>
//
// Posted texts, headings, graphics and notes come at once. A table comes when something else follows it, when
// its procedure ends, or when the command is done; one that was addressed again meanwhile comes again, whole.
#ifndef OUTPUT_STREAM_H
#define OUTPUT_STREAM_H

#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "descriptor.h"

class OutputStream {
 public:
  OutputStream() = default;
  // A file, or a fifo that the program reads. Throws Refusal.
  explicit OutputStream(const std::string& path);

  explicit operator bool() const { return file.Number() != -1; }
  // A part of a character at the end of the text waits for the next one.
  void SendText(std::string_view text);
  // Everything in the element, a line each.
  void SendAll(pugi::xml_node body);

 private:
  void Send(pugi::xml_node element);

  Descriptor file;
  std::string part;  // of a character
};

#endif
