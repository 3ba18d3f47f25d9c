// Cases in bulk beside the messages: a temp file of rows in the unit form, and the socket that the commands
// of commands.h stream through.
#include <cstdio>

#include "arguments.h"
#include "bulk_rows.h"

namespace {

int OpenSocket(Session& session, CleXDSmb&, CleXDSmb& reply) {
  const std::optional<int> port = session.socket.Listen();
  if (!port) return engine_code::kNoConnection;
  reply.SetLong(*port);
  return 0;
}

int AcceptConnection(Session& session, CleXDSmb&, CleXDSmb&) {
  return session.socket.Accept() ? 0 : engine_code::kNoConnection;
}

// The last row of each run of cases with the same values of the split variables.
std::vector<int> SplitEnds(Dataset& dataset) {
  std::vector<int> ends;
  const Columns splits = dataset.splits.empty() ? Columns() : FindColumns(dataset, dataset.splits);
  for (std::size_t row = 0; row < dataset.CaseCount(); ++row) {
    const bool last = row + 1 == dataset.CaseCount();
    if (last || RowsOf(dataset, splits, row, 1) != RowsOf(dataset, splits, row + 1, 1)) {
      ends.push_back(static_cast<int>(row));
    }
  }
  return ends;
}

// In place of what was in the file. No variables: all of them.
int SaveRows(Session& session, CleXDSmb& request, CleXDSmb&) {
  Arguments arguments(request);
  Dataset& dataset = *StepDataset(session, arguments).dataset;
  Columns columns = arguments.Longs().empty() ? FindColumns(dataset, {}) : Columns();
  for (const int index : arguments.Longs()) {
    VariableAt(dataset, index);
    columns.push_back(static_cast<std::size_t>(index));
  }
  TempFile aside;
  aside.file.reset(std::tmpfile());
  const std::string rows = RowsOf(dataset, columns, 0, dataset.CaseCount());
  if (!aside.file || std::fwrite(rows.data(), 1, rows.size(), aside.file.get()) != rows.size() ||
      std::fflush(aside.file.get()) != 0) {
    return engine_code::kUnreadable;
  }
  for (const std::size_t column : columns) aside.variables.push_back(dataset.variables[column]);
  aside.rows = static_cast<int>(dataset.CaseCount());
  aside.split_ends = SplitEnds(dataset);
  session.temp_file = std::move(aside);
  return 0;
}

// The rows of the file from the first to the second integer, as new cases of the dataset. Variables are found
// by name and must be of the same type.
int LoadRows(Session& session, CleXDSmb& request, CleXDSmb&) {
  Arguments arguments(request);
  Dataset& dataset = *StepDataset(session, arguments).dataset;
  const TempFile& aside = session.temp_file;
  const int first = arguments.TakeLong().value_or(-1);
  const int last = arguments.TakeLong().value_or(-1);
  if (!aside.file) return engine_code::kNoTempFile;
  if (first < 0 || last < first || last >= aside.rows) return CleXDErrorCode::kRowOutOfRange;
  Columns columns;
  for (const Variable& saved : aside.variables) {
    const Variable& variable = VariableNamed(dataset, saved.name);
    if (variable.width != saved.width)
      throw Refusal(CleXDErrorCode::kWrongType, saved.name + " was saved with another type");
    columns.push_back(static_cast<std::size_t>(&variable - dataset.variables.data()));
  }
  const std::size_t row_bytes = RowBytes(dataset, columns);
  const auto count = static_cast<std::size_t>(last - first) + 1;
  std::string rows(count * row_bytes, '\0');
  if (std::fseek(aside.file.get(), static_cast<long>(static_cast<std::size_t>(first) * row_bytes),
                 SEEK_SET) != 0 ||
      std::fread(rows.data(), 1, rows.size(), aside.file.get()) != rows.size()) {
    return engine_code::kUnreadable;
  }
  dataset.Append(columns, rows.data(), count);
  return 0;
}

int RowCount(Session& session, CleXDSmb&, CleXDSmb& reply) {
  if (!session.temp_file.file) return engine_code::kNoTempFile;
  reply.SetLong(session.temp_file.rows);
  return 0;
}

int SplitEndList(Session& session, CleXDSmb&, CleXDSmb& reply) {
  if (!session.temp_file.file) return engine_code::kNoTempFile;
  for (const int row : session.temp_file.split_ends) reply.SetLong(row);
  return 0;
}

// The engine knows nothing of time series: the list is empty.
int TrendsInfo(Dataset&, CleXDSmb&) { return 0; }

constexpr ActionEntry kActions[] = {
    {Action::CreateSocket, OpenSocket},
    {Action::AcceptSocket, AcceptConnection},
    {Action::SaveDataToTempFile, SaveRows},
    {Action::GetDataFromTempFile, LoadRows},
    {Action::GetRowCountInTempFile, RowCount},
    {Action::GetSplitEndIndex, SplitEndList},
    {Action::GetTrendsInfoInDS, About<StepDataset, TrendsInfo>},
};

}  // namespace

std::span<const ActionEntry> TransportActions() { return kActions; }
