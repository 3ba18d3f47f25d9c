#include "values.h"

#include <R.h>
#include <float.h>
#include <limits.h>
#include <math.h>
#include <string.h>

#include "vexaxd_p.h"

static void Fail(const char* function, int code, const char* told) {
  const SEXP package = PROTECT(Rf_mkString("vexastatistics"));
  const SEXP name = PROTECT(Rf_mkString(function));
  const SEXP number = PROTECT(Rf_ScalarInteger(code));
  const SEXP words = PROTECT(Rf_ScalarString(Rf_mkCharCE(told, CE_UTF8)));
  const SEXP call = PROTECT(Rf_lang4(Rf_install("vexaFailure"), name, number, words));
  Rf_eval(call, PROTECT(R_FindNamespace(package)));
  UNPROTECT(6);  // not reached
}

void Check(const char* function, int code) {
  if (code != 0) Fail(function, code, VexaLastError());
}

void Begin(const char* function, bool needs_session) {
  PrepareSignals();
  PostPrinted();
  // The library itself looks, and sends nothing. Its words would be of that call.
  if (needs_session && FreeStringArray(NULL, 0) == 17) Fail(function, 17, "");
}

// --- What goes in ---

const char* TextOf(SEXP text) {
  if (!Rf_isString(text) || Rf_length(text) != 1 || STRING_ELT(text, 0) == NA_STRING)
    Rf_error("a text is wanted here");
  return Rf_translateCharUTF8(STRING_ELT(text, 0));
}

const char* TextOrNull(SEXP text) {
  if (Rf_isNull(text)) return NULL;
  const bool is_na =
      Rf_length(text) == 1 && (Rf_isString(text) ? STRING_ELT(text, 0) == NA_STRING
                                                 : Rf_isLogical(text) && LOGICAL(text)[0] == NA_LOGICAL);
  return is_na ? NULL : TextOf(text);
}

struct Bytes BytesOf(SEXP value) {
  struct Bytes bytes;
  if (TYPEOF(value) == RAWSXP) {
    bytes.start = (const char*)RAW(value);
    bytes.length = Rf_length(value);
  } else {
    bytes.start = TextOf(value);
    bytes.length = (int)strlen(bytes.start);
  }
  return bytes;
}

static double WholeNumber(double value, double least, double most) {
  if (!(value >= least && value <= most) || value != floor(value))
    Rf_error("a whole number from %.0f to %.0f is wanted here", least, most);
  return value;
}

static double Number(SEXP number) {
  if (Rf_length(number) != 1 || !(Rf_isNumeric(number) || Rf_isLogical(number)))
    Rf_error("a number is wanted here");
  return Rf_asReal(number);
}

int IntOf(SEXP number) { return (int)WholeNumber(Number(number), INT_MIN, INT_MAX); }
unsigned int UintOf(SEXP number) { return (unsigned int)WholeNumber(Number(number), 0, UINT_MAX); }
long LongOf(SEXP number) { return (long)WholeNumber(Number(number), -0x1p53, 0x1p53); }

double DoubleOf(SEXP number) {
  const double value = Number(number);
  return isnan(value) ? -DBL_MAX : value;
}

bool FlagOf(SEXP flag) {
  const double value = Number(flag);
  if (isnan(value)) Rf_error("TRUE or FALSE is wanted here");
  return value != 0;
}

char** TextsOf(SEXP texts) {
  if (!Rf_isString(texts)) Rf_error("texts are wanted here");
  const int count = Rf_length(texts);
  char** const all = (char**)R_alloc((size_t)count + 1, sizeof *all);
  for (int i = 0; i < count; ++i) {
    if (STRING_ELT(texts, i) == NA_STRING) Rf_error("texts are wanted here, and NA is none");
    all[i] = (char*)Rf_translateCharUTF8(STRING_ELT(texts, i));
  }
  return all;
}

int* IntsOf(SEXP numbers) {
  if (!Rf_isNumeric(numbers)) Rf_error("numbers are wanted here");
  const int count = Rf_length(numbers);
  int* const all = (int*)R_alloc((size_t)count + 1, sizeof *all);
  const SEXP given = PROTECT(Rf_coerceVector(numbers, REALSXP));
  for (int i = 0; i < count; ++i) all[i] = (int)WholeNumber(REAL(given)[i], INT_MIN, INT_MAX);
  UNPROTECT(1);
  return all;
}

int OneEach(SEXP names, SEXP types) {
  const int count = Rf_length(names);
  if (count != Rf_length(types) || count == 0)
    Rf_error("%d names and %d types: one type for each, and one name at least", count, Rf_length(types));
  return count;
}

// --- What comes out ---

SEXP TextOrNA(const char* text) {
  return Rf_ScalarString(text != NULL ? Rf_mkCharCE(text, CE_UTF8) : NA_STRING);
}

SEXP TakeText(char* text) {
  const SEXP value = TextOrNA(text);
  FreeString(text);
  return value;
}

SEXP TakeList(void* handle) {
  const int count = GetStringListLength(handle);
  const SEXP texts = PROTECT(Rf_allocVector(STRSXP, count));
  for (int i = 0; i < count; ++i)
    SET_STRING_ELT(texts, i, Rf_mkCharCE(GetStringFromList(handle, i), CE_UTF8));
  RemoveStringList(handle);
  UNPROTECT(1);
  return texts;
}

SEXP TakeBytes(char* bytes, int length) {
  const size_t size = bytes != NULL && length > 0 ? (size_t)length : 0;
  const SEXP value = Rf_allocVector(RAWSXP, (R_xlen_t)size);
  if (size > 0) memcpy(RAW(value), bytes, size);
  FreeString(bytes);
  return value;
}

SEXP TakeIntegers(int* numbers, int count) {
  const SEXP values = Integers(numbers, count);
  FreeString(numbers);
  return values;
}

// Without values the library leaves an array unwritten.
static int Held(const void* array, int count) { return array != NULL && count > 0 ? count : 0; }

SEXP Texts(char** texts, int count) {
  const int held = Held(texts, count);
  const SEXP values = PROTECT(Rf_allocVector(STRSXP, held));
  for (int i = 0; i < held; ++i)
    SET_STRING_ELT(values, i, texts[i] != NULL ? Rf_mkCharCE(texts[i], CE_UTF8) : NA_STRING);
  UNPROTECT(1);
  return values;
}

SEXP Doubles(const double* numbers, int count) {
  const int held = Held(numbers, count);
  const SEXP values = Rf_allocVector(REALSXP, held);
  if (held > 0) memcpy(REAL(values), numbers, (size_t)held * sizeof *numbers);
  return values;
}

SEXP Integers(const int* numbers, int count) {
  const int held = Held(numbers, count);
  const SEXP values = Rf_allocVector(INTSXP, held);
  if (held > 0) memcpy(INTEGER(values), numbers, (size_t)held * sizeof *numbers);
  return values;
}

SEXP Characters(const wchar_t* text) {
  if (text == NULL) return Rf_ScalarInteger(NA_INTEGER);
  const SEXP values = Rf_allocVector(INTSXP, (R_xlen_t)wcslen(text));
  for (R_xlen_t i = 0; text[i] != L'\0'; ++i) INTEGER(values)[i] = (int)text[i];
  return values;
}
