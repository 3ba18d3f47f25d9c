/* vexaxd_p.h: the client interface of libvexaxd_p, for programs that drive the statistics backend.
 *
 * A session: SetXNameAndSHome (if the defaults will not do), StartVexa, any calls, StopVexa. The session is
 * one set of state per process, without a lock: one thread at a time calls.
 *
 * Codes. 0 is success. A function either returns its code, or stores it through its last argument `errCode`
 * and returns the value; VexaLastError tells in words what failed and why. Codes of the library: 10 index out
 * of range, 17 the backend is not running, 24 wrong type of value, 56, 57, 87, 89 and 97 as the cells of data
 * steps tell, 99103 the backend is gone, 99104 a pipe failed, 99106 an endpoint
 * without a name, 99107 the process just started has ended, 99124 the wait was given up
 * (VexaSetInterruptCheck), 99125 a block of an earlier session is still running in this process, 99126 a
 * message would be over 2 GiB or larger than memory, 99127 a column cannot be taken as it is
 * (vexaxd_columns.h). Any other code is the backend's own and handed on as it is; 23 and 67 say that the
 * data, or a split of it, ended. "Guarded" functions return 17 at once, and send nothing, while no backend
 * runs; the others go to the pipes, and in a process that has no backend at all they wait there for one.
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
#include <stddef.h>

#include "vexa_api.h"

/* --- Version --- */

/* The version that a program is compiled with; VexaVersion tells the one that it runs with. A minor version
 * of 0.x may take something away, a patch never does. */
#define VEXA_VERSION_MAJOR 0
#define VEXA_VERSION_MINOR 1
#define VEXA_VERSION_PATCH 0
#define VEXA_VERSION_TEXT "0.1.0"
#define VEXA_VERSION (VEXA_VERSION_MAJOR * 10000 + VEXA_VERSION_MINOR * 100 + VEXA_VERSION_PATCH)

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the library, such as "0.1.0". Constant: never null, not to be freed. Needs no session. */
VEXA_API const char* VexaVersion(void);

/* --- Session --- */

/* Sets the language name and the home directory of the backend's installation; null counts as empty.
 * Defaults, when this is not called before anything else: the name "UNNAMEDX", and the home in the
 * environment's VEXA_HOME, else the one that was installed with the library. */
VEXA_API void SetXNameAndSHome(const char* xname, const char* home);

/* Starts the backend, `bin/StartXD` under the home, as a child process, and waits for its first message.
 * Takes at least one second, unless VEXA_QUICK is in the environment and not empty: then as long as the
 * backend takes to come up. `commandLine` goes to the backend behind a blank; null counts as empty. At its
 * beginning it may hold "-vexahome=DIR," and "-language=NAME,", each up to the comma or the end; anywhere
 * "-temppath DIR": these are taken out. The language and the temp path have no effect (SetXNameAndSHome sets
 * the one, the environment the other). The backend's environment is made anew: SHELL, VEXA_HOME, the library
 * search path, PATH, TERM, VEXA_QUICK, VEXA_SPIN, VEXA_RECORD, TMPDIR and HOME, and nothing else of this
 * process's. VEXA_RECORD names a directory in which every process of the session records its messages. The
 * fifos are made in the first of VEXADXTEMP, TEMP, TMP, tmp that the environment has, else in /tmp/: under
 * names that others can compute, so the directory should belong to the user alone (mode 0700). Returns 0,
 * also when a backend is ready already; 17 when there is no `bin/StartXD` (said on standard output); 99107
 * when the process ended within its first second or before its first message; else the code of that message,
 * or 99103, 99104 from its pipe, with the process ended. No time limit while the process lives.
 */
VEXA_API int StartVexa(const char* commandLine);

/* Whether a backend answers. Asks nobody, and says false, when this process has started none that still lives
 * and the environment has no VEXA_RUNNING. */
VEXA_API bool IsBackendReady(void);

/* Whether this process drives the backend, and not the other way round. True when no backend is ready. */
VEXA_API bool IsXDriven(void);

/* Ends the session: asks the backend to stop, closes and removes the fifos, ends the process that StartVexa
 * started and resets all state: pending cell writes and gathered values are dropped, unsent, and so are the
 * cursor, the datasets of a step and the batch in hand. Takes at least one second, unless VEXA_QUICK is in
 * the environment and not empty, and up to five more where the backend can run code of this process's
 * language and does not say that it has done with that. Without effect unless a backend is ready and this
 * process drives it. Not to be called from code that the backend runs here. */
VEXA_API void StopVexa(void);

/* Sets whether guarded functions go through. For hosts that are themselves started by the backend. Returns 0.
 */
