/* summary DATA.csv [OUTPUT-PREFIX]: starts the backend with a CSV file, lists the dictionary, walks all cases
 * once and prints what it found: counts, mean, standard deviation and extremes of the numbers, distinct
 * values of the texts. The same goes into the backend's output as a table; with a prefix the backend writes
 * that to OUTPUT-PREFIX.txt and OUTPUT-PREFIX.html.
 *
 * The home of the backend's installation comes from VEXA_HOME. summary.py is the same program in Python; the
 * two print the same text.
 */
#include <dirent.h>
#include <limits.h>
#include <math.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "vexaxd_p.h"

enum { kValid, kUserMissing, kSystemMissing, kMissingStates };
enum { kEndOfData = 23, kInterrupted = -1, kNoMemory = -2 };

/* The distinct texts of a variable: a hash table with open addressing, at most half full. */
struct Text {
  char* bytes;
  size_t length;
  uint64_t hash;
};

struct TextSet {
  struct Text* slots;
  size_t capacity;
  size_t count;
};

struct Variable {
  char* name;
  int width; /* 0 for a number, else the bytes of the text */
  long counts[kMissingStates];
  double mean;
  double squares; /* sum of the squared distances from the mean */
  double min;
  double max;
  struct TextSet texts;
};

static volatile sig_atomic_t interrupted = 0;

static void Interrupt(int number) {
  (void)number;
  interrupted = 1;
}

/* A write to a backend that died must give a code and not end this program, and a user's interrupt must not
 * leave the backend and its fifos behind: the call that it falls into fails, and the program ends in its
 * ordinary way. */
static void SetSignals(void) {
  struct sigaction action = {0};
  action.sa_handler = Interrupt;
  sigaction(SIGINT, &action, NULL);
  sigaction(SIGTERM, &action, NULL);
  sigaction(SIGHUP, &action, NULL);
  signal(SIGPIPE, SIG_IGN);
}

static int Report(const char* call, int code) {
  if (interrupted) code = kInterrupted;
  if (code == kInterrupted) {
    fprintf(stderr, "summary: interrupted\n");
  } else if (code == kNoMemory) {
    fprintf(stderr, "summary: out of memory\n");
  } else if (code != 0) {
    fprintf(stderr, "summary: %s failed with code %d\n", call, code);
  }
  return code;
}

/* --- Distinct texts --- */

static uint64_t HashOf(const char* bytes, size_t length) {
  uint64_t hash = 14695981039346656037u; /* FNV-1a */
  for (size_t i = 0; i < length; ++i) hash = (hash ^ (unsigned char)bytes[i]) * 1099511628211u;
  return hash;
}

/* The slot that holds the text, or the empty one where it belongs. */
static struct Text* FindSlot(const struct TextSet* set, const char* bytes, size_t length, uint64_t hash) {
  size_t at = (size_t)hash & (set->capacity - 1);
  for (;; at = (at + 1) & (set->capacity - 1)) {
    struct Text* slot = &set->slots[at];
    if (slot->bytes == NULL) return slot;
    if (slot->hash == hash && slot->length == length && memcmp(slot->bytes, bytes, length) == 0) return slot;
  }
}

static int Grow(struct TextSet* set) {
  struct TextSet larger = {NULL, set->capacity != 0 ? set->capacity * 2 : 64, set->count};
  larger.slots = calloc(larger.capacity, sizeof *larger.slots);
  if (larger.slots == NULL) return kNoMemory;
  for (size_t i = 0; i < set->capacity; ++i) {
    const struct Text* text = &set->slots[i];
    if (text->bytes != NULL) *FindSlot(&larger, text->bytes, text->length, text->hash) = *text;
  }
  free(set->slots);
  *set = larger;
  return 0;
}

static int AddText(struct TextSet* set, const char* bytes, size_t length) {
  if (set->count * 2 >= set->capacity && Grow(set) != 0) return kNoMemory;
  const uint64_t hash = HashOf(bytes, length);
  struct Text* slot = FindSlot(set, bytes, length, hash);
  if (slot->bytes != NULL) return 0;
  char* copy = malloc(length + 1);
  if (copy == NULL) return kNoMemory;
  memcpy(copy, bytes, length);
  *slot = (struct Text){copy, length, hash};
  ++set->count;
  return 0;
}

