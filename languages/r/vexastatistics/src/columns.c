// Cases as columns: a data frame from a stream of the library, and a stream for it from a data frame.
#include <R.h>
#include <Rinternals.h>
#include <string.h>

#include "shim.h"
#include "vexaxd_columns.h"

// --- Reading ---

// What is released by the collector where an error of R's jumps past us.
struct Reading {
  struct ArrowArrayStream stream;
  struct ArrowSchema schema;
  struct ArrowArray batch;
};

static void Release(SEXP pointer) {
  struct Reading* reading = R_ExternalPtrAddr(pointer);
  if (reading == NULL) return;
  if (reading->batch.release != NULL) reading->batch.release(&reading->batch);
  if (reading->schema.release != NULL) reading->schema.release(&reading->schema);
  if (reading->stream.release != NULL) reading->stream.release(&reading->stream);
  R_Free(reading);
  R_ClearExternalPtr(pointer);
}

static bool IsNull(const struct ArrowArray* array, R_xlen_t row) {
  const unsigned char* const valid = array->buffers[0];
  return valid != NULL && !(valid[row >> 3] >> (row & 7) & 1);
}

static SEXP Numbers(const struct ArrowArray* array) {
  const SEXP values = Rf_allocVector(REALSXP, array->length);
  if (array->length > 0) memcpy(REAL(values), array->buffers[1], (size_t)array->length * sizeof(double));
  if (array->null_count != 0) {
    for (R_xlen_t i = 0; i < array->length; ++i) {
      if (IsNull(array, i)) REAL(values)[i] = NA_REAL;
    }
  }
  return values;
}

static SEXP Texts(const struct ArrowArray* array) {
  const int64_t* const offsets = array->buffers[1];
  const char* const bytes = array->buffers[2];
  const SEXP values = PROTECT(Rf_allocVector(STRSXP, array->length));
  for (R_xlen_t i = 0; i < array->length; ++i) {
    const int length = (int)(offsets[i + 1] - offsets[i]);
    const char* const text = length > 0 ? bytes + offsets[i] : "";
    SET_STRING_ELT(values, i, IsNull(array, i) ? NA_STRING : Rf_mkCharLenCE(text, length, CE_UTF8));
  }
  UNPROTECT(1);
  return values;
}

static SEXP Factor(const struct ArrowArray* array) {
  const int32_t* const indices = array->buffers[1];
  const SEXP values = PROTECT(Rf_allocVector(INTSXP, array->length));
  for (R_xlen_t i = 0; i < array->length; ++i)
    INTEGER(values)[i] = IsNull(array, i) ? NA_INTEGER : indices[i] + 1;
  Rf_setAttrib(values, R_LevelsSymbol, PROTECT(Texts(array->dictionary)));
  Rf_setAttrib(values, R_ClassSymbol, PROTECT(Rf_mkString("factor")));
  UNPROTECT(3);
  return values;
}

// The text of a key, in a field's metadata; NULL where there is none.
static SEXP Said(const char* metadata, const char* wanted) {
  int32_t left = 0;
  if (metadata == NULL) return R_NilValue;
  memcpy(&left, metadata, sizeof left);
  metadata += sizeof left;
  for (; left > 0; --left) {
    int32_t key = 0, value = 0;
    memcpy(&key, metadata, sizeof key);
    const char* const name = metadata + sizeof key;
    memcpy(&value, name + key, sizeof value);
    const char* const text = name + key + sizeof value;
    if ((size_t)key == strlen(wanted) && memcmp(name, wanted, (size_t)key) == 0)
      return Rf_ScalarString(Rf_mkCharLenCE(text, value, CE_UTF8));
    metadata = text + value;
  }
  return R_NilValue;
}

static SEXP Column(const struct ArrowSchema* field, const struct ArrowArray* array) {
  const SEXP values = PROTECT(array->dictionary != NULL ? Factor(array)
                              : *field->format == 'g'   ? Numbers(array)
                                                        : Texts(array));
  const SEXP label = PROTECT(Said(field->metadata, "vexa.label"));
  if (label != R_NilValue) Rf_setAttrib(values, Rf_install("label"), label);
  UNPROTECT(2);
  return values;
}

// The dataset's name, or NULL for the active one.
static const char* DatasetName(SEXP dataset) { return Rf_isNull(dataset) ? NULL : TextOf(dataset); }