VEXA_API int SetVexaRunning(bool running);

/* Sets a function that says whether to give up the wait of a call: asked about ten times a second, and after
 * each signal, with `context`, while the reply of a call is due (or its request does not go out), and only in
 * calls of the thread that set it. Once it returns other than 0 the call ends with 99124; what the backend
 * was asked to do goes on there, and its reply is read and dropped ahead of the next call, which so waits for
 * it. The function must not call this interface. A walk over the cases whose NextCase was given up cannot go
 * on, since cases are lost: each further step gives 99124 until the cursor is made anew. StopVexa after such
 * a call waits a second for the reply and then ends the backend all the same. HasProcedure is never given up.
 * Null, the default, takes the function back. */
VEXA_API void VexaSetInterruptCheck(int (*check)(void*), void* context);

/* What failed last on this thread, in words for a person: the function, what its code means, the code, and
 * what is known beyond, such as the file and the system's reason, the words of the backend on its refusal, or
 * the end of what a program wrote that did not start. Asked behind a call that failed; a call that goes well
 * changes nothing. Never null: empty while nothing has failed. In the library's language, English, but for
 * what others said. Valid until this thread's next call; not to be freed. */
VEXA_API const char* VexaLastError(void);

/* Asks the backend to end the thread that reads requests. Returns the code. Not guarded. */
VEXA_API int StopReceiveXdApiThread(void);

/* Brings up a process that the backend started: `appName` holds "vexaengine" or is "LOCAL" when the backend
 * is on this machine; `tempPath` (ending in "/"), `pid` and `xname` are those of the fifos' names; `fifth`
 * has no use. The home is the environment's VEXA_HOME. Null texts count as empty. Brings the language up
 * where the configuration supports it. */
VEXA_API void InitXProcess(const char* appName, const char* tempPath, const char* pid, const char* xname,
                           const char* fifth);

/* --- Syntax and output streams --- */

/* Submits `length` bytes of command syntax, zeros included; the block that QueueCommandPart began ends with
 * it. Posts text into the backend's output. A null text sends none. Guarded. */
VEXA_API int Submit(const char* command, int length);
VEXA_API int QueueCommandPart(const char* command, int length);
VEXA_API int PostVexaOutput(const char* output, int length);

/* Open and close a user procedure, under whose name output stands. A null `secondName` sends `name` twice.
 * Guarded. */
VEXA_API int StartProcedure(const char* name, const char* secondName);
VEXA_API int EndProcedure(void);

/* The backend's own answer whether a procedure is open. Any failure aborts the process: for callers that
 * cannot go on without an answer. */
VEXA_API int HasProcedure(void);

/* How deep the backend's syntax is nested. Guarded. */
VEXA_API int GetNestDepth(int* depth);

/* A text in the backend's encoding; an empty text, never null, on failure. */
VEXA_API const char* TransCode(const char* source, int* errCode);

/* The language of the output; null on failure. */
VEXA_API const char* GetOutputLanguage(int* errCode);
VEXA_API void SetOutputLanguage(const char* language, int* errCode);

/* Modes, with numbers of the backend's. GetXDriveMode and IsUTF8mode abort on a successful reply without its
 * numbers. The first two are guarded; IsUTF8mode gives 0 on any failure. */
VEXA_API int SetXDriveMode(int mode);
VEXA_API int GetXDriveMode(int* mode, int* second);
VEXA_API int SetMode(int mode);
VEXA_API int IsUTF8mode(void);

/* A folder that the R side keeps here, in this process alone. The setter takes null as empty and returns 0;
 * the getter's text is valid until the next set. */
VEXA_API int SetRTempFolderToVEXA(const char* folder);
VEXA_API const char* GetRTempFolderToVEXA(void);

/* Starts (true) and ends (false) a private copy of what is shown, appended to the file at `path`. While one
 * is open a second path is ignored; a file that cannot be opened is no error. Returns 0. */
VEXA_API int SetRecordBrowserOutput(const char* path, bool enable);

/* Writes `text`, up to its zero, to that file, unless `length` is 0. Where the backend works in UTF-8 (asked
 * each time) and `convert` is not null, what it makes of the text is written: it gets the text, its size in
 * bytes with the zero, a zeroed buffer and the buffer's size. */
VEXA_API void RecordBrowserOutput(const char* text, unsigned long length,
                                  int (*convert)(const char* source, unsigned long sourceSize,
                                                 char* destination, unsigned long destinationSize));

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

/* --- Attributes and multiple response sets --- */

