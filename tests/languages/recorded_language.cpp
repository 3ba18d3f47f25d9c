// A language library that writes down what is asked of it, to the file that LANGUAGE_LOG names; nothing
// without one. A variable of the environment with a function's name gives the function's result, or has it
// throw. Definitions take functions out: WITHOUT_INIT, WITHOUT_EXECUTE, WITHOUT_OPTIONAL; with UNRESOLVED the
// library refers to a function that is nowhere.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

void Record(const std::string& text) {
  if (const char* const log = std::getenv("LANGUAGE_LOG")) std::ofstream(log, std::ios::app) << text << "\n";
}

int Answer(const char* function, const std::string& arguments = "") {
  Record(function + arguments);
  const char* const result = std::getenv(function);
  if (result != nullptr && std::string(result) == "throw 42") throw 42;
  if (result != nullptr && std::string(result) == "throw") throw std::runtime_error(function);
  return result != nullptr ? std::atoi(result) : 0;
}

// What the library finds in the environment while it is loaded.
[[maybe_unused]] const bool loaded = [] {
  const char* const path = std::getenv("LANGUAGE_PATH");
  if (path != nullptr) Record(std::string("loaded with ") + path);
  return true;
}();

}  // namespace

extern "C" {

#ifndef WITHOUT_OPTIONAL
void setup_dxcallback(void* handle) {
  Answer("setup_dxcallback", std::string(" ") + static_cast<const char*>(handle));
}
void set_post_vexa_output(int (*post)(const char* text, int length)) {
  Answer("set_post_vexa_output", " " + std::to_string(post("text", 4)));
}
#endif

#ifndef WITHOUT_INIT
int init_embedded_x(int argc, char** argv) {
  std::string arguments = " " + std::to_string(argc);
  for (int i = 0; i < argc; ++i) arguments += std::string(" ") + argv[i];
  return Answer("init_embedded_x", arguments);
}
#endif

#ifndef WITHOUT_EXECUTE
int execute_x(char* lines) { return Answer("execute_x", std::string(" ") + lines); }
#endif

#ifdef UNRESOLVED
int FunctionThatIsNowhere();
int stop_embedded_x() { return FunctionThatIsNowhere(); }
#else
int stop_embedded_x() { return Answer("stop_embedded_x"); }
#endif
int pre_action() { return Answer("pre_action"); }
int post_action() { return Answer("post_action"); }
}
