// Shows what a session puts out, to a person or to a program. Everything goes to standard output as it comes,
// failures for a person to standard error.
#ifndef PRESENTER_H
#define PRESENTER_H

#include <memory>
#include <string>

#include "text_table.h"

struct Failure {
  std::string place;  // "FILE:12"; empty for none
  int code = 0;
  std::string reason;
};

class Presenter {
 public:
  virtual ~Presenter() = default;

  virtual void Text(const std::string& text) = 0;
  // 1 the page, 2 a procedure, 3 a table.
  virtual void Heading(int level, const std::string& text) = 0;
  virtual void Table(const TextTable& table) = 0;
  virtual void Image(const std::string& path, const std::string& label) = 0;
  virtual void Note(const std::string& text) = 0;
  // A drawing, and what it shows in words.
  virtual void Plot(const std::string& svg, const std::string& words) = 0;
  virtual void Failed(const Failure& failure) = 0;
  // A command that went well.
  virtual void Done(const std::string& place, double seconds) = 0;
  // What takes long, in a line that goes when something else comes. Empty: nothing does any more.
  virtual void Progress(const std::string&) {}

  // A line of the backend's output stream.
  void Show(const std::string& line);
};

// For a person; `width` 0 is the terminal's.
std::unique_ptr<Presenter> MakeTextPresenter(std::size_t width);
// An object of JSON on a line of its own for each thing.
std::unique_ptr<Presenter> MakeJsonPresenter();

#endif
