// R's values as C's, and back, for the functions of the interface. A value of R that will not do is an error
// of R's ahead of the call. Texts and arrays that go in live until the call from R is over; memory that the
// library gave is released by what makes a value of R of it, unless the name says otherwise: Texts, Doubles,
// Integers leave it.
#ifndef VALUES_H
#define VALUES_H

#include <Rinternals.h>
#include <stdbool.h>
#include <wchar.h>

#include "shim.h"

struct Bytes {
  const char* start;
  int length;
};

// NULL and NA are a null text.
const char* TextOrNull(SEXP text);
// Of a text, or raw bytes, with zeros among them.
struct Bytes BytesOf(SEXP value);
int IntOf(SEXP number);
unsigned int UintOf(SEXP number);
long LongOf(SEXP number);
// NA and NaN are the system-missing value.
double DoubleOf(SEXP number);
bool FlagOf(SEXP flag);
// As the header has them; the library changes none.
char** TextsOf(SEXP texts);
int* IntsOf(SEXP numbers);
// How many of both. With none, the library would end the process.
int OneEach(SEXP names, SEXP types);

SEXP TextOrNA(const char* text);
SEXP TakeText(char* text);
SEXP TakeList(void* handle);
SEXP TakeBytes(char* bytes, int length);
SEXP TakeIntegers(int* numbers, int count);
SEXP Texts(char** texts, int count);
SEXP Doubles(const double* numbers, int count);
SEXP Integers(const int* numbers, int count);
// The numbers of the characters.
SEXP Characters(const wchar_t* text);

#endif
