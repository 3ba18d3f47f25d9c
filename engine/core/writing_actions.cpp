// New variables of the active dataset, and its cases one by one or in a block. Variables are declared, then
// described, then become part of the dataset when their header is closed; a case is committed with the names
// and the values of what it holds. What cannot be stored as it is is refused, and nothing of it is stored.
#include <algorithm>
#include <functional>
#include <numeric>

#include "arguments.h"
#include "bulk_rows.h"
#include "words.h"

namespace {

using Variables = std::vector<Variable>;

void AddNames(FoldedNames& names, const Variables& variables) {
  for (const Variable& variable : variables) names.insert(Folded(variable.name));
}

// Behind those that are declared: all of them or none.
int Declare(Session& session, std::span<const std::string> names, std::span<const int> widths) {
  Variables declared = session.declared.variables;
  FoldedNames taken;
  AddNames(taken, session.Data().variables);
  AddNames(taken, declared);
  for (std::size_t i = 0; i < names.size(); ++i) {
    RequireName(names[i]);
    if (widths[i] < 0 || static_cast<std::size_t>(widths[i]) > kMaxTextWidth) return engine_code::kBadRequest;
    if (!taken.insert(Folded(names[i])).second) RefuseTaken(names[i]);
    declared.emplace_back(names[i], widths[i]);
  }
  session.declared.variables = std::move(declared);
  return 0;
}

int Announce(Session& session, CleXDSmb& request, CleXDSmb&) {
  const int count = LongArgument(request, 0).value_or(0);
  if (count < 1) return engine_code::kBadRequest;
  if (!session.declared.variables.empty()) return engine_code::kHeaderOpen;
  session.declared.room = static_cast<std::size_t>(count);
  return 0;
}

int DeclareOne(Session& session, CleXDSmb& request, CleXDSmb&) {
  const std::string* name = TextArgument(request, 0);
  const std::optional<int> width = LongArgument(request, 0);
  if (name == nullptr || !width) return engine_code::kBadRequest;
  if (session.declared.variables.size() >= session.declared.room) return CleXDErrorCode::kIndexOutOfRange;
  return Declare(session, {name, 1}, {&*width, 1});
}

int DeclareMany(Session& session, CleXDSmb& request, CleXDSmb&) {
  const auto& names = request.GetStringDataRef().Values();
  const auto& widths = request.GetLongDataRef().Values();
  if (names.empty() || widths.size() != names.size() + 1) return engine_code::kBadRequest;
  if (const int code = Declare(session, names, std::span(widths).first(names.size()))) return code;
  session.declared.room = session.declared.variables.size();
  return 0;
}

// In the cases that are there, the new variables are missing.
int CloseHeader(Session& session, CleXDSmb&, CleXDSmb&) {
  auto& [room, declared] = session.declared;
  if (declared.empty() || declared.size() < room) return engine_code::kHeaderOpen;
  if (session.datasets.FindInStep("") != nullptr) return engine_code::kStepOpen;
  Dataset& data = session.Data();
  std::vector<Variable> variables = data.variables;
  Columns sources(variables.size());
  std::iota(sources.begin(), sources.end(), std::size_t{0});
  variables.insert(variables.end(), declared.begin(), declared.end());
  sources.resize(variables.size(), Dataset::kNowhere);
  if (!data.Arrange(std::move(variables), sources)) return engine_code::kCaseTooLong;
  session.declared = {};
  return 0;
}

int EndWriting(Session& session, CleXDSmb&, CleXDSmb&) {
  return session.declared.variables.empty() ? 0 : engine_code::kHeaderOpen;
}

// Finds the named variables and stores their values into a case once all of them fit.
int StoreValues(Dataset& data, CleXDSmb& request, const std::function<Unit*()>& place) {
  const auto& numbers = request.GetDoubleDataRef().Values();
  const auto& texts = request.GetStringDataRef().Values();
  const Arguments arguments(request);
  const auto number_names = arguments.List(0);
  const auto text_names = arguments.List(1);
  if (number_names.size() != numbers.size() || text_names.size() != texts.size()) {
    return engine_code::kBadRequest;
  }
  std::vector<const Variable*> variables;
  variables.reserve(numbers.size() + texts.size());
  for (const auto names : {number_names, text_names}) {
    for (const std::string& name : names) variables.push_back(&VariableNamed(data, name));
  }
  for (std::size_t i = 0; i < variables.size(); ++i) {
    const bool is_text = i >= numbers.size();
    const Variable& variable = *variables[i];
    if (variable.IsText() != is_text) RefuseType(variable);
    if (is_text && texts[i - numbers.size()].size() > static_cast<std::size_t>(variable.width))
      RefuseWidth(variable, texts[i - numbers.size()].size());
  }
  Unit* const units = place();
  for (std::size_t i = 0; i < variables.size(); ++i) {
    Unit* const value = units + variables[i]->first_unit;
    if (i < numbers.size()) {
      *value = UnitOf(numbers[i]);
    } else {
      StoreText(*variables[i], value, texts[i - numbers.size()]);
    }
  }
  return 0;
}

// The current case of a cursor that writes. A driver with a cursor of its own gets the next case along.
int CommitCase(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  if (!session.cursor) return engine_code::kNoCursor;
  Cursor& cursor = *session.cursor;
  if (!cursor.writes) return engine_code::kReadCursor;
  if (cursor.delivered == 0) return CleXDErrorCode::kIndexOutOfRange;
  const bool wants_next = LongArgument(request, 0).value_or(0) > 0;
  const std::size_t bytes = cursor.case_units * kUnitBytes;
  if (wants_next && static_cast<std::size_t>(LongArgument(request, 1).value_or(0)) != bytes) {
    return engine_code::kBadRequest;
  }
  Dataset& data = session.Data();
  const int code = StoreValues(data, request, [&] { return data.Change(cursor.delivered - 1); });
  if (code != 0) return code;
  data.Keep();
  const bool gets_next =
      wants_next && cursor.delivered < cursor.cases && data.Ahead(cursor.delivered, 1) != 0;
  if (!gets_next) return 0;  // where it was the last one, the driver hears of the end later
  reply.LendVoidData(data.Lend(cursor.delivered++, bytes));
  reply.SetLong(1);
  return 0;
}

int CommitNew(Session& session, CleXDSmb& request, CleXDSmb&) {
  Dataset& data = session.Data();
  if (data.variables.empty()) return engine_code::kNoData;
  std::vector<Unit> units = data.MissingCase();
  const int code = StoreValues(data, request, [&] { return units.data(); });
  if (code == 0) data.Append(FindColumns(data, {}), units.data(), 1);
  return code;
}

// Names and widths of the variables, the cases as one block.
int CommitMany(Session& session, CleXDSmb& request, CleXDSmb&) {
  const auto& names = request.GetStringDataRef().Values();
  const auto& widths = request.GetLongArrayRef();
  const std::optional<int> count = LongArgument(request, 1);
  if (names.empty() || widths.empty() || widths[0].Values().size() != names.size() || !count || *count < 0) {
    return engine_code::kBadRequest;
  }
  Dataset& data = session.Data();
  const Columns columns = FindColumns(data, names);
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const Variable& variable = data.variables[columns[i]];
    if (variable.width != widths[0].Values()[i])
      throw Refusal(CleXDErrorCode::kWrongType, variable.name + " has another type");
  }
  int bytes = 0;
  const void* const rows = request.GetVoidData(bytes);
  const auto cases = static_cast<std::size_t>(*count);
  if (static_cast<std::size_t>(bytes) != cases * RowBytes(data, columns)) return engine_code::kBadRequest;
  data.Append(columns, rows, cases);
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::AllocNewVarsBuffer, Announce},   {Action::SetOneVarNameAndType, DeclareOne},
    {Action::SetVarNameAndType, DeclareMany}, {Action::CommitHeader, CloseHeader},
    {Action::CommitCaseRecord, CommitCase},   {Action::CommitNewCase, CommitNew},
    {Action::CommitManyCases, CommitMany},    {Action::EndChanges, EndWriting},
};

}  // namespace

std::span<const ActionEntry> WritingActions() { return kActions; }
