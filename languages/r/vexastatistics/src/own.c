// Functions of the interface that need more than their line in its table says.
#include <R.h>
#include <Rinternals.h>
#include <stdlib.h>
#include <string.h>

#include "generated.h"
#include "values.h"
#include "vexaxd_columns.h"
#include "vexaxd_p.h"

// A text that fills its variable has no end of its own, and nothing is longer than 32767 bytes.
SEXP C_GetStringValue(SEXP index) {
  static const char* kNames[] = {"value", "missing", ""};
  char room[32768] = "";
  char* value = room;
  int missing = 0;
  Begin("GetStringValue", false);
  Check("GetStringValue", GetStringValue(UintOf(index), &value, sizeof room - 1, &missing));
  const SEXP answer = PROTECT(Rf_mkNamed(VECSXP, kNames));
  SET_VECTOR_ELT(answer, 0, TextOrNA(room));
  SET_VECTOR_ELT(answer, 1, Rf_ScalarInteger(missing));
  UNPROTECT(1);
  return answer;
}

// The data are the library's, from the call on.
SEXP C_CommitManyCases(SEXP names, SEXP types, SEXP data, SEXP caseCount) {
  const int count = OneEach(names, types), cases = IntOf(caseCount);
  char** const texts = TextsOf(names);
  int* const numbers = IntsOf(types);
  if (TYPEOF(data) != RAWSXP) Rf_error("raw bytes are wanted here");
  const int length = Rf_length(data);
  Begin("CommitManyCases", false);
  void* const given = malloc((size_t)length + 1);
  if (given == NULL) Rf_error("no memory for %d bytes", length);
  memcpy(given, RAW(data), (size_t)length);
  Check("CommitManyCases", CommitManyCases(texts, numbers, given, count, length, cases));
  return R_NilValue;
}

SEXP C_GetVarTypeInDSCache(SEXP count) {
  const int variables = IntOf(count);
  int code = 0;
  if (variables < 0) Rf_error("a number from 0 is wanted here");
  const SEXP types = PROTECT(Rf_allocVector(INTSXP, variables));
  memset(INTEGER(types), 0, (size_t)variables * sizeof(int));
  Begin("GetVarTypeInDSCache", false);
  GetVarTypeInDSCache(INTEGER(types), variables, &code);
  Check("GetVarTypeInDSCache", code);
  UNPROTECT(1);
  return types;
}

// What R writes is UTF-8, and nothing is left to convert.
SEXP C_RecordBrowserOutput(SEXP text) {
  const char* const told = TextOf(text);
  Begin("RecordBrowserOutput", false);
  RecordBrowserOutput(told, strlen(told), NULL);
  return R_NilValue;
}

// An error must not jump past the library.
static void Tell(void* context, long done, long total) {
  const SEXP rows = PROTECT(Rf_ScalarReal((double)done));
  const SEXP all = PROTECT(Rf_ScalarReal((double)total));
  const SEXP call = PROTECT(Rf_lang3((SEXP)context, rows, all));
  int failed = 0;
  R_tryEval(call, R_GlobalEnv, &failed);
  UNPROTECT(3);
}

SEXP C_VexaSetProgress(SEXP progress) {
  static SEXP kept = NULL;
  if (!Rf_isNull(progress) && !Rf_isFunction(progress)) Rf_error("a function is wanted here");
  if (kept != NULL) R_ReleaseObject(kept);
  kept = Rf_isNull(progress) ? NULL : progress;
  if (kept != NULL) R_PreserveObject(kept);
  VexaSetProgress(kept != NULL ? Tell : NULL, kept);
  return R_NilValue;
}
