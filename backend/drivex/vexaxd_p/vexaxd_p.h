/* vexaxd_p.h: the client interface of libvexaxd_p, for programs that drive the statistics backend.
 *
 * A session: SetXNameAndSHome (if the defaults will not do), StartVexa, any calls, StopVexa. The session is
 * one set of state per process, without a lock: one thread at a time calls.
 *
 * Codes. 0 is success. A function either returns its code, or stores it through its last argument `errCode`
 * and returns the value. Codes of the library: 10 index out of range, 17 the backend is not running, 24 wrong
 * type of value, 99103 the backend is gone, 99104 a pipe failed, 99106 an endpoint without a name, 99107 the
 * process just started has ended. Any other code is the backend's own and handed on as it is; 23 and 67 say
 * that the data, or a split of it, ended. "Guarded" functions return 17 at once, and send nothing, while no
 * backend runs; the others go to the pipes, and in a process that has no backend at all they wait there for
 * one.
 *
 * A write to a backend that has died raises SIGPIPE: programs that want a code instead ignore that signal.
 *
 * Texts are zero-terminated bytes in the backend's encoding. A text that is returned is valid until the next
 * call that returns one; it is the library's and is not freed. What comes through out-parameters and is freed
 * by the caller says with what. On failure out-parameters stay unwritten, unless the function says otherwise;
 * a null out-parameter of a number takes nothing. Variable indices are the backend's, from 0 with the
 * practice engine, and travel unchecked.
 */
#ifndef VEXAXD_P_H
#define VEXAXD_P_H

#include <stdbool.h>

#include "vexa_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- Session --- */

/* Sets the language name and the home directory of the backend's installation; null counts as empty.
 * Defaults, when this is not called before anything else: the name "UNNAMEDX", and the home in the
 * environment's VEXA_HOME. */
VEXA_API void SetXNameAndSHome(const char* xname, const char* home);

/* Starts the backend, `bin/StartXD` under the home, as a child process, and waits for its first message.
 * Takes at least one second. `commandLine` goes to the backend behind a blank; null counts as empty. At its
 * beginning it may hold
 * "-vexahome=DIR," and "-language=NAME,", each up to the comma or the end; anywhere "-temppath DIR": these
 * are taken out. The fifos are made in the first of VEXADXTEMP, TEMP, TMP, tmp that the environment has, else
 * in /tmp/: under names that others can compute, so the directory should belong to the user alone (mode
 * 0700). Returns 0, also when a backend is ready already; 17 when there is no `bin/StartXD` (said on standard
 * output); 99107 when the process ended within its first second or before its first message; else the code of
 * that message, or 99103, 99104 from its pipe, with the process ended. No time limit while the process lives.
 */
VEXA_API int StartVexa(const char* commandLine);

/* Whether a backend answers. Asks nobody, and says false, when this process has started none that still lives
 * and the environment has no VEXA_RUNNING. */
VEXA_API bool IsBackendReady(void);

/* Whether this process drives the backend, and not the other way round. True when no backend is ready. */
VEXA_API bool IsXDriven(void);

/* Ends the session: asks the backend to stop, closes and removes the fifos, ends the process that StartVexa
 * started and resets all state. Takes at least one second. Without effect unless a backend is ready and this
 * process drives it. */
VEXA_API void StopVexa(void);

/* Sets whether guarded functions go through. For hosts that are themselves started by the backend. Returns 0.
 */
VEXA_API int SetVexaRunning(bool running);

/* Asks the backend to end the thread that reads requests. Returns the code. Not guarded. */
VEXA_API int StopReceiveXdApiThread(void);

/* Brings up a process that the backend started: `appName` holds "vexaengine" or is "LOCAL" when the backend
 * is on this machine; `tempPath` (ending in "/"), `pid` and `xname` are those of the fifos' names; `fifth`
 * has no use. The home is the environment's VEXA_HOME. Null texts count as empty. */
VEXA_API void InitXProcess(const char* appName, const char* tempPath, const char* pid, const char* xname,
                           const char* fifth);

/* --- Dictionary of the active dataset --- */