/* The names of the attributes of a variable and of the data file, and the values of one of them: *count
 * texts. With a *count of 0 or less the array stays unwritten. The array is the caller's, released with
 * FreeAttributeNames or FreeAttributes, which are the same. Guarded. Those that end in InProcDS ask about the
 * running procedure's dataset. */
VEXA_API int GetVarAttributeNames(int index, char*** names, int* count);
VEXA_API int GetDataFileAttributeNames(char*** names, int* count);
VEXA_API int GetVarAttributes(int index, const char* attrName, char*** values, int* count);
VEXA_API int GetDataFileAttributes(const char* attrName, char*** values, int* count);
VEXA_API int GetVarAttributeNamesInProcDS(int index, char*** names, int* count);
VEXA_API int GetDataFileAttributeNamesInProcDS(char*** names, int* count);
VEXA_API int GetVarAttributesInProcDS(int index, const char* attrName, char*** values, int* count);
VEXA_API int GetDataFileAttributesInProcDS(const char* attrName, char*** values, int* count);

/* Writes an attribute of a variable: the practice engine takes the variable's name, the attribute's name, a
 * value and the value's index from 0. Guarded. */
VEXA_API int SetVarAttributes(const char* attrText1, const char* attrText2, const char* attrText3,
                              int attrValue);

/* Release `count` texts and their array. Guarded: 17 frees nothing. A count of 0 or less frees nothing. */
VEXA_API int FreeAttributeNames(char** names, int count);
VEXA_API int FreeAttributes(char** values, int count);

/* The names of the multiple response sets: a string list handle, released with RemoveStringList. Null on
 * failure. */
VEXA_API void* GetMultiResponseSetNames(int* errCode);
VEXA_API void* GetMultiResponseSetNamesInProcDS(int* errCode);

/* One set: two texts, released with FreeString, two numbers, and its members as a string list handle,
 * released with RemoveStringList. On failure errCode alone is written. */
VEXA_API void GetMultiResponseSet(const char* setName, char** setText1, int* setValue1, char** setText2,
                                  int* setValue2, void** members, int* errCode);
VEXA_API void GetMultiResponseSetInProcDS(const char* setName, char** setText1, int* setValue1,
                                          char** setText2, int* setValue2, void** members, int* errCode);

/* --- Pivot tables --- */

/* A table is built in the backend. The client keeps no record of it, so that every call says again which
 * table it means, by three texts and a flag (the practice engine reads them as procedure, type and title,
 * and whether the table belongs to the split group), and which dimension, by a text, two numbers and two
 * flags. Cells go to the categories that were named last; format calls hold for the cells that follow. All
 * are guarded and return the code. A null text sends none, so that later ones move forward. */

/* The table: start it, hide its title, caption, footnotes, the width of its data columns, in the backend's
 * unit (characters with the practice engine). */
VEXA_API int StartPivotTable(const char* tableText1, const char* tableText2, const char* tableText3,
                             bool tableFlag);
VEXA_API int HidePivotTableTitle(const char* tableText1, const char* tableText2, const char* tableText3,
                                 bool tableFlag);
VEXA_API int PivotTableCaption(const char* tableText1, const char* tableText2, const char* tableText3,
                               bool tableFlag, const char* caption);
VEXA_API int AddCaptionFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                                 bool tableFlag, const char* caption, const char* footnote);
VEXA_API int MinDataColumnWidth(const char* tableText1, const char* tableText2, const char* tableText3,
                                bool tableFlag, int width);
VEXA_API int MaxDataColumnWidth(const char* tableText1, const char* tableText2, const char* tableText3,
                                bool tableFlag, int width);
VEXA_API int AddOutlineFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                                 const char* footnote, bool tableFlag);
VEXA_API int AddTitleFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                               const char* footnote, bool tableFlag);

/* Output without a table: a procedure's footnote, the change of a split, labels of a graphic, a block of text
 * with the number `blockValue`. */
VEXA_API int AddProcFootnotes(const char* footnote);
VEXA_API int SplitChange(const char* splitText);
VEXA_API int SetGraphicsLabel(const char* labelText1, const char* labelText2);
VEXA_API int AddTextBlock(const char* tableText1, const char* tableText2, const char* tableText3,
                          int blockValue);

/* Dimensions, categories and cells. `varIndex` names a variable, for its name or for a value that is shown by
 * its label; a date's value is a text. */
VEXA_API int AddDimension(const char* tableText1, const char* tableText2, const char* tableText3,
                          bool tableFlag, const char* dimText, int dimValue1, int dimValue2, bool dimFlag1,
                          bool dimFlag2);
