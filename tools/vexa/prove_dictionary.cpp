// What a backend says of variables, and whether that fits together; and an output procedure.
#include <set>

#include "prove.h"

namespace {

constexpr int kMostVariables = 50;  // of a wide dataset its front tells as much
constexpr Action kNone = Action::None;

// The same questions of the active dataset and of the running procedure's.
struct Questions {
  const char* section;
  Action count, rows, name, label, type, format, level, role, format_type, missing_texts, missing_numbers;
  Action text_labels, number_labels, attributes, attribute;
};
constexpr Questions kQuestions[] = {
    {"dictionary", Action::GetVariableCount, Action::GetRowCount, Action::GetVariableName,
     Action::GetVariableLabel, Action::GetVariableType, Action::GetVariableFormat,
     Action::GetVariableMeasurementLevel, Action::GetVariableRole, Action::GetVariableFormatType,
     Action::GetVarCMissingValues, Action::GetVarNMissingValues, Action::GetCValueLabels,
     Action::GetNValueLabels, Action::GetVarAttributeNames, Action::GetVarAttributes},
    {"procedure's dictionary", Action::GetVariableCountInProcDS, Action::GetRowCountInProcDS,
     Action::GetVariableNameInProcDS, Action::GetVariableLabelInProcDS, Action::GetVariableTypeInProcDS,
     Action::GetVariableFormatInProcDS, Action::GetVariableMeasurementLevelInProcDS,
     Action::GetVariableRoleInProcDS, Action::GetVariableFormatTypeInProcDS,
     Action::GetVarCMissingValuesInProcDS, Action::GetVarNMissingValuesInProcDS, kNone, kNone,
     Action::GetVarAttributeNamesInProcDS, Action::GetVarAttributesInProcDS},
};

class Dictionary {
 public:
  Dictionary(TriedSession& in_session, const Questions& questions) : session(in_session), ask(questions) {}

  void Prove() {
    count = LongOf(ask.count);
    const int rows = LongOf(ask.rows);
    session.Check(count >= 0, "the number of variables is told", std::to_string(count) + " of them");
    if (session.Serves(ask.rows))
      session.Check(rows >= 0, "the number of cases is told", std::to_string(rows) + " of them");
    for (index = 0; index < std::min(count, kMostVariables) && session.Goes(); ++index) ProveVariable();
    const std::string all =
        std::to_string(index) + (index < count ? " first" : "") + (index == 1 ? " variable" : " variables");
    if (whole) session.Check(true, all + ": what is served of them is answered", "");
    session.Check(names.size() == static_cast<std::size_t>(index), all + ": a name for each",
                  "only " + std::to_string(names.size()) + " of the names differ, or are not empty");
    ProveOutside();
  }

 private:
  Frame At(Action action, int at) { return session.Ask(action, {.longs = {at}}); }
  int LongOf(Action action) {
    const Frame reply = session.Serves(action) ? session.Ask(action) : Frame{};
    return reply.code == 0 && !reply.longs.empty() ? reply.longs[0] : -1;
  }
  // Of the variable at hand.
  Frame Of(Action action) {
    if (action == kNone || !session.Serves(action)) return {};
    Frame reply = At(action, index);
    const bool good = reply.code == 0;
    if (!good)
      session.Check(false, "a question of a variable that is there is answered",
                    "it was refused with " + CodeOf(reply));
    whole = whole && good;
    return reply;
  }

  void ProveVariable() {
    const Frame name = Of(ask.name), type = Of(ask.type);
    if (!name.strings.empty() && !name.strings[0].empty()) names.insert(name.strings[0]);
    for (const Action action : {ask.label, ask.format, ask.level, ask.role, ask.format_type}) Of(action);
    const bool is_text = !type.longs.empty() && type.longs[0] != 0;
    session.Check(type.longs.empty() || (type.longs[0] >= 0 && type.longs[0] <= 32767),
                  "a type is 0 or the width of a text",
                  "it is " + std::to_string(type.longs.empty() ? 0 : type.longs[0]));
    ProveMissing(Of(is_text ? ask.missing_texts : ask.missing_numbers), is_text);
    Of(is_text ? ask.text_labels : ask.number_labels);
    for (const std::string& attribute : Of(ask.attributes).strings) {
      if (session.Serves(ask.attribute))
        whole = session.Ask(ask.attribute, {.longs = {index}, .strings = {attribute}}).code == 0 && whole;
    }
  }

