/* vexaxd_columns.h: the cases of a dataset as columns, in both directions.
 *
 * Columns travel in the Arrow C data and stream interface: three structs with a published layout, which data
 * frame libraries of most languages read and write, and no library to link. The functions here go through the
 * calls of vexaxd_p.h (the cursor, the commits, the data steps), and keep its rules: one session per process,
 * one thread at a time calls, 0 is success, VexaLastError tells more.
 *
 * A dataset is named by its name, or is the active one where the name is null, empty or "*". A stream is of
 * structs (format "+s"), one child for each variable; children are found by their names, and case counts as
 * it does for the backend.
 *
 * Numbers are float64 ("g") on the way out; system-missing is null there, and NaN lies under it. Texts are
 * UTF-8 ("u", or "U" where the options say so) without the blanks at their end; what is not UTF-8 becomes
 * U+FFFD. A text that is blank is an empty text, and no null.
 *
 * What is known of a variable stands in its field's metadata, in the form that Arrow lays down for it (a
 * 32-bit count, then keys and values, each with its length in front), as texts under these keys. A key that
 * says nothing is left out.
 *
 *   vexa.label    the label
 *   vexa.format   the print format: "F8.2"
 *   vexa.level    the measurement level as the backend numbers it: "1"
 *   vexa.role     the role as the backend numbers it: "0"
 *   vexa.width    of a text: the bytes that it may have
 *   vexa.missing  the user-missing values, one line each: "value" and one value, or "range" and two; fields
 *                 are separated by tabs
 *   vexa.labels   the value labels, one line each: the value, a tab, the label
 *
 * Lines end in LF, but for the last. Within a field of a line a backslash, a tab and a line feed are written
 * \\, \t and \n; the label is as it is. Numbers are decimal, as short as gives the same number back.
 */
#ifndef VEXAXD_COLUMNS_H
#define VEXAXD_COLUMNS_H

#include <stdint.h>

#include "vexa_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The structs, word for word as Arrow publishes them; under these guards another header may have them
 * already.
 */
#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4

struct ArrowSchema {
  const char* format;
  const char* name;
  const char* metadata;
  int64_t flags;
  int64_t n_children;
  struct ArrowSchema** children;
  struct ArrowSchema* dictionary;
  void (*release)(struct ArrowSchema*);
  void* private_data;
};

struct ArrowArray {
  int64_t length;
  int64_t null_count;
  int64_t offset;
  int64_t n_buffers;
  int64_t n_children;
  const void** buffers;
  struct ArrowArray** children;
  struct ArrowArray* dictionary;
  void (*release)(struct ArrowArray*);
  void* private_data;
};

#endif

#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE

struct ArrowArrayStream {
  int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema* out);
  int (*get_next)(struct ArrowArrayStream*, struct ArrowArray* out);
  const char* (*get_last_error)(struct ArrowArrayStream*);
  void (*release)(struct ArrowArrayStream*);
  void* private_data;
};

#endif

/* --- Reading --- */

/* Options, added up. */
enum VexaColumnOptions {
  /* User-missing values come as they are, and behind each variable that has a rule for them stands a column
   * "NAME.missing" of booleans ("b"): true where the value is user-missing, false where it is system-missing.
   * Without the option they are null. */
  VEXA_USER_MISSING = 1,
  /* Texts come as the bytes that they are, blanks included ("z"). */
  VEXA_BINARY_TEXTS = 2,
  /* A variable with value labels is a dictionary of its labels with 32-bit indices: the labels in the order
   * of the backend, then each value that has none, as a text, in the order in which they are met. A text
   * stands there once: values with the same label have the same index. From batch to batch the dictionary
   * grows at its end alone. */
  VEXA_LABELS = 4,
  /* Texts have 64-bit offsets ("U", "Z"), so that a batch may hold more than 2 GiB of one variable's. */
  VEXA_LARGE_TEXTS = 8
};

/* All cases in one batch: with `batchRows` of VexaReadColumns. */
#define VEXA_ALL_ROWS (-1L)

