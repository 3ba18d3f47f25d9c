// New variables, filled case by case, and read back.
#include <algorithm>
#include <cstdio>

#include "prove_cases.h"

namespace {

constexpr int kCases = 5;  // are changed
constexpr int kWidth = 12;
constexpr int kBlock = 1000;  // of cases that are read back

// Names that the dataset has not got.
std::vector<std::string> FreshNames(const Layout& layout) {
  std::vector<std::string> fresh;
  for (int i = 0; fresh.size() < 2; ++i) {
    std::string name = "ProveV" + std::to_string(i);
    if (std::find(layout.names.begin(), layout.names.end(), name) == layout.names.end())
      fresh.push_back(std::move(name));
  }
  return fresh;
}

double NumberOf(int at) { return at + 0.25; }
// The second has its whole width, the others are shorter.
std::string TextOf(int at) { return at == 1 ? "twelve bytes" : "text " + std::to_string(at); }

// False where a backend has none: then nothing was declared.
bool Declare(TriedSession& session, const std::vector<std::string>& names) {
  const Frame reply = session.Ask(Action::SetVarNameAndType, {.longs = {0, kWidth, 2}, .strings = names});
  if (reply.code != 0) session.Left("new variables", reply);
  if (reply.code != 0 || !session.Goes()) return false;
  if (session.Serves(Action::SetVarLabel)) {
    const Frame label = session.Ask(Action::SetVarLabel, {.strings = {names[0], "A label"}});
    session.Check(label.code == 0, "a new variable gets a label", "refused with " + CodeOf(label));
  }
  const Frame header = session.Ask(Action::CommitHeader);
  session.Check(header.code == 0, "new variables become part of the dataset",
                "refused with " + CodeOf(header));
  return header.code == 0 && session.Goes();
}

// A driver that writes walks case by case, and misses none.
void CountRest(TriedSession& session, Cursor& cursor, long seen) {
  constexpr int kMost = 20000;
  const Frame count =
      session.Serves(Action::GetRowCountInProcDS) ? session.Ask(Action::GetRowCountInProcDS) : Frame{};
  if (count.longs.empty() || count.longs[0] > kMost) return;
  while (!cursor.AtEnd() && seen <= count.longs[0] && !cursor.Next(1).empty()) ++seen;
  session.Check(seen == count.longs[0], "a walk that writes comes to every case once",
                "it came to " + std::to_string(seen) + " of " + std::to_string(count.longs[0]));
}

// So many cases took their values.
int Fill(TriedSession& session, const Layout& layout, const std::vector<std::string>& names) {
  Cursor cursor(session, layout);
  if (!cursor.Open("w")) return 0;
  int filled = 0;
  bool at_hand = !cursor.Next(1).empty();
  long seen = at_hand ? 1 : 0;
  for (; at_hand && filled < kCases && session.Goes(); ++filled) {
    const Frame reply =
        session.Ask(Action::CommitCaseRecord, {.longs = {1, static_cast<std::int32_t>(layout.bytes)},
                                               .doubles = {NumberOf(filled)},
                                               .strings = {TextOf(filled)},
                                               .string_lists = {{names[0]}, {names[1]}}});
    if (reply.code != 0) {
      session.Left("values of a case", reply);
      break;
    }
    // The next case came along, or is asked for.
    if (!reply.void_block.empty())
      session.Check(reply.void_block.size() == layout.bytes && !reply.longs.empty() && reply.longs[0] == 1,
                    "a committed case brings the next one", SlotsOf(reply) + " came");
    at_hand = !reply.void_block.empty() || !cursor.Next(1).empty();
    seen += at_hand ? 1 : 0;
  }
  CountRest(session, cursor, seen);
  const Frame end = session.Ask(Action::EndChanges);
  session.Check(end.code == 0, "the changes end", "refused with " + CodeOf(end));
  cursor.Close();
  return filled;
}

void ReadBack(TriedSession& session, const std::vector<std::string>& names, int filled) {
  const Layout layout = AskLayout(session);
  Cursor cursor(session, layout);
  if (layout.bytes == 0 || !cursor.Open("r")) return;
  std::string cases;
  for (std::size_t before = 1; !cursor.AtEnd() && cases.size() != before;) {
    before = cases.size();
    cases += cursor.Next(kBlock);
  }
  cursor.Close();
  const auto place = [&](const std::string& name) {
    return static_cast<std::size_t>(std::find(layout.names.begin(), layout.names.end(), name) -
                                    layout.names.begin());
  };
  const std::size_t number = place(names[0]), text = place(names[1]);
  if (number == layout.names.size() || text == layout.names.size()) return;
  // Wherever they stand: cases need not have an order.
  std::string why;
  for (int i = 0; i < filled && why.empty(); ++i) {
    std::string wanted = TextOf(i);
    wanted.resize(kWidth, ' ');
    int found = 0;
    for (std::size_t at = 0; at < cases.size() / layout.bytes; ++at)
      found +=
          NumberAt(cases, layout, at, number) == NumberOf(i) && TextAt(cases, layout, at, text) == wanted;
    if (found != 1)
      why = "expected one case with " + std::to_string(NumberOf(i)) + " and \"" + wanted +
            "\", and there are " + std::to_string(found);
  }
  session.Check(why.empty(), "the values of " + std::to_string(filled) + " cases read back", why);
}

}  // namespace

void ProveNewVariables(Trial& trial) {
  trial.report.Begin("new variables");
  for (const Action action : {Action::SetVarNameAndType, Action::CommitHeader, Action::MakeCaseCursor}) {
    if (!trial.Serves(action)) return trial.report.Left("new variables", "not served");
  }
  TriedSession session(trial);
  const Layout before = AskLayout(session);
  const std::vector<std::string> names = FreshNames(before);
  if (!Declare(session, names)) return;
  const Layout after = AskLayout(session);
  const bool there = after.names.size() == before.names.size() + 2 &&
                     std::equal(names.begin(), names.end(), after.names.end() - 2);
  session.Check(
      there, "they stand behind those that there were",
      std::to_string(before.names.size()) + " variables became " + std::to_string(after.names.size()));
  if (!there || !trial.Serves(Action::CommitCaseRecord)) return;
  const int filled = Fill(session, after, names);
  if (filled != 0) ReadBack(session, names, filled);
}