// A stream of the variables named, or of all where that is NULL, in batches of so many rows.
SEXP C_open_columns(SEXP dataset, SEXP variables, SEXP labels, SEXP user_missing, SEXP rows) {
  const int count = Rf_isNull(variables) ? 0 : Rf_length(variables);
  const char** const names = (const char**)R_alloc((size_t)count + 1, sizeof *names);
  for (int i = 0; i < count; ++i) names[i] = Rf_translateCharUTF8(STRING_ELT(variables, i));
  const int options = VEXA_LARGE_TEXTS | (Rf_asLogical(labels) ? VEXA_LABELS : 0) |
                      (Rf_asLogical(user_missing) ? VEXA_USER_MISSING : 0);
  struct Reading* const reading = R_Calloc(1, struct Reading);
  const SEXP kept = PROTECT(R_MakeExternalPtr(reading, R_NilValue, R_NilValue));
  R_RegisterCFinalizer(kept, Release);
  Begin("VexaReadColumns", false);
  Check("VexaReadColumns", VexaReadColumns(DatasetName(dataset), Rf_isNull(variables) ? NULL : names, count,
                                           Rf_asInteger(rows), options, &reading->stream));
  UNPROTECT(1);
  return kept;
}

// The text is the stream's.
static void Fail(SEXP kept, const char* why) {
  char* const kept_why = strcpy(R_alloc(strlen(why) + 1, 1), why);
  Release(kept);
  Rf_error("%s", kept_why);
}

// The next batch as a list with names; NULL behind the last one. Where it is known to be the last, the stream
// goes with it.
SEXP C_next_columns(SEXP kept, SEXP last) {
  struct Reading* const reading = R_ExternalPtrAddr(kept);
  if (reading == NULL) return R_NilValue;
  struct ArrowArrayStream* const stream = &reading->stream;
  if (reading->batch.release != NULL) reading->batch.release(&reading->batch);
  if ((reading->schema.release == NULL && stream->get_schema(stream, &reading->schema) != 0) ||
      stream->get_next(stream, &reading->batch) != 0)
    Fail(kept, stream->get_last_error(stream));
  if (reading->batch.release == NULL) {
    Release(kept);
    return R_NilValue;
  }
  const struct ArrowSchema* const schema = &reading->schema;
  int columns = 0;
  for (int64_t i = 0; i < schema->n_children; ++i) columns += *schema->children[i]->format != 'b';
  const SEXP values = PROTECT(Rf_allocVector(VECSXP, columns));
  const SEXP called = PROTECT(Rf_allocVector(STRSXP, columns));
  for (int64_t i = 0, at = 0; i < schema->n_children; ++i) {
    if (*schema->children[i]->format == 'b') continue;  // tells which values are user-missing
    SET_STRING_ELT(called, at, Rf_mkCharCE(schema->children[i]->name, CE_UTF8));
    SET_VECTOR_ELT(values, at++, Column(schema->children[i], reading->batch.children[i]));
  }
  Rf_setAttrib(values, R_NamesSymbol, called);
  if (Rf_asLogical(last)) Release(kept);
  UNPROTECT(2);
  return values;
}

// --- Writing: all memory is R's, and there until the call is over, in which the library reads the stream ---

static void LetSchemaGo(struct ArrowSchema* schema) { schema->release = NULL; }
static void LetArrayGo(struct ArrowArray* array) { array->release = NULL; }
static void LetStreamGo(struct ArrowArrayStream* stream) { stream->release = NULL; }

struct Frame {
  struct ArrowSchema schema;
  struct ArrowArray batch;
  bool taken;
};

static int GetSchema(struct ArrowArrayStream* stream, struct ArrowSchema* schema) {
  *schema = ((struct Frame*)stream->private_data)->schema;
  return 0;
}

static int GetBatch(struct ArrowArrayStream* stream, struct ArrowArray* array) {
  struct Frame* const frame = stream->private_data;
  *array = frame->batch;
  if (frame->taken) array->release = NULL;
  frame->taken = true;
  return 0;
}

static const char* NoError(struct ArrowArrayStream* stream) {
  (void)stream;
  return NULL;
}

static void* Zeroed(size_t count, size_t size) {
  void* const memory = R_alloc(count + 1, (int)size);
  memset(memory, 0, (count + 1) * size);
  return memory;
}

static void Fill(struct ArrowSchema* schema, struct ArrowArray* array, const char* format, R_xlen_t length,
                 int buffers) {
  schema->format = format;
  schema->flags = ARROW_FLAG_NULLABLE;
  schema->release = LetSchemaGo;
  array->length = length;
  array->null_count = -1;
  array->n_buffers = buffers;
  array->buffers = Zeroed((size_t)buffers, sizeof(void*));
  array->release = LetArrayGo;
}

static void FillTexts(struct ArrowSchema* schema, struct ArrowArray* array, SEXP texts) {
  const R_xlen_t rows = Rf_xlength(texts);
  Fill(schema, array, "U", rows, 3);
  int64_t* const offsets = Zeroed((size_t)rows + 1, sizeof *offsets);
  const char** const pieces = Zeroed((size_t)rows, sizeof *pieces);
  for (R_xlen_t i = 0; i < rows; ++i) {
    const SEXP text = STRING_ELT(texts, i);
    pieces[i] = text == NA_STRING ? "" : Rf_translateCharUTF8(text);
    offsets[i + 1] = offsets[i] + (int64_t)strlen(pieces[i]);
  }
  char* const bytes = Zeroed((size_t)offsets[rows], 1);
  for (R_xlen_t i = 0; i < rows; ++i)
    memcpy(bytes + offsets[i], pieces[i], (size_t)(offsets[i + 1] - offsets[i]));
  array->buffers[1] = offsets;
  array->buffers[2] = bytes;
}

