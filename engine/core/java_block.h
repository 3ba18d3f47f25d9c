// One run of a Java extension. Its block begins with the command: the class of the extension, and where its
// jar is; the lines behind that go to the extension as they are.
//
//   WordCount                          the class WordCount in WordCount.jar in extensions/ of the home
//   WordCount /PATH="jars:more/jars"   the same in one of these directories
//   WordCount /JARS="a.jar:b.jar"      in one of these jars
//
// Each run is a process of its own, which gets a number and then that many bytes on its socket, and which
// tells at the end that its work is done: without that word it has failed. A run inside another one has a
// socket and a runtime of its own as well, so an object of this class lives as long as its run.
#ifndef JAVA_BLOCK_H
#define JAVA_BLOCK_H

#include <string>
#include <vector>

#include "JavaPlugInSocket.h"
#include "OutpStatisticsX.h"
#include "XConfigOptions.h"

inline constexpr const char* kJavaExtension = "JAVAEXTENSION";

class JavaBlock {
 public:
  explicit JavaBlock(XConfigOptions* options);
  JavaBlock(const JavaBlock&) = delete;
  JavaBlock& operator=(const JavaBlock&) = delete;
  ~JavaBlock();

  // Fills the message to the extension. False when the first line is no command.
  bool Fill(const std::vector<std::string>& lines);
  // Puts into the environment of the process where it finds the engine: the id of the session's fifos and the
  // nesting level.
  void TellLevel(int level);
  OutpStatisticsX& Runtime() { return runtime; }

 private:
  XConfigOptions* options;
  JavaPlugInSocket* outer_socket;
  JavaPlugInSocket socket;
  OutpStatisticsX runtime;
};

#endif
