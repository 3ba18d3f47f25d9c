// The case cursor. A driver with a cursor of its own fetches blocks of cases; one without steps case by case
// and asks for each value. Both move the same cursor.
#include <algorithm>

#include "session.h"

namespace {

// A block stays well below what a message can hold, whatever a driver asks for; a single case always goes.
constexpr std::size_t kMaxBlockBytes = std::size_t{256} << 20;

int MakeCursor(Session& session, CleXDSmb& request, CleXDSmb&) {
  const std::string access = request.GetSingleString();
  if (access != "r" && access != "R" && access != "w" && access != "W") return engine_code::kBadAccess;
  Dataset& data = session.Data();
  if (data.variables.empty()) return engine_code::kNoData;
  if (session.cursor) return engine_code::kCursorExists;
  if (session.datasets.StepOpen()) return engine_code::kStepOpen;
  const bool writes = access == "w" || access == "W";
  session.cursor = {writes, data.StartPass(writes), data.CaseUnits(), 0};
  return 0;
}

int RemoveCursor(Session& session, CleXDSmb&, CleXDSmb&) {
  if (!session.cursor) return engine_code::kNoCursor;
  session.cursor.reset();
  session.Data().EndPass();
  return 0;
}

int ResetPass(Session& session, CleXDSmb&, CleXDSmb&) {
  if (!session.cursor) return engine_code::kNoCursor;
  session.Data().EndPass();
  session.cursor->cases = session.Data().StartPass(session.cursor->writes);
  session.cursor->delivered = 0;
  return 0;
}

int CursorExists(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetLong(session.cursor ? 1 : 0);
  return 0;
}

int CursorPosition(Session& session, CleXDSmb&, CleXDSmb& reply) {
  if (!session.cursor) return engine_code::kNoCursor;
  reply.SetLong(static_cast<long>(session.cursor->delivered));
  return 0;
}

// How many cases the cursor has ahead of it, at most `wanted`.
std::size_t Ahead(Session& session, std::size_t wanted) {
  const Cursor& cursor = *session.cursor;
  wanted = std::min(wanted, cursor.cases - cursor.delivered);
  return wanted > 0 ? session.Data().Ahead(cursor.delivered, wanted) : 0;
}

int NextCase(Session& session, CleXDSmb&, CleXDSmb&) {
  if (!session.cursor) return engine_code::kNoCursor;
  if (Ahead(session, 1) == 0) return CleXDErrorCode::kEndOfData;
  ++session.cursor->delivered;
  return 0;
}

// Cases from where they lie, or the front parts of longer ones.
void PutCases(Dataset& data, const Cursor& cursor, std::size_t count, CleXDSmb& reply) {
  const std::size_t case_bytes = cursor.case_units * kUnitBytes;
  if (cursor.case_units == data.CaseUnits() || count == 1) {
    return reply.LendVoidData(data.Lend(cursor.delivered, count * case_bytes));
  }
  AllocateBlock(reply, count * case_bytes);
  for (std::size_t i = 0; i < count; ++i) {
    reply.SaveDataIntoVoidData(data.Case(cursor.delivered + i), static_cast<int>(case_bytes));
  }
}

// The block that reaches the last case says so at once, and the driver asks no further.
int NextBlock(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  if (!session.cursor) return engine_code::kNoCursor;
  Cursor& cursor = *session.cursor;
  Dataset& data = session.Data();
  const std::size_t case_bytes = cursor.case_units * kUnitBytes;
  const int wanted = LongArgument(request, 0).value_or(0);
  if (wanted < 1 || static_cast<std::size_t>(LongArgument(request, 1).value_or(0)) != case_bytes) {
    return engine_code::kBadRequest;
  }
  const std::size_t room = std::max<std::size_t>(kMaxBlockBytes / case_bytes, 1);
  const std::size_t most = std::min(static_cast<std::size_t>(wanted), room);
  const std::size_t ahead = Ahead(session, most + 1), count = std::min(ahead, most);
  if (count > 0) PutCases(data, cursor, count, reply);
  reply.SetLong(static_cast<long>(count));
  cursor.delivered += count;
  return ahead == count ? CleXDErrorCode::kEndOfData : 0;
}

// What a driver without a cursor of its own asks for: one value of the current case.
struct CurrentValue {
  const Variable* variable = nullptr;
  const Unit* value = nullptr;
};

int FindValue(Session& session, CleXDSmb& request, CurrentValue& found) {
  if (!session.cursor) return engine_code::kNoCursor;
  const std::optional<int> index = LongArgument(request, 0);
  if (!index) return engine_code::kBadRequest;
  const auto& variables = session.Data().variables;
  if (*index < 0 || static_cast<std::size_t>(*index) >= variables.size() || session.cursor->delivered == 0) {
    return CleXDErrorCode::kIndexOutOfRange;
  }
  found.variable = &variables[static_cast<std::size_t>(*index)];
  found.value = session.Data().Case(session.cursor->delivered - 1) + found.variable->first_unit;
  return 0;
}

int NumericValue(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  CurrentValue found;
  if (const int code = FindValue(session, request, found)) return code;
  if (found.variable->IsText()) return CleXDErrorCode::kWrongType;
  reply.SetLong(static_cast<long>(StateOf(*found.variable, found.value)));
  reply.SetDouble(NumberOf(*found.value));
  return 0;
}

// The whole width, blanks included, but never more than the driver has room for.
int TextValue(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  CurrentValue found;
  if (const int code = FindValue(session, request, found)) return code;
  if (!found.variable->IsText()) return CleXDErrorCode::kWrongType;
  const std::optional<int> room = LongArgument(request, 1);
  if (!room) return engine_code::kBadRequest;
  reply.SetLong(static_cast<long>(StateOf(*found.variable, found.value)));
  reply.SetString(reinterpret_cast<const char*>(found.value), std::min(*room, found.variable->width));
  return 0;
}

int EndOfSplit(Session& session, CleXDSmb&, CleXDSmb& reply) {
  const std::size_t left = session.cursor ? Ahead(session, 1) : session.Data().CaseCount();
  reply.SetLong(left == 0 ? 1 : 0);
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::MakeCaseCursor, MakeCursor},        {Action::RemoveCaseCursor, RemoveCursor},
    {Action::ResetDataPass, ResetPass},          {Action::HasCursor, CursorExists},
    {Action::GetCursorPosition, CursorPosition}, {Action::NextCase, NextCase},
    {Action::NextCaseBlock, NextBlock},          {Action::GetNumericValue, NumericValue},
    {Action::GetStringValue, TextValue},         {Action::IsEndSplit, EndOfSplit},
};

}  // namespace

std::span<const ActionEntry> CaseActions() { return kActions; }