VEXA_API int AddDimFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                             bool tableFlag, const char* dimText, int dimValue1, int dimValue2, bool dimFlag1,
                             bool dimFlag2, const char* footnote);
VEXA_API int AddNumberCategory(const char* tableText1, const char* tableText2, const char* tableText3,
                               bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                               bool dimFlag1, bool dimFlag2, double value);
VEXA_API int AddStringCategory(const char* tableText1, const char* tableText2, const char* tableText3,
                               bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                               bool dimFlag1, bool dimFlag2, const char* value);
VEXA_API int AddVarNameCategory(const char* tableText1, const char* tableText2, const char* tableText3,
                                bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                                bool dimFlag1, bool dimFlag2, int varIndex);
VEXA_API int AddVarValueDoubleCategory(const char* tableText1, const char* tableText2, const char* tableText3,
                                       bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                                       bool dimFlag1, bool dimFlag2, int varIndex, double value);
VEXA_API int AddVarValueStringCategory(const char* tableText1, const char* tableText2, const char* tableText3,
                                       bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                                       bool dimFlag1, bool dimFlag2, int varIndex, const char* value);
VEXA_API int AddCategoryFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                                  bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                                  bool dimFlag1, bool dimFlag2, const char* footnote);
VEXA_API int SetNumberCell(const char* tableText1, const char* tableText2, const char* tableText3,
                           bool tableFlag, const char* dimText, int dimValue1, int dimValue2, bool dimFlag1,
                           bool dimFlag2, double value);
VEXA_API int SetStringCell(const char* tableText1, const char* tableText2, const char* tableText3,
                           bool tableFlag, const char* dimText, int dimValue1, int dimValue2, bool dimFlag1,
                           bool dimFlag2, const char* value);
VEXA_API int SetVarNameCell(const char* tableText1, const char* tableText2, const char* tableText3,
                            bool tableFlag, const char* dimText, int dimValue1, int dimValue2, bool dimFlag1,
                            bool dimFlag2, int varIndex);
VEXA_API int SetVarValueDoubleCell(const char* tableText1, const char* tableText2, const char* tableText3,
                                   bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                                   bool dimFlag1, bool dimFlag2, int varIndex, double value);
VEXA_API int SetVarValueStringCell(const char* tableText1, const char* tableText2, const char* tableText3,
                                   bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                                   bool dimFlag1, bool dimFlag2, int varIndex, const char* value);
VEXA_API int AddCellFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                              bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                              bool dimFlag1, bool dimFlag2, const char* footnote);
VEXA_API int SetDateCell(const char* tableText1, const char* tableText2, const char* tableText3,
                         bool tableFlag, const char* dimText, int dimValue1, int dimValue2, bool dimFlag1,
                         bool dimFlag2, const char* value);

/* The format of the numbers that follow. `formatValue` is the index of the variable whose format is taken. */
VEXA_API int SetFormatSpecCoefficient(void);
VEXA_API int SetFormatSpecCoefficientSE(void);
VEXA_API int SetFormatSpecCoefficientVar(void);
VEXA_API int SetFormatSpecCorrelation(void);
VEXA_API int SetFormatSpecGeneralStat(void);
VEXA_API int SetFormatSpecMean(int formatValue);
VEXA_API int SetFormatSpecCount(void);
VEXA_API int SetFormatSpecPercent(void);
VEXA_API int SetFormatSpecPercentNoSign(void);
VEXA_API int SetFormatSpecProportion(void);
VEXA_API int SetFormatSpecSignificance(void);
VEXA_API int SetFormatSpecResidual(void);
VEXA_API int SetFormatSpecVariable(int formatValue);
VEXA_API int SetFormatSpecStdDev(int formatValue);
VEXA_API int SetFormatSpecDifference(int formatValue);
VEXA_API int SetFormatSpecSum(int formatValue);

/* --- XPath, images, settings and the host --- */

/* Make and remove a handle on the XML of the output so far. Guarded. */
VEXA_API int CreateXPathDictionary(const char* handle);
VEXA_API int RemoveXPathHandle(const char* handle);

/* What an XPath expression finds: the handle, a context and the expression. A string list handle, released
 * with RemoveStringList; null on failure. */
VEXA_API void* EvaluateXPath(const char* handle, const char* xpathText2, const char* xpathText3,
                             int* errCode);

/* The XML of a handle as a wide text, valid until the next call of this function; null on failure. Its length
 * in characters, as the backend reports it; 0 on failure. */
VEXA_API const wchar_t* GetXmlUtf16(const char* handle, int* errCode);
VEXA_API int GetXmlUtf16Length(void);

