/* merge FIRST.csv SECOND.csv OUT.csv: adds to FIRST what SECOND has more, and saves the result. Row by row
 * the two files are about the same cases. Columns that FIRST lacks are filled in cell by cell; rows beyond
 * FIRST's last one are added as whole cases.
 *
 * The home of the backend's installation comes from VEXA_HOME, and the directory of the fifos, which should
 * be the user's alone, from VEXADXTEMP. merge.py is the same program in Python.
 */
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "vexaxd_p.h"

enum { kFailed = -1, kMostName = 256 };

static const char kFirst[] = "*"; /* the active dataset; the one of -data has no name of its own */
static const char kSecond[] = "second";

/* Where a column of SECOND, given by its place there, stands in FIRST. */
struct Column {
  int to;
  int width; /* in SECOND: 0 for a number, else the bytes of the text */
  bool added;
};

static int Report(const char* call, int code) {
  if (code != 0) fprintf(stderr, "merge: %s failed with code %d\n", call, code);
  return code;
}

static int Fail(const char* subject, const char* reason) {
  fprintf(stderr, "merge: %s %s\n", subject, reason);
  return kFailed;
}

/* Both datasets, and how large they are. */
static int Enter(const char* name, int* variables, long* cases) {
  int code = CreateDataset(name, false, false);
  if (code != 0) return Report("CreateDataset", code);
  *variables = GetVarCountInDS(name, &code);
  if (code != 0) return Report("GetVarCountInDS", code);
  *cases = GetCaseCountInDS(name, &code);
  return Report("GetCaseCountInDS", code);
}

/* Makes sure that FIRST has a place for a column of SECOND: behind the others, or the one of that name, wide
 * enough. */
static int Place(int from, int* first_variables, struct Column* column) {
  char name[kMostName]; /* the library's text lives until its next one */
  int code = 0;
  snprintf(name, sizeof name, "%s", GetVarNameInDS(kSecond, from, &code));
  if (code != 0) return Report("GetVarNameInDS", code);
  column->width = GetVarTypeInDS(kSecond, from, &code);
  if (code != 0) return Report("GetVarTypeInDS", code);
  for (column->to = 0; column->to < *first_variables; ++column->to) {
    const char* there = GetVarNameInDS(kFirst, column->to, &code);
    if (code != 0) return Report("GetVarNameInDS", code);
    if (strcasecmp(there, name) == 0) break;
  }
  if (column->to == *first_variables) {
    column->added = true;
    ++*first_variables;
    return Report("InsertVariable", InsertVariable(kFirst, column->to, name, column->width));
  }
  const int width = GetVarTypeInDS(kFirst, column->to, &code);
  if (code != 0) return Report("GetVarTypeInDS", code);
  if ((width == 0) != (column->width == 0))
    return Fail(name, "is a number in one file and a text in the other");
  return column->width > width ? Report("SetVarTypeInDS", SetVarTypeInDS(kFirst, column->to, column->width))
                               : 0;
}

/* All values are read before the first is written: a read would send what is written so far, and its code
 * would be lost. What is written goes out together, with CommitDataSet. */
static int CopyNumbers(int from, int to, long rows) {
  double* values = malloc((size_t)rows * sizeof *values);
  if (values == NULL) return Fail("the program", "is out of memory");
  int code = 0;
  int missing = 0; /* a missing value is a number like any other, and copied as it is */
  for (long row = 0; row < rows && code == 0; ++row) {
    values[row] = GetNCellValue(kSecond, row, from, &missing, &code);
  }
  for (long row = 0; row < rows && code == 0; ++row) code = SetNCellValue(kFirst, row, to, values[row]);
  free(values);
  return Report("Copying a number", code != 0 ? code : CommitDataSet());
}

static int CopyTexts(int from, int to, int width, long rows) {
  const size_t room = (size_t)width + 1;
  char* values = calloc((size_t)rows, room);
  if (values == NULL) return Fail("the program", "is out of memory");
  int code = 0;
  int missing = 0;
  for (long row = 0; row < rows && code == 0; ++row) {
    const char* value = GetCCellValue(kSecond, row, from, &missing, &code);
    if (value != NULL) snprintf(values + (size_t)row * room, room, "%s", value);
  }
  for (long row = 0; row < rows && code == 0; ++row) {
    code = SetCCellValue(kFirst, row, to, values + (size_t)row * room);
  }
  free(values);
  return Report("Copying a text", code != 0 ? code : CommitDataSet());
}

