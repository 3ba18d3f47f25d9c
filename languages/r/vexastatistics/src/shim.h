// The C side of the package. R's own thread is the one user of everything here.
//
//   console.c  R at the pipes of the process that started it: its lines, its prompts, what it prints
//   process.c  the life of the process: its start, and its end with the one that started it
//   calls.c    the client interface: one entry for each shape of a call
//   columns.c  data frames
#ifndef SHIM_H
#define SHIM_H

#include <Rinternals.h>
#include <stdbool.h>

// Puts this side in the place of R's own console.
void TakeConsole(void);
// Whether R waits for a line.
bool AtPrompt(void);
// Posts what R has printed since the last time, ahead of anything else that goes to the backend.
void PostPrinted(void);

// One text, in UTF-8, until the call from R is over.
const char* TextOf(SEXP text);
// Raises the package's own condition when the code is not 0.
void Check(const char* function, int code);

SEXP C_init_process(SEXP name, SEXP path, SEXP id, SEXP language);
SEXP C_begin_block(void);
SEXP C_end_block(void);

SEXP C_count(SEXP function);
SEXP C_variable_text(SEXP function, SEXP index);
SEXP C_variable_number(SEXP function, SEXP index);
SEXP C_weight(void);
SEXP C_split_names(void);
SEXP C_text(SEXP function, SEXP text);
SEXP C_start_procedure(SEXP name, SEXP title);
SEXP C_end_procedure(void);
SEXP C_xpath(SEXP handle, SEXP context, SEXP expression);
SEXP C_read_columns(SEXP dataset, SEXP variables, SEXP labels, SEXP user_missing);
SEXP C_write_columns(SEXP function, SEXP dataset, SEXP columns);
SEXP C_table(SEXP function, SEXP table, SEXP dimension, SEXP value);
SEXP C_format(SEXP function, SEXP index);

#endif