/* Opens a stream over variables of a dataset: those that `names` lists, `count` of them and in that order, or
 * all where `names` is null. A name that is not there as it is stands for the only one that differs in the
 * case of ASCII letters alone; so it is with the dataset's. `batchRows` is the number of cases of a batch; 0
 * takes what a block of the cursor holds (20 MiB), which costs least; VEXA_ALL_ROWS makes one batch. A
 * dataset without cases gives no batch, with VEXA_ALL_ROWS one of no rows.
 *
 * The active dataset is read through the case cursor, which must not be open and is until the stream has
 * ended or is released. Any other dataset, and the active one within a data step, is read in the data step,
 * which is opened and closed around the reading of a batch where none is open; in one that is open the
 * dataset stays until its end.
 *
 * On 0 `stream` is written, the caller's, and released with its `release`; else it stays unwritten. Codes:
 * those of the calls; 10 for a name that is not there, 87 for a dataset; 99127 for what cannot be a column,
 * and for a number of rows or options that mean nothing.
 *
 * The stream belongs to the session. Behind its end, and once another cursor has taken its place, get_next
 * gives an error (ESTALE) and never old data; ECANCELED where the interrupt check said so, ENOMEM without
 * memory, else EIO, also for texts of more than 2^31-1 bytes in a batch with 32-bit offsets. get_last_error
 * tells why in words, and every further call tells the same. The batches are the caller's own and outlive
 * all. `release` of stream, schemas and batches is safe at any time, in any order, from any thread, behind
 * the session, too. */
VEXA_API int VexaReadColumns(const char* dataset, const char* const* names, int count, long batchRows,
                             int options, struct ArrowArrayStream* stream);

/* --- Writing --- */

/* The four below take a stream of any producer, read it to its end and release it, whatever the code. Nothing
 * is written before all of it has been found to fit.
 *
 * Taken are: booleans, integers of 8 to 64 bits, floats of 16 to 64, decimals of 128 bits: numbers. UTF-8 and
 * binary texts with 32-bit and 64-bit offsets, and as views; binary of a fixed width: texts. Dates and
 * timestamps: seconds since 1970-01-01T00:00:00, in UTC where they have a zone; times and durations: seconds.
 * Dictionaries of texts: a new variable is a number, from 1 in the order of the dictionary, with the texts as
 * its value labels, those that no row has, too. Where the metadata have value labels, or a width, which makes
 * a new variable a text, and for an existing variable, a text stands for the value that it labels, first by
 * the metadata and then by what the variable has, and one that labels none for itself. A column of nulls: a
 * number, a text where the metadata have a width, or whatever the existing variable is. Null and NaN become
 * system-missing, of a text blanks.
 *
 * Refused with 99127 are: other forms; a column of another kind than its variable; integers that a double
 * does not hold exactly, and decimals whose digits it does not give back; the value that stands for
 * system-missing; a text that is longer than its variable, or than 32,767 bytes, or that holds a zero byte;
 * names that the backend does not allow, and names that stand twice; metadata that are not in the form. The
 * reason names the column, and the row, from 0.
 *
 * Metadata in the form above is applied to the variable, but for a width of an existing one; value labels
 * come to those that it has. A new text variable is as wide as vexa.width says, else as its longest text, at
 * least 1 byte. What the backend alone can judge, a role, say, or a format, it refuses when the variables are
 * there and before their values are written: added variables and a dataset that was to be made are then taken
 * away again, and so they are when it fails later, as far as it still answers. Cases that were appended and
 * values that were replaced before a failure stay.
 *
 * Cells written by SetNCellValue and SetCCellValue before go first. What needs a data step (all but appending
 * columns without metadata and dictionaries to the active dataset) uses the one that is open, in which the
 * dataset then is, else one of its own: no cursor and no procedure may be open. */

/* Appends the cases. Variables that are no column are missing in them; a column that is no variable is
 * refused (10). A dataset other than the active one is that for the time of the call, and an active one
 * without a name is given one (GetNewDatasetName), so that SetActive finds it again. */
VEXA_API int VexaAppendColumns(const char* dataset, struct ArrowArrayStream* cases);

/* Adds the columns as new variables behind those that are there; the stream has as many rows as the dataset
 * has cases (97 otherwise). A name that the dataset has is refused (99127). */
VEXA_API int VexaAddColumns(const char* dataset, struct ArrowArrayStream* variables);

/* Overwrites the values of existing variables, in all cases (97, 10 otherwise). */
VEXA_API int VexaReplaceColumns(const char* dataset, struct ArrowArrayStream* values);

/* Makes a dataset of that name, which becomes the active one. One that was active without a name is given one
 * as above. A name that is in use, or is none, is refused (99127). */
VEXA_API int VexaCreateColumns(const char* dataset, struct ArrowArrayStream* cases);

/* --- Both --- */

/* Sets a function that is told of the rows that have been read or written so far of how many (-1 where that
 * is not known), after each block, on the thread that calls. It must not call this interface. Null, the
 * default, takes it back. */
VEXA_API void VexaSetProgress(void (*progress)(void* context, long done, long total), void* context);

#ifdef __cplusplus
}
#endif

#endif