/* An image of the output: *imageLength bytes, the caller's, released with FreeString; null on failure.
 * *imageText takes a text about it, released with FreeString, and stays unwritten when there is none. */
VEXA_API char* GetImage(const char* handle, const char* imageName, int* imageLength, char** imageText,
                        int* errCode);

/* Hands a graphics file to the output. A null path aborts. The outcome is not told. */
VEXA_API void GetGraphic(const char* filePath);

/* A setting of the backend; the second text, which stands behind errCode, may be null. Null on failure. */
VEXA_API const char* GetSetting(const char* settingName, int* errCode, const char* settingText2);

/* Lists, each a string list handle, released with RemoveStringList; null on failure: the kinds of output, the
 * XPath handles, the file handles (guarded: 17 goes to errCode). */
VEXA_API void* GetOMSTagList(int* errCode);
VEXA_API void* GetHandleList(int* errCode);
VEXA_API void* GetFileHandles(int* errCode);

/* The backend's locale; null on failure. */
VEXA_API const char* GetVEXALocale(int* errCode);

/* The backend's C locale, which this process takes over in all categories. *locale is released with
 * FreeString; it stays unwritten when the reply has none. Guarded. */
VEXA_API int GetCLocale(char** locale);

/* Name, version and copyright of the application that hosts the backend. The texts are released with
 * FreeString. A successful reply with another number of texts aborts. Guarded. */
VEXA_API int GetHostAppNameAndVersion(char** appName, char** appVersion);
VEXA_API int GetHostAppCopyright(char** copyright);
VEXA_API int SetHostAppNameAndVersion(const char* appName, const char* appVersion);
VEXA_API int SetHostAppCopyright(const char* copyright);

/* The server mode: -1 on any failure and while no backend runs. */
VEXA_API int GetQuillonServerMode(void);
VEXA_API void SetQuillonServerMode(int mode);

/* Whether the backend works in distributed mode; false on any failure and while no backend runs. */
VEXA_API bool IsDistributedMode(void);

/* Whether the filter is applied, as 0 or 1. Guarded. */
VEXA_API int IsUseOrFilter(int* useFilter);

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

/* --- New variables and case commit --- */

/* Declare new variables by name and type: 0 numeric, otherwise the string width in bytes. SetVarNameAndType
 * takes `numOfVar` of each and aborts unless that is above 0; or AllocNewVarsBuffer announces `count` and
 * SetOneVarNameAndType declares one. All functions of this section are guarded and return the code. */
VEXA_API int SetVarNameAndType(char** names, int* types, int numOfVar);
VEXA_API int AllocNewVarsBuffer(int count);
VEXA_API int SetOneVarNameAndType(const char* name, int type);

/* Describe them, by name. Missing values as in GetVarNMissingValues; of the string ones a null is left out.
 * Alignment: 0 left, 1 right, 2 centre. */
VEXA_API int SetVarLabel(const char* name, const char* label);
VEXA_API int SetVarCValueLabel(const char* name, const char* value, const char* label);
VEXA_API int SetVarNValueLabel(const char* name, double value, const char* label);
VEXA_API int SetVarCMissingValues(const char* name, int missingFormat, const char* value1, const char* value2,
                                  const char* value3);
VEXA_API int SetVarNMissingValues(const char* name, int missingFormat, double value1, double value2,
                                  double value3);
VEXA_API int SetVarMeasureLevel(const char* name, int level);
VEXA_API int SetVarAlignment(const char* name, int alignment);
VEXA_API int SetVarFormat(const char* name, int type, int width, int decimals);
VEXA_API int SetVarRole(const char* name, int role);

/* Closes the dictionary of the new variables. */
VEXA_API int CommitHeader(void);

/* Gather a value of the case being built, on this side alone; a string of exactly `length` bytes. A name that
 * the dataset does not have is found out at the commit. */
VEXA_API int SetValueNumeric(const char* name, double value);
VEXA_API int SetValueChar(const char* name, const char* value, int length);

/* Commit the gathered values, to the current case or as a new one. They are gone afterwards, whatever the
 * code. With a cursor, CommitCaseRecord brings back the next case, and NextCase steps to it without another
 * exchange. */
VEXA_API int CommitCaseRecord(void);
VEXA_API int CommitNewCase(void);

/* Commits `caseCount` cases at once, `dataLength` bytes laid out case by case in units of 8. `data` comes
 * from malloc and is the library's from the call on, whatever the code. Gathered values are dropped. */
VEXA_API int CommitManyCases(char** names, int* types, void* data, int numOfVar, int dataLength,
                             int caseCount);

/* Ends the changes. */
VEXA_API int EndChanges(void);