// Numbers in 32 bits, the missing ones told apart.
static void FillIntegers(struct ArrowSchema* schema, struct ArrowArray* array, SEXP values, int origin) {
  const R_xlen_t rows = Rf_xlength(values);
  const int* const given = TYPEOF(values) == LGLSXP ? LOGICAL(values) : INTEGER(values);
  Fill(schema, array, "i", rows, 2);
  unsigned char* const valid = Zeroed((size_t)rows / 8 + 1, 1);
  int32_t* const numbers = Zeroed((size_t)rows, sizeof *numbers);
  for (R_xlen_t i = 0; i < rows; ++i) {
    if (given[i] == NA_INTEGER) continue;
    valid[i >> 3] |= (unsigned char)(1 << (i & 7));
    numbers[i] = given[i] - origin;
  }
  array->buffers[0] = valid;
  array->buffers[1] = numbers;
}

// One key with its text.
static const char* Metadata(const char* key, const char* text) {
  const int32_t parts[] = {1, (int32_t)strlen(key), (int32_t)strlen(text)};
  char* const metadata = R_alloc(sizeof parts + strlen(key) + strlen(text), 1);
  char* at = memcpy(metadata, parts, 2 * sizeof *parts);
  at = memcpy(at + 2 * sizeof *parts, key, strlen(key));
  at = memcpy(at + strlen(key), &parts[2], sizeof parts[2]);
  memcpy(at + sizeof parts[2], text, strlen(text));
  return metadata;
}

static void FillColumn(struct ArrowSchema* schema, struct ArrowArray* array, SEXP values, const char* name) {
  if (Rf_isFactor(values)) {
    FillIntegers(schema, array, values, 1);
    schema->dictionary = Zeroed(1, sizeof *schema);
    array->dictionary = Zeroed(1, sizeof *array);
    FillTexts(schema->dictionary, array->dictionary, PROTECT(Rf_getAttrib(values, R_LevelsSymbol)));
    UNPROTECT(1);
  } else if (TYPEOF(values) == STRSXP) {
    FillTexts(schema, array, values);
  } else if (TYPEOF(values) == REALSXP) {
    Fill(schema, array, "g", Rf_xlength(values), 2);
    array->buffers[1] = REAL(values);
  } else if (TYPEOF(values) == INTSXP || TYPEOF(values) == LGLSXP) {
    FillIntegers(schema, array, values, 0);
  } else {
    Rf_error("column %s: neither numbers nor texts", name);
  }
  schema->name = name;
  const SEXP label = Rf_getAttrib(values, Rf_install("label"));
  if (Rf_isString(label) && Rf_length(label) == 1)
    schema->metadata = Metadata("vexa.label", Rf_translateCharUTF8(STRING_ELT(label, 0)));
}

// Writes a list of columns of one length, with names, in one of the four ways.
SEXP C_write_columns(SEXP function, SEXP dataset, SEXP columns) {
  static const struct {
    const char* name;
    int (*write)(const char*, struct ArrowArrayStream*);
  } kWays[] = {{"VexaAppendColumns", VexaAppendColumns},
               {"VexaAddColumns", VexaAddColumns},
               {"VexaReplaceColumns", VexaReplaceColumns},
               {"VexaCreateColumns", VexaCreateColumns}};
  const int count = Rf_length(columns);
  struct Frame* const frame = Zeroed(1, sizeof *frame);
  Fill(&frame->schema, &frame->batch, "+s", count > 0 ? Rf_xlength(VECTOR_ELT(columns, 0)) : 0, 1);
  frame->schema.n_children = frame->batch.n_children = count;
  frame->schema.children = Zeroed((size_t)count, sizeof *frame->schema.children);
  frame->batch.children = Zeroed((size_t)count, sizeof *frame->batch.children);
  const SEXP names = PROTECT(Rf_getAttrib(columns, R_NamesSymbol));
  for (int i = 0; i < count; ++i) {
    frame->schema.children[i] = Zeroed(1, sizeof **frame->schema.children);
    frame->batch.children[i] = Zeroed(1, sizeof **frame->batch.children);
    FillColumn(frame->schema.children[i], frame->batch.children[i], VECTOR_ELT(columns, i),
               Rf_translateCharUTF8(STRING_ELT(names, i)));
  }
  struct ArrowArrayStream stream = {GetSchema, GetBatch, NoError, LetStreamGo, frame};
  Begin(TextOf(function), false);
  for (size_t i = 0; i < sizeof kWays / sizeof *kWays; ++i) {
    if (strcmp(kWays[i].name, TextOf(function)) == 0)
      Check(kWays[i].name, kWays[i].write(DatasetName(dataset), &stream));
  }
  UNPROTECT(1);
  return R_NilValue;
}
