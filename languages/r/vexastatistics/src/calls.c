// An entry stands for all functions of one shape; the first argument of such an entry is the function's name
// in the header. What R has printed before goes out ahead of a call, so that the output keeps its order.
#include <R.h>
#include <Rinternals.h>
#include <string.h>

#include "shim.h"
#include "vexaxd_p.h"

// --- What goes in and comes out ---

const char* TextOf(SEXP text) {
  if (!Rf_isString(text) || Rf_length(text) != 1 || STRING_ELT(text, 0) == NA_STRING)
    Rf_error("a text is wanted here");
  return Rf_translateCharUTF8(STRING_ELT(text, 0));
}

static int Number(SEXP number) {
  const int value = Rf_length(number) == 1 ? Rf_asInteger(number) : NA_INTEGER;
  if (value == NA_INTEGER) Rf_error("a number is wanted here");
  return value;
}

static SEXP TextOrNA(const char* text) {
  return Rf_ScalarString(text != NULL ? Rf_mkCharCE(text, CE_UTF8) : NA_STRING);
}

static SEXP TakeList(void* handle) {
  const int count = GetStringListLength(handle);
  const SEXP texts = PROTECT(Rf_allocVector(STRSXP, count));
  for (int i = 0; i < count; ++i)
    SET_STRING_ELT(texts, i, Rf_mkCharCE(GetStringFromList(handle, i), CE_UTF8));
  RemoveStringList(handle);
  UNPROTECT(1);
  return texts;
}

void Check(const char* function, int code) {
  if (code == 0) return;
  const SEXP package = PROTECT(Rf_mkString("vexastatistics"));
  const SEXP name = PROTECT(Rf_mkString(function));
  const SEXP number = PROTECT(Rf_ScalarInteger(code));
  const SEXP words = PROTECT(Rf_ScalarString(Rf_mkCharCE(VexaLastError(), CE_UTF8)));
  const SEXP call = PROTECT(Rf_lang4(Rf_install("vexaFailure"), name, number, words));
  Rf_eval(call, PROTECT(R_FindNamespace(package)));
  UNPROTECT(6);  // not reached
}

#define DIMENSION const char*, const char*, const char*, bool, const char*, int, int, bool, bool

// A function by its name. All rows of a table are of one shape.
struct Named {
  const char* name;
  union {
    const char* (*variable_text)(int, int*);
    int (*variable_number)(int, int*);
    int (*text)(const char*);
    int (*counted_text)(const char*, int);
    int (*dimension_text)(DIMENSION, const char*);
    int (*dimension_double)(DIMENSION, double);
    int (*dimension_index)(DIMENSION, int);
    int (*plain)(void);
    int (*index)(int);
  };
};
#define ROW(shape, function) .name = #function, .shape = function

static const struct Named* Find(const struct Named* table, const char* name) {
  for (; table->name != NULL; ++table) {
    if (strcmp(table->name, name) == 0) return table;
  }
  return NULL;
}

static const struct Named* MustFind(const struct Named* table, const char* name) {
  const struct Named* const row = Find(table, name);
  if (row == NULL) Rf_error("there is no %s of this form", name);
  PostPrinted();
  return row;
}

// --- Dictionary ---

SEXP C_count(SEXP function) {
  int code = 0;
  PostPrinted();
  if (strcmp(TextOf(function), "GetVariableCount") == 0) {
    const int count = GetVariableCount(&code);
    Check("GetVariableCount", code);
    return Rf_ScalarInteger(count);
  }
  const long count = GetRowCount(&code);
  Check("GetRowCount", code);
  return Rf_ScalarReal(count < 0 ? NA_REAL : (double)count);
}

SEXP C_variable_text(SEXP function, SEXP index) {
  static const struct Named kTexts[] = {{ROW(variable_text, GetVariableName)},
                                        {ROW(variable_text, GetVariableLabel)},
                                        {ROW(variable_text, GetVariableFormat)},
                                        {NULL}};
  int code = 0;
  const char* const text = MustFind(kTexts, TextOf(function))->variable_text(Number(index), &code);
  Check(TextOf(function), code);
  return TextOrNA(text);
}

SEXP C_variable_number(SEXP function, SEXP index) {
  static const struct Named kNumbers[] = {{ROW(variable_number, GetVariableType)},
                                          {ROW(variable_number, GetVariableMeasurementLevel)},
                                          {ROW(variable_number, GetVariableRole)},
                                          {NULL}};
  int code = 0;
  const int number = MustFind(kNumbers, TextOf(function))->variable_number(Number(index), &code);
  Check(TextOf(function), code);
  return Rf_ScalarInteger(number);
}

SEXP C_weight(void) {
  int code = 0;
  PostPrinted();
  const char* const name = GetWeightVar(&code);
  Check("GetWeightVar", code);
  return TextOrNA(name);
}

SEXP C_split_names(void) {
  int code = 0;
  PostPrinted();
  void* const names = GetSplitVariableNames(&code);
  Check("GetSplitVariableNames", code);
  return TakeList(names);
}

// --- Syntax and output ---