  // A driver compares the eight bytes of a text as they come.
  void ProveMissing(const Frame& reply, bool is_text) {
    const int format = reply.longs.empty() ? 0 : reply.longs[0];
    bool good = !is_text || format <= 3;
    for (int i = 0; is_text && i < std::min(format, 3); ++i) {
      const auto at = static_cast<std::size_t>(i);
      good = good && at < reply.strings.size() && reply.strings[at].size() == 8;
    }
    if (!good)
      session.Check(false, "missing texts have eight bytes, with blanks behind them", SlotsOf(reply));
  }

  void ProveOutside() {
    for (const int outside : {-1, count}) {
      for (const Action action : {ask.name, ask.type, ask.label}) {
        if (!session.Serves(action) || !session.Goes()) continue;
        const Frame reply = At(action, outside);
        refuses = refuses && reply.code != 0;
        if (reply.code == 0)
          session.Check(false, "an index out of range is refused", std::to_string(outside) + " was answered");
      }
    }
    if (refuses) session.Check(true, "an index out of range is refused", "");
  }

  TriedSession& session;
  const Questions& ask;
  int count = -1, index = 0;
  bool whole = true, refuses = true;
  std::set<std::string> names;
};

}  // namespace

void ProveDictionaries(Trial& trial) {
  for (const Questions& questions : kQuestions) {
    trial.report.Begin(questions.section);
    if (!trial.Serves(questions.count) || !trial.Serves(questions.name)) {
      trial.report.Left("variables", "their number, or their names, are not served");
      continue;
    }
    TriedSession session(trial);
    Dictionary(session, questions).Prove();
  }
}

// A table of one cell in a procedure.
void ProveOutput(Trial& trial) {
  trial.report.Begin("output");
  if (!trial.Serves(Action::StartProcedure) || !trial.Serves(Action::EndProcedure))
    return trial.report.Left("a procedure", "not served");
  TriedSession session(trial);
  const auto open = [&] {
    return trial.Serves(Action::HasProcedure) ? session.Ask(Action::HasProcedure).longs
                                              : std::vector<std::int32_t>();
  };
  const Frame start = session.Ask(Action::StartProcedure, {.strings = {"Prove", "Prove"}});
  session.Check(start.code == 0, "a procedure begins", "it was refused with " + CodeOf(start));
  const auto inside = open();
  if (!inside.empty()) session.Check(inside[0] != 0, "it is open then", "HasProcedure gives 0");
  if (trial.Serves(Action::StartPivotTable)) {
    const auto say = [&](Action action, Frame arguments) {
      arguments.strings.insert(arguments.strings.begin(), {"Prove", "Table", "Title"});
      arguments.longs.insert(arguments.longs.begin(), 0);
      const Frame reply = session.Ask(action, std::move(arguments));
      if (reply.code != 0)
        session.Check(false, "a table of one cell is taken", "refused with " + CodeOf(reply));
      return reply.code == 0;
    };
    bool good = say(Action::StartPivotTable, {});
    for (const int place : {0, 1}) {
      const Frame dimension = {.longs = {place, 0, 0, 0}, .strings = {place == 0 ? "rows" : "columns"}};
      Frame category = dimension;
      category.strings.emplace_back("one");
      good = good && say(Action::AddDimension, dimension) && say(Action::AddStringCategory, category);
    }
    good = good && say(Action::SetNumberCell, {.longs = {0, 0, 0, 0}, .doubles = {1.5}, .strings = {"rows"}});
    if (good) session.Check(true, "a table of one cell is taken", "");
  }
  const Frame end = session.Ask(Action::EndProcedure);
  session.Check(end.code == 0, "it ends", "it was refused with " + CodeOf(end));
  const auto outside = open();
  if (!outside.empty())
    session.Check(outside[0] == 0, "and is not open any more", "HasProcedure still says so");
}