static void FreeVariables(struct Variable* variables, int count) {
  for (int i = 0; variables != NULL && i < count; ++i) {
    struct TextSet* texts = &variables[i].texts;
    for (size_t k = 0; k < texts->capacity; ++k) free(texts->slots[k].bytes);
    free(texts->slots);
    free(variables[i].name);
  }
  free(variables);
}

/* --- The dictionary --- */

static void PrintNumber(double value) {
  if (isnan(value)) {
    printf("nan");
  } else {
    printf("%.10g", value);
  }
}

static void PrintRangeEnd(double value, double low, double high) {
  if (value == low) {
    printf("lowest");
  } else if (value == high) {
    printf("highest");
  } else {
    PrintNumber(value);
  }
}

static int PrintNumericMissing(int index) {
  int format = 0;
  double values[3] = {0};
  double low = 0;
  double high = 0;
  int code = GetVarNMissingValues(index, &format, &values[0], &values[1], &values[2]);
  if (code != 0) return Report("GetVarNMissingValues", code);
  code = GetVEXALowHigh(&low, &high);
  if (code != 0) return Report("GetVEXALowHigh", code);
  if (format == 0) return 0;
  printf("  missing:");
  for (int i = 0; i < format; ++i) {
    printf(" ");
    PrintNumber(values[i]);
  }
  if (format == -2 || format == -3) {
    printf(" ");
    PrintRangeEnd(values[0], low, high);
    printf(" to ");
    PrintRangeEnd(values[1], low, high);
  }
  if (format == -3) {
    printf(" and ");
    PrintNumber(values[2]);
  }
  printf("\n");
  return 0;
}

static int PrintTextMissing(int index) {
  int format = 0;
  char values[3][8]; /* eight bytes each, without a terminator */
  const int code = GetVarCMissingValues(index, &format, values[0], values[1], values[2]);
  if (code != 0) return Report("GetVarCMissingValues", code);
  if (format == 0) return 0;
  printf("  missing:");
  for (int i = 0; i < format; ++i) printf(" \"%.8s\"", values[i]);
  printf("\n");
  return 0;
}

/* Prints one variable and fills in its name and width. */
static int ReadVariable(int index, struct Variable* variable) {
  int code = 0;
  const char* name = GetVariableName(index, &code);
  if (name == NULL) return Report("GetVariableName", code);
  variable->name = strdup(name); /* the library's text lives until its next one */
  if (variable->name == NULL) return Report("strdup", kNoMemory);
  variable->width = GetVariableType(index, &code);
  if (code != 0) return Report("GetVariableType", code);
  const char* format = GetVariableFormat(index, &code);
  if (format == NULL) return Report("GetVariableFormat", code);
  printf("%s: %s %s", variable->name, variable->width == 0 ? "number" : "text", format);

  int type = 0;
  int width = 0;
  int decimals = 0;
  code = GetVariableFormatType(index, &type, &width, &decimals);
  if (code != 0) return Report("GetVariableFormatType", code);
  const int level = GetVariableMeasurementLevel(index, &code);
  if (code != 0) return Report("GetVariableMeasurementLevel", code);
  const int role = GetVariableRole(index, &code);
  if (code != 0) return Report("GetVariableRole", code);
  printf(" (type %d, width %d, decimals %d), level %d, role %d\n", type, width, decimals, level, role);

  const char* label = GetVariableLabel(index, &code);
  if (label == NULL) return Report("GetVariableLabel", code);
  if (label[0] != '\0') printf("  label: %s\n", label);
  return variable->width == 0 ? PrintNumericMissing(index) : PrintTextMissing(index);
}

/* --- The cases --- */

/* Welford's method: one pass, and no small difference of large sums. */
static void AddNumber(struct Variable* variable, double value) {
  const long count = variable->counts[kValid];
  const double distance = value - variable->mean;
  variable->mean += distance / (double)count;
  variable->squares += distance * (value - variable->mean);
  if (count == 1 || value < variable->min) variable->min = value;
  if (count == 1 || value > variable->max) variable->max = value;
}

