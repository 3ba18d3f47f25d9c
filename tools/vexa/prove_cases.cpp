#include "prove_cases.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

constexpr int kFirstBlock = 3;  // cases: a small one, so that there is more than one

// All cases that are left, their number alone.
long Walk(Cursor& cursor, const Layout& layout, int wanted) {
  constexpr long kMost = 10'000'000;
  long total = 0;
  for (bool empty = false; !cursor.AtEnd() && !empty && total < kMost;) {
    const std::size_t got = cursor.Next(wanted).size() / layout.bytes;
    empty = got == 0;
    total += static_cast<long>(got);
  }
  return total;
}

int BlockOf(const Layout& layout) {
  constexpr std::size_t kBlock = 1 << 20;
  return static_cast<int>(std::max<std::size_t>(kBlock / layout.bytes, 1));
}

bool HasBlanksBehind(const std::string& cases, const Layout& layout) {
  for (std::size_t i = 0; i < layout.types.size(); ++i) {
    if (layout.types[i] == 0) continue;
    const std::size_t end = i + 1 < layout.offsets.size() ? layout.offsets[i + 1] : layout.bytes;
    const std::size_t text_end = layout.offsets[i] + static_cast<std::size_t>(layout.types[i]);
    for (std::size_t at = 0; at < cases.size(); at += layout.bytes) {
      if (cases.substr(at + text_end, end - text_end).find_first_not_of(' ') != std::string::npos)
        return false;
    }
  }
  return true;
}

// A driver without a cursor of its own steps case by case, and asks for each value.
void ProveSteps(TriedSession& session, const Layout& layout, const std::string& first) {
  const Frame opened = session.Ask(Action::MakeCaseCursor, {.strings = {"r"}});
  if (opened.code != 0 || !session.Serves(Action::NextCase) || first.empty())
    return session.Left("a walk case by case", opened);
  const Frame step = session.Ask(Action::NextCase);
  if (step.code != 0) return session.Left("a walk case by case", step);
  for (std::size_t i = 0; i < layout.types.size() && session.Goes(); ++i) {
    const auto index = static_cast<std::int32_t>(i);
    const Action action = layout.types[i] == 0 ? Action::GetNumericValue : Action::GetStringValue;
    if (!session.Serves(action)) continue;
    const Frame value =
        session.Ask(action, {.longs = layout.types[i] == 0 ? std::vector<std::int32_t>{index}
                                                           : std::vector{index, layout.types[i]}});
    bool same = value.code == 0;
    if (same && layout.types[i] == 0) {
      const double wanted = NumberAt(first, layout, 0, i);
      same = !value.doubles.empty() &&
             std::bit_cast<std::uint64_t>(value.doubles[0]) == std::bit_cast<std::uint64_t>(wanted);
    } else if (same) {
      std::string text = value.strings.empty() ? "" : value.strings[0];
      text.resize(static_cast<std::size_t>(layout.types[i]), ' ');
      same = text == TextAt(first, layout, 0, i);
    }
    if (!same)
      return session.Check(false, "a walk case by case gives the values of the blocks",
                           layout.names[i] + " of the first case differs");
  }
  session.Check(true, "a walk case by case gives the values of the blocks", "");
}

}  // namespace

Layout AskLayout(TriedSession& session) {
  Layout layout;
  if (!session.Serves(Action::GetVariableCountInProcDS) || !session.Serves(Action::GetVariableTypeInProcDS))
    return layout;
  const Frame count = session.Ask(Action::GetVariableCountInProcDS);
  for (int i = 0; session.Goes() && !count.longs.empty() && i < count.longs[0]; ++i) {
    const Frame type = session.Ask(Action::GetVariableTypeInProcDS, {.longs = {i}});
    const Frame name = session.Serves(Action::GetVariableNameInProcDS)
                           ? session.Ask(Action::GetVariableNameInProcDS, {.longs = {i}})
                           : Frame{};
    const std::int32_t width = type.longs.empty() ? 0 : std::clamp(type.longs[0], 0, 32767);
    layout.names.push_back(name.strings.empty() ? "variable " + std::to_string(i) : name.strings[0]);
    layout.types.push_back(width);
    layout.offsets.push_back(layout.bytes);
    layout.bytes += std::max<std::size_t>((static_cast<std::size_t>(width) + kUnit - 1) / kUnit, 1) * kUnit;
  }
  return layout;
}