/* Sends the pending cell writes of SetNCellValue and SetCCellValue. They are gone afterwards, whatever the
 * code. */
VEXA_API int CommitDataSet(void);

/* --- Data steps --- */

/* Open and close a data step, in which datasets are opened by name. Closing sends pending cell writes first,
 * without telling their code: who wants it calls CommitDataSet ahead of it. A close that fails leaves the
 * step open with its datasets, and drops the batch in hand and what was pending. Guarded. */
VEXA_API int StartDataStep(void);
VEXA_API int EndDataStep(void);

/* Brings a dataset into the step; an empty name and "*" mean the active one. The flags go to the backend.
 * Returns the code of the last of its questions. A name that is in the step already is brought in once more:
 * counts, types and the case in hand stay those of the first time. Guarded. */
VEXA_API int CreateDataset(const char* name, bool flag1, bool flag2);

/* The last part of CreateDataset: asks for the layout of a case. Not guarded. */
VEXA_API void IntiDataStepData(const char* name);

/* Names of datasets. SetDatasetName leaves the old name in the step; GetNewDatasetName copies a fresh name
 * into the caller's buffer, which nobody measures: 65 bytes hold any name of the practice engine, other
 * backends tell for themselves. It aborts on a successful reply without a name. Guarded. */
VEXA_API int SetDatasetName(const char* name, const char* newName);
VEXA_API int GetNewDatasetName(char* name);
VEXA_API int SetActive(const char* name);
VEXA_API int CopyDataset(const char* source, const char* target);

/* The name of the active dataset, "*" when it has none and on failure. */
VEXA_API const char* GetActive(int* errCode);

/* All datasets, the opened ones, those of the step: *count names, released with FreeStringArray; unwritten
 * for none. Guarded. */
VEXA_API int GetVexaDatasets(char*** names, int* count);
VEXA_API int GetOpenedVexaDatasets(char*** names, int* count);
VEXA_API int GetDatastepDatasets(char*** names, int* count);

/* Sends pending cell writes, without telling their code, and closes a dataset. Guarded. */
VEXA_API int CloseDataset(const char* name);

/* The number of variables (0 on failure) and of cases (-1 on failure) of a dataset. */
VEXA_API int GetVarCountInDS(const char* name, int* errCode);
VEXA_API long GetCaseCountInDS(const char* name, int* errCode);

/* --- Dictionary of a dataset of the step --- */

/* `name` is the dataset, `var` the index of a variable from 0, `type` 0 for numeric or a string width. The
 * first four change the list of variables and ask anew where each stands in a case; they return the code of
 * the last question, and a case that was loaded is gone. Not with MoveVariables, which also leaves the types
 * as they stood, and counts a variable more than there is: the functions of the case in hand judge a variable
 * by the one that was at its index before, and a cell behind the last column is refused by the backend alone,
 * until the dataset has been closed and brought in anew. Guarded. */
VEXA_API int InsertVariable(const char* name, int position, const char* varName, int type);
VEXA_API int DeleteVariable(const char* name, int var);
VEXA_API int SetVarTypeInDS(const char* name, int var, int type);
VEXA_API int MoveVariables(const char* name, int* vars, int count, int target);

/* Texts: on failure null, an empty text for the name. Numbers: 0 on failure. */
VEXA_API const char* GetVarNameInDS(const char* name, int var, int* errCode);
VEXA_API const char* GetVarLabelInDS(const char* name, int var, int* errCode);
VEXA_API const char* GetVarFormatInDS(const char* name, int var, int* errCode);
VEXA_API const char* GetVarMeasurementLevelInDS(const char* name, int var, int* errCode);
VEXA_API int GetVarTypeInDS(const char* name, int var, int* errCode);
VEXA_API int GetVarAlignmentInDS(const char* name, int var, int* errCode);
VEXA_API int GetVarRoleInDS(const char* name, int var, int* errCode);
VEXA_API int GetVarColumnWidthInDS(const char* name, int var, int* errCode);

/* Set them. Alignment: 0 left, 1 right, 2 centre; the practice engine takes column widths from 1 to 255.
 * Guarded. */
VEXA_API int SetVarNameInDS(const char* name, int var, const char* value);
VEXA_API int SetVarLabelInDS(const char* name, int var, const char* value);
VEXA_API int SetVarMeasurementLevelInDS(const char* name, int var, const char* value);
VEXA_API int SetVarAlignmentInDS(const char* name, int var, int value);
VEXA_API int SetVarColumnWidthInDS(const char* name, int var, int value);
VEXA_API int SetVarRoleInDS(const char* name, int var, int value);
VEXA_API int SetVarFormatInDS(const char* name, int var, int type, int width, int decimals);

