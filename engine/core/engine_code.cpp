#include "engine_code.h"

#include <algorithm>
#include <iterator>

#include "CleXDErrorCode.h"

namespace {

struct Meaning {
  int code;
  const char* sentence;
};

constexpr Meaning kMeanings[] = {
    {engine_code::kBadOption, "bad options"},
    {engine_code::kUnreadable, "a file cannot be read or written"},
    {engine_code::kBadData, "malformed data"},
    {engine_code::kBadSideFile, "a mistake in the side file"},
    {engine_code::kUnknownAction, "this engine does not serve the action"},
    {engine_code::kBadRequest, "the request lacks an argument, or has one out of range"},
    {engine_code::kNoCursor, "there is no case cursor"},
    {engine_code::kCursorExists, "a case cursor is open"},
    {engine_code::kNoData, "the dataset has no variables"},
    {engine_code::kBadAccess, "a cursor is made with r or w"},
    {engine_code::kNoTable, "there is no pivot table of that name"},
    {engine_code::kNoDimension, "the table has no such dimension"},
    {engine_code::kBadDimension, "the dimension is there, has no place from 0 to 2, or comes after a cell"},
    {engine_code::kNoCategory, "a dimension of the table has no category yet"},
    {engine_code::kNoCell, "there is no cell for the footnote"},
    {engine_code::kProcedureOpen, "a procedure is open"},
    {engine_code::kNoProcedure, "no procedure is open"},
    {engine_code::kNoHandle, "there is no such handle"},
    {engine_code::kBadXPath, "bad XPath"},
    {engine_code::kBadText, "the text is not UTF-8"},
    {engine_code::kUnknownName, "there is nothing of that name"},
    {engine_code::kTooWide, "a text is wider than its variable, or a missing text than 8 bytes"},
    {engine_code::kBadName, "a name is not allowed, or taken"},
    {engine_code::kHeaderOpen, "variables are declared and not committed, or none is declared"},
    {engine_code::kReadCursor, "the cursor does not write"},
    {engine_code::kStepOpen, "a data step is open, or the dataset is in it"},
    {engine_code::kCaseTooLong, "a case would be longer than a message can hold"},
    {engine_code::kBadCommand, "the command lacks something"},
    {engine_code::kNoConnection, "there is no socket, nobody came, or the stream broke off"},
    {engine_code::kNoTempFile, "nothing was saved to the temp file"},
    {engine_code::kNoLanguage, "the configuration does not support the language"},
    {engine_code::kNotDone, "the extension ended before its work was done"},
    {engine_code::kLanguageBusy, "R runs no block within a block of R"},
    {engine_code::kNoRoom, "memory, threads or descriptors have run out"},
    {engine_code::kAbandoned,
     "the process around this block has died, and nobody waits for the block any more"},
};

}  // namespace

std::string MeaningOf(int code) {
  const auto found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                  [code](const Meaning& meaning) { return meaning.code == code; });
  if (found != std::end(kMeanings)) return found->sentence;
  const char* const of_library = CleXDErrorCode::MeaningOf(code);
  return of_library != nullptr ? of_library : "code " + std::to_string(code);
}