/* Adds the current case. `buffer` has room for the widest text. */
static int AddCase(struct Variable* variables, int count, char* buffer) {
  for (int i = 0; i < count; ++i) {
    struct Variable* variable = &variables[i];
    int missing = 0;
    if (variable->width == 0) {
      double value = 0;
      const int code = GetNumericValue((unsigned)i, &value, &missing);
      if (code != 0) return Report("GetNumericValue", code);
      ++variable->counts[missing];
      if (missing == kValid) AddNumber(variable, value);
    } else {
      const int code = GetStringValue((unsigned)i, &buffer, variable->width, &missing);
      if (code != 0) return Report("GetStringValue", code);
      ++variable->counts[missing];
      if (missing != kValid) continue;
      size_t length =
          strnlen(buffer, (size_t)variable->width); /* a text that fills its width has no terminator */
      while (length > 0 && buffer[length - 1] == ' ') --length;
      if (AddText(&variable->texts, buffer, length) != 0) return Report("malloc", kNoMemory);
    }
  }
  return 0;
}

static int WalkCases(struct Variable* variables, int count) {
  int widest = 0;
  for (int i = 0; i < count; ++i) widest = variables[i].width > widest ? variables[i].width : widest;
  char* buffer = malloc((size_t)widest + 1);
  if (buffer == NULL) return Report("malloc", kNoMemory);
  int code = MakeCaseCursor("r");
  if (code != 0) {
    free(buffer);
    return Report("MakeCaseCursor", code);
  }
  int next = 0;
  while (code == 0 && !interrupted && (next = NextCase()) == 0) code = AddCase(variables, count, buffer);
  free(buffer);
  if (code != 0) return code;
  if (next != kEndOfData) return Report("NextCase", next);
  return Report("RemoveCaseCursor", RemoveCaseCursor());
}

static void PrintSummary(const struct Variable* variable) {
  const long valid = variable->counts[kValid];
  printf("%s: %ld valid, %ld user-missing", variable->name, valid, variable->counts[kUserMissing]);
  if (variable->width != 0) {
    printf(", %zu distinct\n", variable->texts.count);
    return;
  }
  printf(", %ld system-missing\n", variable->counts[kSystemMissing]);
  if (valid == 0) return;
  printf("  mean ");
  PrintNumber(variable->mean);
  if (valid > 1) {
    printf(", standard deviation ");
    PrintNumber(sqrt(variable->squares / (double)(valid - 1)));
  }
  printf(", min ");
  PrintNumber(variable->min);
  printf(", max ");
  PrintNumber(variable->max);
  printf("\n");
}

/* --- The table --- */

/* Which table and which of its dimensions: every call about it says so. */
static const char kProcedure[] = "Summary";
static const char kType[] = "Descriptives";
static const char kTitle[] = "Descriptive statistics";
enum { kRows, kColumns }; /* the places of dimensions */

struct Statistic {
  const char* name;
  int (*use_format)(int index); /* of the variable */
  double value;
  bool shown;
};

static int UseCountFormat(int index) {
  (void)index;
  return SetFormatSpecCount();
}

/* A cell goes to the row and the column that were named last. */
static int EmitStatistic(int index, const struct Statistic* statistic) {
  int code = AddStringCategory(kProcedure, kType, kTitle, false, "Statistic", kColumns, 0, true, false,
                               statistic->name);
  if (code != 0) return Report("AddStringCategory", code);
  if (!statistic->shown) return 0;
  code = statistic->use_format(index);
  if (code != 0) return Report("SetFormatSpec", code);
  code = SetNumberCell(kProcedure, kType, kTitle, false, "Statistic", kColumns, 0, true, false,
                       statistic->value);
  return Report("SetNumberCell", code);
}

static int EmitRow(int index, const struct Variable* variable) {
  const long valid = variable->counts[kValid];
  const bool text = variable->width != 0;
  const double deviation = valid > 1 ? sqrt(variable->squares / (double)(valid - 1)) : 0;
  const long missing = variable->counts[kUserMissing] + variable->counts[kSystemMissing];
  const struct Statistic statistics[] = {
      {"Valid", UseCountFormat, (double)valid, true},
      {"Missing", UseCountFormat, (double)missing, true},
      {"Mean", SetFormatSpecMean, variable->mean, !text && valid > 0},
      {"Std. deviation", SetFormatSpecStdDev, deviation, !text && valid > 1},
      {"Minimum", SetFormatSpecVariable, variable->min, !text && valid > 0},
      {"Maximum", SetFormatSpecVariable, variable->max, !text && valid > 0},
      {"Distinct", UseCountFormat, (double)variable->texts.count, text},
  };
  int code = AddVarNameCategory(kProcedure, kType, kTitle, false, "Variable", kRows, 0, false, false, index);
  if (code != 0) return Report("AddVarNameCategory", code);
  for (size_t i = 0; i < sizeof statistics / sizeof statistics[0] && code == 0; ++i) {
    code = EmitStatistic(index, &statistics[i]);
  }
  return code;
}