/* Missing values, as in GetVarNMissingValues and GetVarCMissingValues. Of the strings set, a null is left
 * out. Guarded. */
VEXA_API int GetVarNMissingValuesInDS(const char* name, int var, int* missingFormat, double* value1,
                                      double* value2, double* value3);
VEXA_API int GetVarCMissingValuesInDS(const char* name, int var, int* missingFormat, char* value1,
                                      char* value2, char* value3);
VEXA_API int SetVarNMissingValuesInDS(const char* name, int var, int missingFormat, double value1,
                                      double value2, double value3);
VEXA_API int SetVarCMissingValuesInDS(const char* name, int var, int missingFormat, const char* value1,
                                      const char* value2, const char* value3);

/* Value labels: *count pairs, the caller's; arrays stay unwritten for none. Numbers are released with
 * FreeDoubleArray, texts with FreeStringArray. Guarded. */
VEXA_API int GetVarNValueLabelInDS(const char* name, int var, double** values, char*** labels, int* count);
VEXA_API int GetVarCValueLabelInDS(const char* name, int var, char*** values, char*** labels, int* count);
VEXA_API int SetVarNValueLabelInDS(const char* name, int var, const char* label, double value);
VEXA_API int SetVarCValueLabelInDS(const char* name, int var, const char* value, const char* label);
VEXA_API int DelVarValueLabelInDS(const char* name, int var);
VEXA_API int DelVarNValueLabelInDS(const char* name, int var, double value);
VEXA_API int DelVarCValueLabelInDS(const char* name, int var, const char* value);

/* Releases an array of numbers when count is at least 1. Returns 0. */
VEXA_API int FreeDoubleArray(void* array, int count);

/* Attributes: names and values are *count texts, released with FreeStringArray; unwritten for none. Guarded.
 */
VEXA_API int GetVarAttributesNameInDS(const char* name, int var, char*** names, int* count);
VEXA_API int GetVarAttributesInDS(const char* name, int var, const char* attrName, char*** values,
                                  int* count);
VEXA_API int SetVarAttributesInDS(const char* name, int var, const char* attrName, char** values, int count);
VEXA_API int DelVarAttributesInDS(const char* name, int var, const char* attrName);
VEXA_API int SetDataFileAttributesInDS(const char* name, const char* attrName, char** values, int count);
VEXA_API int GetDataFileAttributeNamesInDS(const char* name, char*** names, int* count);
VEXA_API int GetDataFileAttributesInDS(const char* name, const char* attrName, char*** values, int* count);
VEXA_API int DelDataFileAttributesInDS(const char* name, const char* attrName);

/* Multiple response sets, as in GetMultiResponseSet; numbers and texts of a set that come in part stay
 * unwritten. The last is guarded. */
VEXA_API void SetMultiResponseSetInDS(const char* name, const char* setName, const char* setText1,
                                      int setValue1, const char* setText2, char** members, int count,
                                      int* errCode);
VEXA_API void* GetMultiResponseSetNamesInDS(const char* name, int* errCode);
VEXA_API void GetMultiResponseSetInDS(const char* name, const char* setName, char** setText1, int* setValue1,
                                      char** setText2, int* setValue2, void** members, int* errCode);
VEXA_API int DelMultiResponseSetInDS(const char* name, const char* setName);

/* No longer served: aborts. */
VEXA_API int SaveFileInDS(void* first, void* second, int third);

/* --- Cells of the step's datasets --- */

/* One cell: row and column from 0. Pending writes are sent first. *missing is the backend's word on the
 * value. 0.0 and null on failure; the text is valid until the next call that returns one. */
VEXA_API double GetNCellValue(const char* name, long row, int column, int* missing, int* errCode);
VEXA_API const char* GetCCellValue(const char* name, long row, int column, int* missing, int* errCode);

/* Queue a cell on this side; it goes out with the next CommitDataSet, read, or closing, or when 1,048,576
 * wait (the code of that commit is then the result, and the cell is queued all the same). Refused with 17, 89
 * (no step or procedure is open), 87 (the dataset is not in the step), 97 (row) and 10 (column), tested in
 * that order. */
VEXA_API int SetNCellValue(const char* name, long row, int column, double value);
VEXA_API int SetCCellValue(const char* name, long row, int column, const char* value);

/* Insert a case in front of `row`, delete the case at `row`. Guarded. */
VEXA_API int InsertCase(const char* name, long row);
VEXA_API int DeleteCase(const char* name, long row);