SEXP C_text(SEXP function, SEXP text) {
  static const struct Named kCounted[] = {
      {ROW(counted_text, Submit)}, {ROW(counted_text, PostVexaOutput)}, {NULL}};
  static const struct Named kHandles[] = {
      {ROW(text, CreateXPathDictionary)}, {ROW(text, RemoveXPathHandle)}, {NULL}};
  const char* const name = TextOf(function);
  const char* const argument = TextOf(text);
  const struct Named* const counted = Find(kCounted, name);
  PostPrinted();
  const int code = counted != NULL ? counted->counted_text(argument, (int)strlen(argument))
                                   : MustFind(kHandles, name)->text(argument);
  Check(name, code);
  return R_NilValue;
}

SEXP C_start_procedure(SEXP name, SEXP title) {
  PostPrinted();
  Check("StartProcedure", StartProcedure(TextOf(name), TextOf(title)));
  return R_NilValue;
}

SEXP C_end_procedure(void) {
  PostPrinted();
  Check("EndProcedure", EndProcedure());
  return R_NilValue;
}

SEXP C_xpath(SEXP handle, SEXP context, SEXP expression) {
  int code = 0;
  PostPrinted();
  void* const found = EvaluateXPath(TextOf(handle), TextOf(context), TextOf(expression), &code);
  Check("EvaluateXPath", code);
  return TakeList(found);
}

// --- Pivot tables ---

static SEXP Part(SEXP list, int index, int length) {
  if (!Rf_isNewList(list) || Rf_length(list) != length) Rf_error("a list of %d is wanted here", length);
  return VECTOR_ELT(list, index);
}

SEXP C_table(SEXP function, SEXP table, SEXP dimension, SEXP value) {
  static const struct Named kOfTexts[] = {
      {ROW(dimension_text, AddStringCategory)}, {ROW(dimension_text, SetStringCell)}, {NULL}};
  static const struct Named kOfDoubles[] = {
      {ROW(dimension_double, AddNumberCategory)}, {ROW(dimension_double, SetNumberCell)}, {NULL}};
  static const struct Named kOfIndexes[] = {{ROW(dimension_index, AddVarNameCategory)}, {NULL}};
  const char* const name = TextOf(function);
  const char* const outline = TextOf(Part(table, 0, 4));
  const char* const type = TextOf(Part(table, 1, 4));
  const char* const title = TextOf(Part(table, 2, 4));
  const bool split = Number(Part(table, 3, 4)) != 0;
  PostPrinted();
  int code;
  if (Rf_isNull(dimension)) {
    code = Rf_isNull(value) ? StartPivotTable(outline, type, title, split)
                            : PivotTableCaption(outline, type, title, split, TextOf(value));
    Check(name, code);
    return R_NilValue;
  }
  const char* const text = TextOf(Part(dimension, 0, 5));
  const int place = Number(Part(dimension, 1, 5)), position = Number(Part(dimension, 2, 5));
  const bool hide_name = Number(Part(dimension, 3, 5)) != 0, hide_labels = Number(Part(dimension, 4, 5)) != 0;
#define WHERE outline, type, title, split, text, place, position, hide_name, hide_labels
  if (Rf_isNull(value)) {
    code = AddDimension(WHERE);
  } else if (Rf_isString(value)) {
    code = MustFind(kOfTexts, name)->dimension_text(WHERE, TextOf(value));
  } else if (Rf_isReal(value)) {
    code = MustFind(kOfDoubles, name)->dimension_double(WHERE, Rf_asReal(value));
  } else {
    code = MustFind(kOfIndexes, name)->dimension_index(WHERE, Number(value));
  }
  Check(name, code);
  return R_NilValue;
}

SEXP C_format(SEXP function, SEXP index) {
  static const struct Named kPlain[] = {
      {ROW(plain, SetFormatSpecCoefficient)},    {ROW(plain, SetFormatSpecCoefficientSE)},
      {ROW(plain, SetFormatSpecCoefficientVar)}, {ROW(plain, SetFormatSpecCorrelation)},
      {ROW(plain, SetFormatSpecGeneralStat)},    {ROW(plain, SetFormatSpecCount)},
      {ROW(plain, SetFormatSpecPercent)},        {ROW(plain, SetFormatSpecPercentNoSign)},
      {ROW(plain, SetFormatSpecProportion)},     {ROW(plain, SetFormatSpecSignificance)},
      {ROW(plain, SetFormatSpecResidual)},       {NULL}};
  static const struct Named kOfVariable[] = {
      {ROW(index, SetFormatSpecMean)},   {ROW(index, SetFormatSpecVariable)},
      {ROW(index, SetFormatSpecStdDev)}, {ROW(index, SetFormatSpecDifference)},
      {ROW(index, SetFormatSpecSum)},    {NULL}};
  const char* const name = TextOf(function);
  const int variable = Rf_asInteger(index);
  const int code =
      variable == NA_INTEGER ? MustFind(kPlain, name)->plain() : MustFind(kOfVariable, name)->index(variable);
  Check(name, code);
  return R_NilValue;
}
