/* blocks DATA.csv: a C program has the backend run blocks of Python. They run in a process of their own,
 * which the backend starts for the first block and keeps: what a block leaves there, the next one finds. Each
 * block may use the client API, and its code is what Submit gives.
 *
 * The home of the backend's installation comes from VEXA_HOME.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vexaxd_p.h"

static int Run(const char* lines) {
  static const char* const kOpen = "LANGUAGE PYTHON.\n";
  static const char* const kClose = "\nEND LANGUAGE.\n";
  char text[2048];
  snprintf(text, sizeof text, "%s%s%s", kOpen, lines, kClose);
  return Submit(text, (int)strlen(text));
}

/* What the blocks have printed stands in the backend's output, one text for each. */
static void PrintOutput(void) {
  int error = 0;
  CreateXPathDictionary("output");
  void* texts = EvaluateXPath("output", "", "//text/text()", &error);
  for (int i = 0; error == 0 && i < GetStringListLength(texts); ++i)
    printf("  %s", GetStringFromList(texts, i));
  RemoveStringList(texts);
  RemoveXPathHandle("output");
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: blocks DATA.csv\n");
    return EXIT_FAILURE;
  }
  char options[4096 + 16];
  snprintf(options, sizeof options, "-data \"%s\"", argv[1]);
  const int code = StartVexa(options);
  if (code != 0) {
    fprintf(stderr, "blocks: the backend did not start: code %d\n", code);
    return EXIT_FAILURE;
  }
  printf("count: code %d\n", Run("import vexaxd\n"
                                 "hot = sum(case['Temp'] > 90 for case in vexaxd.cases('Temp'))\n"
                                 "print(vexaxd.GetRowCount(), 'cases,', hot, 'of them hot')"));
  printf("again: code %d\n", Run("print('still known:', hot)"));
  printf("fault: code %d\n", Run("print(hot / 0)"));
  printf("after: code %d\n", Run("print('not harmed:', hot)"));
  printf("output:\n");
  PrintOutput();
  StopVexa();
  return EXIT_SUCCESS;
}
