// The table through which a language in this process calls the library back. It goes to the language by
// setup_dxcallback, and the language finds each function by its place:
//
//    0 int  AppMode(void)                       8 int  StartConsole(void)
//    1 int  IsUTF8mode(void)                    9 int  StopConsole(void)
//    2 const char* GetDXVersion(void)          10 int  WriteToConsole(const char* text, int length)
//    3 const char* GetDXTempDir(void)          11 int  ReadFromConsole(char* buffer, int size)
//    4 int  GetNestLevel(void)                 12 void RecordBrowserOutput(const char* text,
//    5 void Trace(const char*)                        unsigned long length, int (*convert)(const char*,
//    6 int  GetSyntaxLine(char* buffer,               unsigned long, char*, unsigned long))
//           int size)                          13 int  PostVexaOutput(const char* text, int length)
//    7 int  SetSyntax(const char* lines)       14 int  IncreaseNestLayer(void)
//                                              15 void DecreaseNestLayer(void)
//
// A language that reads line by line is fed through 7 and 6, by two threads that must be different: its
// execute_x gives the block to SetSyntax, which returns 0 when the last line has been run, and its read loop
// fetches each line, with its "\n", by GetSyntaxLine, which waits for one as long as it takes.
//
// GetSyntaxLine fills `size` bytes with NULs and copies the line behind them. A line of exactly `size`
// characters fits, and its NUL goes behind them: the buffer has room for size + 1. A longer line is lost; the
// result is 1 then and 0 otherwise.
//
// The console is one for the process, an XConsoleW with its codes. StartConsole opens it, and so does
// WriteToConsole where there is none; ReadFromConsole answers 1 then. StopConsole closes it, and answers 0
// where there is none. One thread of the language uses these four.
#ifndef DXCALLBACK_H
#define DXCALLBACK_H

#include "vexa_api.h"

// Sixteen function pointers, one table for the life of the process. Never null; nobody frees it.
VEXA_API void* CreateDXCallBackHandle();

#endif
