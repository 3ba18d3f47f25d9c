// The codes of the practice engine's own. They travel to the driver as they are: in the first message when
// the engine cannot start, in a reply when a request cannot be served. Where the library has a code for the
// same thing (a bad index, a wrong type, the end of the data), the engine answers that one. README.md lists
// them for users.
#ifndef ENGINE_CODE_H
#define ENGINE_CODE_H

#include <stdexcept>
#include <string>

namespace engine_code {

inline constexpr int kBadOption = 2001;
inline constexpr int kUnreadable = 2002;
inline constexpr int kBadData = 2003;
inline constexpr int kBadSideFile = 2004;
inline constexpr int kUnknownAction = 2010;
inline constexpr int kBadRequest = 2011;
inline constexpr int kNoCursor = 2012;
inline constexpr int kCursorExists = 2013;
inline constexpr int kNoData = 2014;
inline constexpr int kBadAccess = 2015;
inline constexpr int kNoTable = 2020;
inline constexpr int kNoDimension = 2021;
inline constexpr int kBadDimension = 2022;
inline constexpr int kNoCategory = 2023;
inline constexpr int kNoCell = 2024;
inline constexpr int kProcedureOpen = 2025;
inline constexpr int kNoProcedure = 2026;
inline constexpr int kNoHandle = 2030;
inline constexpr int kBadXPath = 2031;
inline constexpr int kBadText = 2032;
inline constexpr int kUnknownName = 2033;
inline constexpr int kTooWide = 2040;
inline constexpr int kBadName = 2041;
inline constexpr int kHeaderOpen = 2042;
inline constexpr int kReadCursor = 2043;
inline constexpr int kStepOpen = 2044;
inline constexpr int kCaseTooLong = 2045;
inline constexpr int kBadCommand = 2046;
inline constexpr int kNoConnection = 2047;
inline constexpr int kNoTempFile = 2048;
inline constexpr int kNoLanguage = 2049;
inline constexpr int kNotDone = 2050;
inline constexpr int kLanguageBusy = 2051;
inline constexpr int kNoRoom = 2052;
inline constexpr int kAbandoned = 2053;

}  // namespace engine_code

// Why something is refused: the code for the driver, the reason for a person. A handler throws it where it
// knows more than its code says; one that returns the code is answered with the code's own sentence.
struct Refusal : std::runtime_error {
  Refusal(int refusal_code, const std::string& reason) : std::runtime_error(reason), code(refusal_code) {}
  int code;
};

// What a code means, in a sentence without a period at its end. Codes of languages are theirs to explain.
std::string MeaningOf(int code);

#endif