/* The case at `row` of both datasets is loaded; values go from one to the other on this side alone. */
static int CopyValue(int from, const struct Column* column) {
  int code = 0;
  int missing = 0;
  if (column->width == 0) {
    const double value = GetNCellValueFromCache(kSecond, from, &missing, &code);
    return code != 0 ? code : SetNCellValueFromCache(kFirst, column->to, value);
  }
  char* text = GetCCellValueFromCache(kSecond, from, &code);
  if (code == 0) code = SetCCellValueFromCache(kFirst, column->to, text);
  FreeString(text);
  return code;
}

static int AddCase(long row, const struct Column* columns, int* targets, int count) {
  int code = InsertCase(kFirst, row);
  if (code != 0) return Report("InsertCase", code);
  int size = 0;
  GetCaseValue(kSecond, (int)row, false, &size, &code);
  if (code == 0) GetCaseValue(kFirst, (int)row, false, &size, &code);
  if (code != 0) return Report("GetCaseValue", code);
  for (int from = 0; from < count && code == 0; ++from) code = CopyValue(from, &columns[from]);
  if (code != 0) return Report("Copying a case", code);
  return Report("SetCasePartValue", SetCasePartValue(kFirst, row, targets, false, count));
}

static int MergeInto(struct Column* columns, int* targets, int first_variables, long first_cases, int count,
                     long second_cases) {
  const long common = first_cases < second_cases ? first_cases : second_cases;
  int added = 0;
  int code = 0;
  for (int from = 0; from < count && code == 0; ++from) code = Place(from, &first_variables, &columns[from]);
  for (int from = 0; from < count && code == 0; ++from) {
    const struct Column* column = &columns[from];
    targets[from] = column->to;
    added += column->added;
    if (!column->added || common == 0) continue;
    code = column->width == 0 ? CopyNumbers(from, column->to, common)
                              : CopyTexts(from, column->to, column->width, common);
  }
  long row = first_cases;
  for (; row < second_cases && code == 0; ++row) code = AddCase(row, columns, targets, count);
  if (code != 0) return code;
  printf("%d columns and %ld cases added: %d variables, %ld cases\n", added, row - first_cases,
         first_variables, row);
  return 0;
}

static int Merge(const char* second, const char* path) {
  char command[8192];
  int length =
      snprintf(command, sizeof command, "GET DATA /TYPE=CSV /FILE=\"%s\" /DATASET=%s.", second, kSecond);
  int code = Submit(command, length);
  if (code != 0) return Report("Submit", code);
  code = StartDataStep();
  if (code != 0) return Report("StartDataStep", code);
  int first_variables = 0, second_variables = 0;
  long first_cases = 0, second_cases = 0;
  code = Enter(kFirst, &first_variables, &first_cases);
  if (code == 0) code = Enter(kSecond, &second_variables, &second_cases);
  if (code != 0) return code;
  struct Column* columns = calloc((size_t)second_variables + 1, sizeof *columns);
  int* targets = calloc((size_t)second_variables + 1, sizeof *targets);
  code = columns == NULL || targets == NULL
             ? Fail("the program", "is out of memory")
             : MergeInto(columns, targets, first_variables, first_cases, second_variables, second_cases);
  free(columns);
  free(targets);
  if (code == 0) code = Report("EndDataStep", EndDataStep());
  if (code != 0) return code;
  length = snprintf(command, sizeof command, "SAVE /TYPE=CSV /FILE=\"%s\".", path);
  return Report("Submit", Submit(command, length));
}

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: merge FIRST.csv SECOND.csv OUT.csv\n");
    return EXIT_FAILURE;
  }
  for (int i = 1; i < argc; ++i) {
    if (strlen(argv[i]) > 4096 || strchr(argv[i], '"') != NULL) {
      Fail(argv[i], "is too long for a path, or holds a double quote");
      return EXIT_FAILURE;
    }
  }
  char command[8192];
  snprintf(command, sizeof command, "-data \"%s\"", argv[1]);
  signal(SIGPIPE, SIG_IGN); /* a backend that died gives a code then */
  int code = Report("StartVexa", StartVexa(command));
  if (code == 0) code = Merge(argv[2], argv[3]);
  StopVexa(); /* without effect when no backend runs */
  return code == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
