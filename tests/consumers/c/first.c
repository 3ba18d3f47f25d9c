/* What a program needs of an installed library: it finds it, it runs, and the home is found without being
 * named. */
#include <stdio.h>
#include <vexaxd_p.h>

int main(int count, char** words) {
  int error = StartVexa(count > 1 ? words[1] : "");
  if (error != 0) {
    fprintf(stderr, "%s\n", VexaLastError());
    return 1;
  }
  printf("%s: %d variables\n", VexaVersion(), GetVariableCount(&error));
  StopVexa();
  return error;
}