/* The number of variables. Not meaningful when errCode is not 0. */
VEXA_API int GetVariableCount(int* errCode);

/* The number of cases; -1 on failure, and when the backend does not know it (errCode 0). */
VEXA_API long GetRowCount(int* errCode);

/* Name, label and format text ("F8.2") of a variable; null on failure. */
VEXA_API const char* GetVariableName(int index, int* errCode);
VEXA_API const char* GetVariableLabel(int index, int* errCode);
VEXA_API const char* GetVariableFormat(int index, int* errCode);

/* The type of a variable: 0 numeric, otherwise the width of the string in bytes. 0 on failure, too. */
VEXA_API int GetVariableType(int index, int* errCode);

/* The measurement level and the role of a variable, as the backend numbers them. 0 on failure, too. */
VEXA_API int GetVariableMeasurementLevel(int index, int* errCode);
VEXA_API int GetVariableRole(int index, int* errCode);

/* The width of the backend's output in characters. Not meaningful when errCode is not 0. */
VEXA_API int GetVexaOutputWidth(int* errCode);

/* The names of the split variables: a string list handle, released with RemoveStringList. Null on failure. */
VEXA_API void* GetSplitVariableNames(int* errCode);

/* The name of the weight variable, empty for none; null on failure. */
VEXA_API const char* GetWeightVar(int* errCode);

/* The print format of a variable: its type as the backend numbers it, width and decimals in characters.
 * Guarded. */
VEXA_API int GetVariableFormatType(int index, int* formatType, int* formatWidth, int* formatDecimal);

/* The missing values of a string variable. *missingFormat: 0 none, 1 to 3 that many. Each value goes into a
 * buffer of at least 8 bytes, filled up with NULs; a value of 8 bytes leaves no terminator. All three are
 * written whatever the format says. Guarded. */
VEXA_API int GetVarCMissingValues(int index, int* missingFormat, char* value1, char* value2, char* value3);

/* The missing values of a numeric variable. *missingFormat: 0 none, 1 to 3 that many, -2 the range value1 to
 * value2, -3 that range and value3. All three are written whatever the format says. Guarded. */
VEXA_API int GetVarNMissingValues(int index, int* missingFormat, double* value1, double* value2,
                                  double* value3);

/* The lowest and the highest value that a range of missing values can name. A reply without two numbers
 * aborts. Guarded. */
VEXA_API int GetVEXALowHigh(double* low, double* high);

/* The value labels of a variable: *count pairs, values[i] with labels[i]. With a *count of 0 or less the
 * arrays stay unwritten. The arrays are the caller's, released with FreeNValueLabels (FreeCValueLabels for a
 * string variable). Guarded. */
VEXA_API int GetNValueLabels(int index, double** values, char*** labels, int* count);
VEXA_API int GetCValueLabels(int index, char*** values, char*** labels, int* count);

/* Release what GetNValueLabels and GetCValueLabels gave. Guarded: 17 frees nothing. Null arrays with a count
 * of 1 or more abort; null labels are passed over. */
VEXA_API int FreeNValueLabels(double* values, char** labels, int count);
VEXA_API int FreeCValueLabels(char** values, char** labels, int count);

/* Whether the active dataset needs a cache, as 0 or 1. A reply without a number aborts. Guarded. */
VEXA_API int IsNeedCache(int* need);

/* The value that stands for system-missing: -1.7976931348623157e+308. Guarded. */
VEXA_API int GetSystemMissingValue(double* value);

/* Whether a name will do for a variable: the backend's verdict, 0 for a good name with the practice engine. 0
 * on any failure, too. A reply without a number aborts. */
VEXA_API int ValidateVarName(const char* name);

/* --- Dictionary of the running procedure's dataset --- */

/* As their namesakes above. On failure: -1; 0 for the count of variables; an empty text, never null. A
 * successful reply without the number asked for aborts. */