bool Cursor::Open(const char* access) {
  const Frame reply = session.Ask(Action::MakeCaseCursor, {.strings = {access}});
  if (reply.code != 0) session.Left(std::string("a cursor \"") + access + "\"", reply);
  end = false;
  return reply.code == 0;
}

std::string Cursor::Next(int wanted) {
  const Frame reply =
      session.Ask(Action::NextCaseBlock, {.longs = {wanted, static_cast<std::int32_t>(layout.bytes)}});
  const bool last = reply.code == kEndOfData;
  end = last || !session.Goes();
  if (reply.code != 0 && !last && reply.code != kEndOfSplit) {
    session.Check(false, "blocks of cases come, to the end", "refused with " + CodeOf(reply));
    end = true;
    return "";
  }
  const std::int32_t cases = reply.longs.empty() ? 0 : reply.longs[0];
  const bool good = cases >= 0 && cases <= wanted &&
                    reply.void_block.size() == static_cast<std::size_t>(cases) * layout.bytes;
  if (good && (cases != 0 || reply.code != 0)) return reply.void_block;
  session.Check(false, "a block has as many cases as it says, and no more than were wanted",
                "wanted " + std::to_string(wanted) + " of " + std::to_string(layout.bytes) + " bytes, told " +
                    std::to_string(cases) + ", got " + std::to_string(reply.void_block.size()) +
                    " bytes, code " + std::to_string(reply.code));
  end = true;
  return "";
}

void Cursor::Close() {
  const Frame reply = session.Ask(Action::RemoveCaseCursor);
  session.Check(reply.code == 0, "the cursor goes", "refused with " + CodeOf(reply));
}

double NumberAt(const std::string& cases, const Layout& layout, std::size_t at, std::size_t variable) {
  double number = 0;
  const std::size_t place = at * layout.bytes + layout.offsets[variable];
  if (place + sizeof number <= cases.size()) std::memcpy(&number, cases.data() + place, sizeof number);
  return number;
}

std::string TextAt(const std::string& cases, const Layout& layout, std::size_t at, std::size_t variable) {
  const std::size_t place = at * layout.bytes + layout.offsets[variable];
  return place < cases.size() ? cases.substr(place, static_cast<std::size_t>(layout.types[variable])) : "";
}

void ProveCases(Trial& trial) {
  trial.report.Begin("cases");
  if (!trial.Serves(Action::MakeCaseCursor))
    return trial.report.Left("a walk", "MakeCaseCursor is not served");
  TriedSession session(trial);
  const Layout layout = AskLayout(session);
  if (layout.bytes == 0) return trial.report.Left("a walk", "there are no variables");
  Cursor cursor(session, layout);
  if (!cursor.Open("r")) return;
  const auto has = [&] {
    return trial.Serves(Action::HasCursor) ? session.Ask(Action::HasCursor).longs
                                           : std::vector<std::int32_t>();
  };
  const auto open = has();
  if (!open.empty()) session.Check(open[0] != 0, "there is a cursor then", "HasCursor gives 0");
  const std::string first = cursor.Next(kFirstBlock);
  const long total = static_cast<long>(first.size() / layout.bytes) + Walk(cursor, layout, BlockOf(layout));
  if (std::any_of(layout.types.begin(), layout.types.end(), [](int type) { return type != 0; }))
    session.Check(HasBlanksBehind(first, layout), "blanks fill the units behind a text",
                  "there are other bytes");
  const Action count_of =
      trial.Serves(Action::GetRowCountInProcDS) ? Action::GetRowCountInProcDS : Action::GetRowCount;
  const Frame count = trial.Serves(count_of) ? session.Ask(count_of) : Frame{};
  if (!count.longs.empty())
    session.Check(count.longs[0] == total,
                  "a walk gives as many cases as there are said to be: " + std::to_string(total),
                  "there are " + std::to_string(count.longs[0]) + " said to be");
  if (trial.Serves(Action::ResetDataPass)) {
    const Frame reset = session.Ask(Action::ResetDataPass);
    Cursor second(session, layout);
    const long again = reset.code == 0 ? Walk(second, layout, BlockOf(layout)) : -1;
    session.Check(again == total, "another pass gives the same",
                  reset.code != 0 ? "refused with " + CodeOf(reset) : std::to_string(again) + " cases");
  }
  cursor.Close();
  const auto closed = has();
  if (!closed.empty())
    session.Check(closed[0] == 0, "there is no cursor any more", "HasCursor still says so");
  if (trial.Serves(Action::NextCase)) ProveSteps(session, layout, first);
}
