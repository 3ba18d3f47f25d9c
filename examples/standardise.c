/* standardise DATA.csv VARIABLE OUT.csv: adds two variables to the data and saves them as a CSV file.
 * z<VARIABLE> is the distance from the mean in standard deviations, <VARIABLE>Group says "low" below -1,
 * "high" above 1 and "middle" between. Where VARIABLE is missing, both are.
 *
 * The home of the backend's installation comes from VEXA_HOME, and the directory of the fifos, which should
 * be the user's alone, from VEXADXTEMP. standardise.py is the same program in Python.
 */
#include <math.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vexaxd_p.h"

/* Numbers of the interface and of the backend that this program uses. */
enum { kValid = 0, kEndOfData = 23 };
enum { kNumber = 0, kFormatF = 2, kOrdinal = 2 };
enum { kFailed = -1 };

struct Figures {
  long cases;
  long valid;
  double mean;
  double deviation;
};

static int Report(const char* call, int code) {
  if (code != 0) fprintf(stderr, "standardise: %s failed with code %d\n", call, code);
  return code;
}

static int Fail(const char* subject, const char* reason) {
  fprintf(stderr, "standardise: %s %s\n", subject, reason);
  return kFailed;
}

static int FindNumber(const char* variable, int* index) {
  int code = 0;
  const int count = GetVariableCount(&code);
  if (code != 0) return Report("GetVariableCount", code);
  for (*index = 0; *index < count; ++*index) {
    const char* name = GetVariableName(*index, &code);
    if (name == NULL) return Report("GetVariableName", code);
    if (strcmp(name, variable) == 0) break;
  }
  if (*index == count) return Fail(variable, "is no variable of the data");
  const int type = GetVariableType(*index, &code);
  if (code != 0) return Report("GetVariableType", code);
  return type == kNumber ? 0 : Fail(variable, "is a text");
}

/* The first pass, over a cursor that reads. */
static int Measure(int index, struct Figures* figures) {
  double squares = 0; /* of the distances from the mean, by Welford's method */
  int code = MakeCaseCursor("r");
  if (code != 0) return Report("MakeCaseCursor", code);
  for (; (code = NextCase()) == 0; ++figures->cases) {
    double value = 0;
    int missing = 0;
    code = GetNumericValue((unsigned)index, &value, &missing);
    if (code != 0) return Report("GetNumericValue", code);
    if (missing != kValid) continue;
    const double distance = value - figures->mean;
    figures->mean += distance / (double)++figures->valid;
    squares += distance * (value - figures->mean);
  }
  if (code != kEndOfData) return Report("NextCase", code);
  if (figures->valid > 1) figures->deviation = sqrt(squares / (double)(figures->valid - 1));
  return Report("RemoveCaseCursor", RemoveCaseCursor());
}

/* New variables are declared, described, and there from CommitHeader on: missing in all cases. */
static int Declare(char* score, char* group, const char* variable) {
  char label[256];
  char* names[] = {score, group};
  int types[] = {kNumber, (int)strlen("middle")};
  int code = SetVarNameAndType(names, types, 2);
  if (code != 0) return Report("SetVarNameAndType", code);
  snprintf(label, sizeof label, "%s, standardised", variable);
  code = SetVarLabel(score, label);
  if (code == 0) code = SetVarLabel(group, "Below -1, within, above 1 standard deviation");
  if (code != 0) return Report("SetVarLabel", code);
  code = SetVarFormat(score, kFormatF, 8, 3);
  if (code != 0) return Report("SetVarFormat", code);
  code = SetVarMeasureLevel(group, kOrdinal);
  if (code != 0) return Report("SetVarMeasureLevel", code);
  return Report("CommitHeader", CommitHeader());
}

/* The second pass, over a cursor that writes: values go to the current case by name, and are there with
 * CommitCaseRecord. A case without values is passed over. */
static int Write(int index, const struct Figures* figures, const char* score, const char* group) {
  int counts[3] = {0};
  int code = MakeCaseCursor("w");
  if (code != 0) return Report("MakeCaseCursor", code);
  while ((code = NextCase()) == 0) {
    double value = 0;
    int missing = 0;
    code = GetNumericValue((unsigned)index, &value, &missing);
    if (code != 0) return Report("GetNumericValue", code);
    if (missing != kValid) continue;
    static const char* const kGroups[] = {"low", "middle", "high"};
    const double z = (value - figures->mean) / figures->deviation;
    const int at = z < -1 ? 0 : z > 1 ? 2 : 1;
    ++counts[at];
    code = SetValueNumeric(score, z);
    if (code != 0) return Report("SetValueNumeric", code);
    code = SetValueChar(group, kGroups[at], (int)strlen(kGroups[at]));
    if (code != 0) return Report("SetValueChar", code);
    code = CommitCaseRecord();
    if (code != 0) return Report("CommitCaseRecord", code);
  }
  if (code != kEndOfData) return Report("NextCase", code);
  code = RemoveCaseCursor();
  if (code != 0) return Report("RemoveCaseCursor", code);
  printf("%s: %d low, %d middle, %d high\n", group, counts[0], counts[1], counts[2]);
  return Report("EndChanges", EndChanges());
}

static int Save(const char* path) {
  char command[8192];
  const int length = snprintf(command, sizeof command, "SAVE /TYPE=CSV /FILE=\"%s\".", path);
  return Report("Submit", Submit(command, length));
}

static int Standardise(const char* variable, const char* path) {
  struct Figures figures = {0};
  char score[128];
  char group[128];
  int index = 0;
  int code = FindNumber(variable, &index);
  if (code == 0) code = Measure(index, &figures);
  if (code != 0) return code;
  if (!(figures.deviation > 0)) return Fail(variable, "has no two values that differ");
  printf("%s: %ld of %ld cases valid, mean %.10g, standard deviation %.10g\n", variable, figures.valid,
         figures.cases, figures.mean, figures.deviation);
  snprintf(score, sizeof score, "z%s", variable);
  snprintf(group, sizeof group, "%sGroup", variable);
  code = Declare(score, group, variable);
  if (code == 0) code = Write(index, &figures, score, group);
  return code == 0 ? Save(path) : code;
}

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: standardise DATA.csv VARIABLE OUT.csv\n");
    return EXIT_FAILURE;
  }
  char command[8192];
  const int length = snprintf(command, sizeof command, "-data \"%s\"", argv[1]);
  if (length >= (int)sizeof command || strlen(argv[3]) > 4096 || strchr(argv[1], '"') != NULL ||
      strchr(argv[3], '"') != NULL) {
    Fail("a path", "is too long or holds a double quote");
    return EXIT_FAILURE;
  }
  signal(SIGPIPE, SIG_IGN); /* a backend that died gives a code then */
  int code = Report("StartVexa", StartVexa(command));
  if (code == 0) code = Standardise(argv[2], argv[3]);
  StopVexa(); /* without effect when no backend runs */
  return code == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
