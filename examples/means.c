/* Prints the mean of each numeric column of a file, from the stream of its columns: means DATA.csv */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vexaxd_columns.h"
#include "vexaxd_p.h"

int main(int argc, char** argv) {
  char command[4096];
  struct ArrowArrayStream stream;
  struct ArrowSchema schema;
  struct ArrowArray cases;
  snprintf(command, sizeof command, "-data \"%s\"", argc == 2 ? argv[1] : "");
  if (StartVexa(command) != 0 || VexaReadColumns(NULL, NULL, 0, VEXA_ALL_ROWS, 0, &stream) != 0) {
    fprintf(stderr, "means: %s\n", VexaLastError());
    StopVexa();
    return EXIT_FAILURE;
  }
  int failed = stream.get_schema(&stream, &schema) != 0 || stream.get_next(&stream, &cases) != 0;
  if (failed) fprintf(stderr, "means: %s\n", stream.get_last_error(&stream));
  for (int64_t i = 0; !failed && i < schema.n_children; ++i) {
    if (strcmp(schema.children[i]->format, "g") != 0) continue;
    const double* values = cases.children[i]->buffers[1];
    double sum = 0;
    for (int64_t row = 0; row < cases.length; ++row)
      if (values[row] == values[row]) sum += values[row]; /* NaN lies under the nulls */
    printf("%s %.10g\n", schema.children[i]->name,
           sum / (double)(cases.length - cases.children[i]->null_count));
  }
  if (!failed) schema.release(&schema), cases.release(&cases);
  stream.release(&stream);
  StopVexa();
  return failed ? EXIT_FAILURE : EXIT_SUCCESS;
}