/* Fetches the batch of rows that holds `row`, in place of the one in hand: with the practice engine an
 * aligned one around it, as its README tells. *errCode is 17 or 0: a fetch that failed shows in the cells,
 * which read as 0.0 and null. */
VEXA_API void FetchDatastep(const char* name, long row, int column, int* errCode);

/* Cells of a batch, read in place; a cell outside reads as 0.0 or null, with code 0. Texts are released with
 * FreeString.
 * ...Batch takes the batch, ...Cache the one in hand, ...Optimize fetches when the row is not in it. */
VEXA_API double GetNCellValueBatch(const char* name, long row, int column, int* missing, int* errCode,
                                   void* batch);
VEXA_API char* GetCCellValueBatch(const char* name, long row, int column, int* missing, int* errCode,
                                  void* batch);
VEXA_API double GetNCellValueOptimize(const char* name, long row, int column, int* missing, int* errCode);
VEXA_API char* GetCCellValueOptimize(const char* name, long row, int column, int* missing, int* errCode);
VEXA_API double GetNCellValueCache(const char* name, long row, int column, int* missing, int* errCode);
VEXA_API char* GetCCellValueCache(const char* name, long row, int column, int* missing, int* errCode);

/* Lets the batch in hand go. */
VEXA_API void ClearDatastepBatch(void);

/* The first and the last row of the batch that holds `row`, fetched if need be, and a further row of the
 * backend's. */
VEXA_API void GetRowList(const char* name, long row, int column, long* first, long* last, long* third,
                         int* errCode);

/* The types of the first `count` variables of the batch in hand. */
VEXA_API void GetVarTypeInDSCache(int* types, int count, int* errCode);

/* Loads a whole case of a dataset: *size bytes. For a dataset that is not in the step nothing is sent or
 * written. */
VEXA_API void GetCaseValue(const char* name, int row, bool flag, int* size, int* errCode);

/* Writes a whole case: `size` bytes at `data`, which are copied; or the case that is loaded, of which `count`
 * variables count. SetCasePartValue gives 0 for a dataset that is not in the step. */
VEXA_API int SetCaseValue(const char* name, long row, bool flag, void* data, int size);
VEXA_API int SetCasePartValue(const char* name, long row, int* vars, bool flag, int count);

/* Cells of the case that is loaded. 10: no such variable; 56: a number asked of a string variable, or a text
 * written where there is no room; 57: a text asked of a number, or a number written to a string variable.
 * *missing is 1 for system-missing, else 0. Texts have the variable's width and are released with FreeString;
 * a text written fills whole units of 8 bytes. A dataset that is not in the step gives 0.0, null and code 0.
 */
VEXA_API double GetNCellValueFromCache(const char* name, int var, int* missing, int* errCode);
VEXA_API char* GetCCellValueFromCache(const char* name, int var, int* errCode);
VEXA_API int SetNCellValueFromCache(const char* name, int var, double value);
VEXA_API int SetCCellValueFromCache(const char* name, int var, const char* value);

/* The types of a dataset's variables: *count numbers, released with FreeString; unwritten for none. */
VEXA_API void GetVarInfo(const char* name, int** types, int* count);

/* The bytes of one case, and the index of a variable's first unit of 8 bytes in it; 0 on failure. */
VEXA_API int GetCaseLength(const char* name, int* errCode);
VEXA_API int GetVarObsIndex(const char* name, int var, int* errCode);

/* Tells the backend whether to cache a dataset. */
VEXA_API int SetCacheInDS(const char* name, bool flag);

/* --- Bulk transport --- */

/* Ask the backend for a socket, whose number goes to *socket, and to accept on it. Guarded. */
VEXA_API int CreateSocket(int* socket);
VEXA_API int AcceptSocket(void);

/* Submits, on a thread of its own, the syntax that streams data over `socket`: into the backend (true, after
 * a second) or out of it. `variables` names them. Returns at once; nothing tells how the transfer went, and
 * no other call of the session may overlap it. Guarded. */
VEXA_API int TransportData(const char* socket, const char* variables, bool getData);

/* Data through a temp file of the backend's. The second is guarded. The count of its rows is 0 on failure. */
VEXA_API int SaveDataToTempFile(const char* name, int* vars, int count);
VEXA_API int GetDataFromTempFile(const char* name, int first, int second);
VEXA_API long GetRowCountInTempFile(int* errCode);

/* Lists of *count numbers, released with FreeString; null for none and on failure, when *count stays
 * unwritten. The second is guarded: 17 goes to errCode. */
VEXA_API int* GetSplitEndIndex(int* count, int* errCode);
VEXA_API int* GetTrendsInfoInDS(const char* name, int* count, int* errCode);

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