static int EmitTable(const struct Variable* variables, int count) {
  int code = StartProcedure(kProcedure, NULL);
  if (code != 0) return Report("StartProcedure", code);
  code = StartPivotTable(kProcedure, kType, kTitle, false);
  if (code != 0) return Report("StartPivotTable", code);
  code = AddTitleFootnotes(kProcedure, kType, kTitle, "Of the valid values.", false);
  if (code != 0) return Report("AddTitleFootnotes", code);
  code = AddDimension(kProcedure, kType, kTitle, false, "Variable", kRows, 0, false, false);
  if (code == 0) code = AddDimension(kProcedure, kType, kTitle, false, "Statistic", kColumns, 0, true, false);
  if (code != 0) return Report("AddDimension", code);
  for (int i = 0; i < count && code == 0; ++i) code = EmitRow(i, &variables[i]);
  return code == 0 ? Report("EndProcedure", EndProcedure()) : code;
}

static int Summarise(void) {
  int code = 0;
  const int count = GetVariableCount(&code);
  if (code != 0) return Report("GetVariableCount", code);
  const long cases = GetRowCount(&code);
  if (code != 0) return Report("GetRowCount", code);
  printf("%ld cases, %d variables\n\n", cases, count);
  struct Variable* variables = calloc(count > 0 ? (size_t)count : 1, sizeof *variables);
  if (variables == NULL) return Report("calloc", kNoMemory);
  for (int i = 0; i < count && code == 0; ++i) code = ReadVariable(i, &variables[i]);
  if (code == 0 && count > 0) code = WalkCases(variables, count);
  if (code == 0) printf("\n");
  for (int i = 0; i < count && code == 0; ++i) PrintSummary(&variables[i]);
  if (code == 0) code = EmitTable(variables, count);
  FreeVariables(variables, count);
  return code;
}

/* --- The session --- */

/* Starts the backend with the file at `path`. `output` may be null. Neither may hold a double quote. */
static int StartWith(const char* path, const char* output) {
  char command[2 * PATH_MAX + 32];
  const int length = snprintf(command, sizeof command, "-data \"%s\"", path);
  if (output != NULL) snprintf(command + length, sizeof command - (size_t)length, " -output \"%s\"", output);
  return Report("StartVexa", StartVexa(command));
}

/* The directory is ours alone. A backend that died may have left fifos in it. */
static void RemoveDirectory(const char* path) {
  DIR* directory = opendir(path);
  if (directory != NULL) {
    for (const struct dirent* entry; (entry = readdir(directory)) != NULL;) {
      if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
        unlinkat(dirfd(directory), entry->d_name, 0);
      }
    }
    closedir(directory);
  }
  if (rmdir(path) != 0) perror(path);
}

int main(int argc, char** argv) {
  char data[PATH_MAX];
  const char* output = argc == 3 ? argv[2] : NULL;
  if (argc != 2 && argc != 3) {
    fprintf(stderr, "usage: summary DATA.csv [OUTPUT-PREFIX]\n");
    return EXIT_FAILURE;
  }
  const char* home = getenv("VEXA_HOME");
  if (home == NULL || home[0] == '\0') {
    fprintf(stderr, "summary: VEXA_HOME must name the home directory of the backend\n");
    return EXIT_FAILURE;
  }
  if (realpath(argv[1], data) == NULL) {
    perror(argv[1]);
    return EXIT_FAILURE;
  }
  if (strchr(data, '"') != NULL ||
      (output != NULL && (strchr(output, '"') != NULL || strlen(output) >= PATH_MAX))) {
    fprintf(stderr, "summary: a path must not hold a double quote, nor be longer than the system takes\n");
    return EXIT_FAILURE;
  }
  SetSignals();
  char directory[PATH_MAX]; /* for the fifos; mkdtemp gives it the mode 0700 */
  const char* temporary = getenv("TMPDIR");
  snprintf(directory, sizeof directory, "%s/vexa_summary_XXXXXX", temporary != NULL ? temporary : "/tmp");
  if (mkdtemp(directory) == NULL) {
    perror(directory);
    return EXIT_FAILURE;
  }
  setenv("VEXADXTEMP", directory, 1);
  int code = StartWith(data, output);
  if (code == 0) code = Summarise();
  StopVexa(); /* without effect when no backend runs */
  RemoveDirectory(directory);
  return code == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
