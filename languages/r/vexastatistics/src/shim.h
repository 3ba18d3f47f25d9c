// The C side of the package. R's own thread is the one user of everything here.
//
//   console.c    R at the pipes of the process that started it: its lines, its prompts, what it prints
//   process.c    the life of the process: its start, and its end with the one that started it
//   generated.c  the functions of the interface, made from its table; values.c is what they are made of
//   own.c        those of them that need more than the table says
//   columns.c    data frames
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
// Has a backend that is gone, and R's interrupts, end a call with a code. Once is enough, ahead of the first
// call.
void PrepareSignals(void);

// One text, in UTF-8, until the call from R is over.
const char* TextOf(SEXP text);
// Ahead of each call: what R has printed goes out, and a call that would wait where no backend runs is error
// 17 instead.
void Begin(const char* function, bool needs_session);
// Raises the package's own condition when the code is not 0.
void Check(const char* function, int code);

SEXP C_init_process(SEXP name, SEXP path, SEXP id, SEXP language);
SEXP C_begin_block(void);
SEXP C_end_block(void);

SEXP C_open_columns(SEXP dataset, SEXP variables, SEXP labels, SEXP user_missing, SEXP rows);
SEXP C_next_columns(SEXP kept, SEXP last);
SEXP C_write_columns(SEXP function, SEXP dataset, SEXP columns);

#endif