VEXA_API long GetRowCountInProcDS(int* errCode);
VEXA_API int GetVariableCountInProcDS(int* errCode);
VEXA_API const char* GetVariableFormatInProcDS(int index, int* errCode);
VEXA_API const char* GetVariableLabelInProcDS(int index, int* errCode);
VEXA_API int GetVariableMeasurementLevelInProcDS(int index, int* errCode);
VEXA_API const char* GetVariableNameInProcDS(int index, int* errCode);
VEXA_API int GetVariableTypeInProcDS(int index, int* errCode);
VEXA_API int GetVariableRoleInProcDS(int index, int* errCode);

/* As their namesakes above, without a difference. Guarded. */
VEXA_API int GetVarCMissingValuesInProcDS(int index, int* missingFormat, char* value1, char* value2,
                                          char* value3);
VEXA_API int GetVarNMissingValuesInProcDS(int index, int* missingFormat, double* value1, double* value2,
                                          double* value3);
VEXA_API int GetVariableFormatTypeInProcDS(int index, int* formatType, int* formatWidth, int* formatDecimal);

/* The number of selected cases; -1 on failure. Guarded: 17 goes to errCode. */
VEXA_API long GetSelectedRowCountInProcDS(int* errCode);

/* --- Case cursor --- */

/* Opens a cursor over the active dataset: "r" to read, "w" to write, case by case. On 0 the library holds the
 * layout of a case and fetches cases in blocks, up to 20 MiB each for a read cursor and one case at a time
 * otherwise. NextCase then steps to the first case. Guarded. */
VEXA_API int MakeCaseCursor(const char* accessType);

/* The second half of MakeCaseCursor: asks the backend for the layout and makes the cursor. A cursor that is
 * there is overwritten, not released. Not guarded. */
VEXA_API void IntializeCursorData(const char* accessType);

/* Steps to the next case. 0: there is one. 23 or 67: the data, or the split, ended; the call after that asks
 * the backend again. Without a cursor of MakeCaseCursor each case costs an exchange. A dataset without
 * variables cannot be walked. Guarded. */
VEXA_API int NextCase(void);

/* A numeric value of the current case. *missing: 0 valid, 1 user-missing, 2 system-missing. Returns 10 for an
 * index that is not there, or when no case is current; 24 for a string variable. Guarded. */
VEXA_API int GetNumericValue(unsigned int index, double* value, int* missing);

/* A string value of the current case, into the caller's buffer *value, blanks at its end included. With a
 * cursor the variable's full width is written, whatever `length` says, without a terminator when the text
 * fills it: the buffer must hold that width. Without one, `length` bytes are written. *missing: 0 valid, 1
 * user-missing. Returns 10 as above; 24 for a numeric variable. Guarded. */
VEXA_API int GetStringValue(unsigned int index, char** value, int length, int* missing);

/* Removes the cursor, on this side and in the backend. Guarded. */
VEXA_API int RemoveCaseCursor(void);

/* The backend's position in the data, in cases that it has handed out: ahead of NextCase by what is left of
 * the block. Guarded. */
VEXA_API int GetCursorPosition(int* position);

/* Whether the backend has a cursor open for this process, as 0 or 1. Guarded. */
VEXA_API int HasCursor(int* hasCursor);

/* Starts a new pass over the data; the cursor goes. Guarded. */
VEXA_API int ResetDataPass(void);

/* Whether the data of the current split have all been read: *isEnd is 0 while the block in hand has cases.
 * Written with the codes 0 and 67. Guarded. */
VEXA_API int IsEndSplit(int* isEnd);

/* --- Lists and texts that the caller gives back --- */

/* The number of texts behind a string list handle; 0 for null. */
VEXA_API int GetStringListLength(void* handle);

/* Text `index` from 0, owned by the list; an empty text for null and for an index outside. */
VEXA_API const char* GetStringFromList(void* handle, int index);

/* Releases a list. Null is ignored. */
VEXA_API void RemoveStringList(void* handle);

/* Releases an array of `count` texts. Guarded: 17 frees nothing. A count of 0 or less frees nothing. */
VEXA_API int FreeStringArray(void** array, int count);

/* Releases a text or an array of numbers that was given to the caller. Null is ignored. Returns 0. */
VEXA_API int FreeString(void* text);

#ifdef __cplusplus
}
#endif

#endif
