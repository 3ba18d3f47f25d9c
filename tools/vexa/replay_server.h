// The backend's side of a recorded session, played to the program that started this process as its backend.
#ifndef REPLAY_SERVER_H
#define REPLAY_SERVER_H

#include <string>
#include <vector>

#include "described.h"
#include "record.h"

// Where the servers of one run of a program, one for each session, find their turns and leave what they saw.
class ReplayNotes {
 public:
  // Without a directory there is one session, and nobody reads the notes.
  explicit ReplayNotes(std::string of_directory) : directory(std::move(of_directory)) {}
  // 1, 2, ... for each session of the run.
  std::size_t TakeTurn() const;
  // Tells a person how the program differs from the record, and notes that it does.
  void Differs(const std::string& text) const;

  // For the run: how many sessions began, once all have ended, and then whether something differed. A program
  // that died leaves a server that notices it a moment later.
  std::size_t AwaitTurns() const;
  bool Any() const;

 private:
  std::string File(const std::string& name) const { return directory + "/" + name; }
  std::string directory;
};

struct ServeOptions {
  std::size_t session = 1;         // where there are no notes
  bool any_order = false;          // requests that the record has elsewhere are answered, too
  bool languages = false;          // blocks run in processes of their languages
  std::vector<std::string> words;  // of StartXD: directory, id, language, options
};

// Until the program ends the session or goes away. The exit code of the process.
int ServeRecord(const Record& record, const Description& description, const ServeOptions& options,
                const ReplayNotes& notes);

#endif
