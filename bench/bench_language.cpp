// A language for language_bench: a block is a number, and runs that many calls of the client API.
#include <cstdlib>

#include "vexaxd_p.h"

extern "C" {
VEXA_API int init_embedded_x(int, char**) { return 0; }
VEXA_API int stop_embedded_x() { return 0; }
VEXA_API int pre_action() { return 0; }
VEXA_API int post_action() { return 0; }
VEXA_API int execute_x(char* lines) {
  int code = 0;
  for (long calls = std::atol(lines); calls > 0 && code == 0; --calls) GetVariableCount(&code);
  return code;
}
}
