#include "column_reading.h"

#include <algorithm>
#include <cerrno>

#include "call_frame.h"
#include "call_road.h"
#include "column_progress.h"
#include "reasons.h"
#include "utf8_texts.h"
#include "vexaxd_p.h"

namespace {

constexpr const char* kReader = "VexaReadColumns";
constexpr int kMostWidth = 1 << 20;  // of a text, in bytes

int Refuse(int code, std::string_view what, std::string_view name) {
  return Failed(Because(code, what, name), kReader);
}

// A variable lies whole in a row: what its source tells was the backend's word.
bool LiesInRow(const RowVariable& variable, std::size_t row_size) {
  const std::size_t units = static_cast<std::size_t>(ObsLength(variable.info.varType));
  const std::size_t row_units = row_size / sizeof(OBS);
  return units <= row_units && variable.unit <= row_units - units;
}

// As many rows as stay in the first cache beside where they go, by eights.
std::size_t RowsOfTile(std::size_t row_size) {
  constexpr std::size_t kTile = 16384;
  return std::clamp<std::size_t>(kTile / std::max<std::size_t>(row_size, 1), 8, 4096) & ~std::size_t{7};
}

int ErrnoOf(int code) {
  if (code == CleXDErrorCode::kInterrupted) return ECANCELED;
  return code == CleXDErrorCode::kTooLarge ? ENOMEM : EIO;
}

}  // namespace

int ColumnReading::Open(const char* dataset, const ColumnsWanted& wanted) {
  bool by_cursor = false;
  std::string found;
  int code = FindDataset(dataset, by_cursor, found);
  if (code != 0) return code;
  // What was opened and cannot be read is closed again, whatever stood in the way.
  struct Behind {
    ColumnReading& reading;
    bool good = false;
    ~Behind() {
      const KeptFailure kept;
      if (reading.source != nullptr) reading.source->End(reading.unread);
      if (reading.source != nullptr && !good) reading.source->Close();
    }
  } behind{*this};
  by_block = by_cursor && wanted.batch_rows == 0;
  code = by_cursor ? OpenCursorRows(source) : OpenStepRows(found, source);
  if (code == 0) code = Prepare(wanted);
  behind.good = code == 0;
  return code;
}

int ColumnReading::Prepare(const ColumnsWanted& wanted) {
  int code = Choose(wanted);
  schema.format = "+s";
  for (const RowVariable& variable : source->Variables()) {
    if (code == 0) code = AddColumns(variable, wanted.options);
  }
  const std::size_t row_size = std::max(source->RowSize(), sizeof(OBS));
  const long rows_of_block = std::max<long>(CursorDataSmb::CACHE_SIZE / static_cast<long>(row_size), 1);
  batch_rows = wanted.batch_rows != 0 ? wanted.batch_rows : rows_of_block;
  return code;
}

int ColumnReading::Choose(const ColumnsWanted& wanted) {
  std::vector<std::string> names;
  for (const RowVariable& variable : source->Variables()) names.push_back(variable.name);
  if (names.empty()) return Refuse(CleXDErrorCode::kColumnRefused, "the dataset has no variables", "");
  std::vector<std::size_t> places;
  const std::size_t count =
      wanted.names == nullptr ? names.size() : static_cast<std::size_t>(std::max(wanted.count, 0));
  for (std::size_t i = 0; i < count; ++i) {
    const char* const name = wanted.names == nullptr ? nullptr : wanted.names[i];
    places.push_back(wanted.names == nullptr ? i : name == nullptr ? names.size() : FindName(names, name));
    if (places.back() == names.size())
      return Refuse(CleXDErrorCode::kIndexOutOfRange, "there is no variable ", name != nullptr ? name : "");
    const int width = source->Variables()[places.back()].info.varType;
    if (width < 0 || width > kMostWidth)
      return Refuse(CleXDErrorCode::kColumnRefused, "the backend does not tell the type of ",
                    names[places.back()]);
  }
  source->Choose(places);
  return 0;
}

void ColumnReading::AddColumn(std::unique_ptr<Column> column, const RowVariable& variable, Field field) {
  columns.push_back({std::move(column), variable.unit * sizeof(OBS)});
  schema.children.push_back(std::move(field));
}

int ColumnReading::AddColumns(const RowVariable& variable, int options) {
  if (!LiesInRow(variable, source->RowSize()))
    return Refuse(CleXDErrorCode::kColumnRefused, "a case does not reach to ", variable.name);
  ColumnDescription description;
  const int code = source->Questions().Describe(variable.index, variable.info, description);
  if (code != 0) return code;
  const bool beside = (options & VEXA_USER_MISSING) != 0;
  const bool binary = (options & VEXA_BINARY_TEXTS) != 0;
  const bool large = (options & VEXA_LARGE_TEXTS) != 0;
  const std::string text_format = large ? "U" : "u";
  const std::string name = AsUtf8(variable.name);
  Field field{"", name, description.Encode(), true, {}, {}};
  if ((options & VEXA_LABELS) != 0 && !description.labels.empty()) {
    field.format = "i";
    field.dictionary.push_back({text_format, "", "", false, {}, {}});
    AddColumn(MakeFactors(variable.info, !beside, options, description), variable, std::move(field));
  } else if (variable.info.varType == 0) {
    field.format = "g";
    AddColumn(MakeNumbers(variable.info, !beside), variable, std::move(field));
  } else {
    field.format = !binary ? text_format : large ? "Z" : "z";
    AddColumn(MakeTexts(variable, !beside, options), variable, std::move(field));
  }
  if (beside && description.missing_format != 0)
    AddColumn(MakeMissing(variable.info), variable, {"b", name + ".missing", "", false, {}, {}});
  return 0;
}

int ColumnReading::Fail(int error, std::string reason) {
  failed = error;
  words = std::move(reason);
  return error;
}

int ColumnReading::FailWith(int code) { return Fail(ErrnoOf(code), VexaLastError()); }

int ColumnReading::Next(ArrowArray& batch) noexcept {
  if (failed != 0) return failed;
  try {
    if (ended) return batch = {}, 0;
    return ReadBatch(batch);
  } catch (const TextsTooLong& problem) {
    failed = EIO;
    try {
      words = problem.what();
    } catch (...) {
    }
  } catch (...) {
    failed = ENOMEM;
    words = "out of memory";  // short enough to lie in the text itself
  }
  return failed;
}

int ColumnReading::ReadBatch(ArrowArray& batch) {
  if (const char* const why = source->WhyGone()) return Fail(ESTALE, why);
  for (Place& place : columns) place.column->Clear();
  std::size_t rows = 0;
  const int error = GatherAndEnd(rows);
  if (error != 0) return error;
  const bool all = batch_rows == VEXA_ALL_ROWS;
  if (at_end) {
    const KeptFailure kept;
    source->Close();
  }
  batch = {};
  if (rows != 0 || (all && done == 0)) Finish(rows, batch);
  ended = at_end;
  return 0;
}

// Ends what it began, whatever is thrown on the way, and tells of its own failure.
int ColumnReading::GatherAndEnd(std::size_t& rows) {
  struct Behind {
    ColumnReading& reading;
    ~Behind() {
      const KeptFailure kept;
      reading.source->End(reading.unread);
    }
  } behind{*this};
  return Gather(rows);
}

int ColumnReading::Gather(std::size_t& rows) {
  const std::size_t wanted = batch_rows == VEXA_ALL_ROWS ? SIZE_MAX : static_cast<std::size_t>(batch_rows);
  if (at_end) return 0;
  int code = source->Begin(done);
  if (code != 0) return FailWith(code);
  const long total = source->Total();
  while (rows < wanted) {
    if (unread.count == 0) {
      if (const char* const why = source->WhyGone()) return Fail(ESTALE, why);
      code = source->Next(unread);
      if (code != 0) return FailWith(code);
      at_end = unread.count == 0;
      if (at_end) break;
    }
    const std::size_t taken = std::min(unread.count, wanted - rows);
    const std::size_t left = total < 0 ? 0
                                       : static_cast<std::size_t>(total) -
                                             std::min<std::size_t>(static_cast<std::size_t>(total), done);
    for (Place& place : columns) place.column->Reserve(rows + taken, rows + std::min(left, wanted - rows));
    LayOut(taken);
    rows += taken;
    done += taken;
    if (unread.count != 0) continue;
    TellProgress(static_cast<long>(done), total);
    if (by_block) break;
  }
  return 0;
}

void ColumnReading::LayOut(std::size_t count) {
  const std::size_t row_size = source->RowSize();
  const std::size_t tile = RowsOfTile(row_size);
  while (count != 0) {
    const std::size_t rows = std::min(count, tile);
    for (Place& place : columns) place.column->Append(unread.rows + place.offset, row_size, rows);
    unread.rows += rows * row_size;
    unread.count -= rows;
    count -= rows;
  }
}

void ColumnReading::Finish(std::size_t rows, ArrowArray& batch) {
  ArrayParts parts;
  parts.length = rows;
  parts.buffers.resize(1);
  parts.children.reserve(columns.size());
  try {
    for (Place& place : columns) {
      ArrowArray child = {};
      place.column->Finish(child);
      parts.children.push_back(child);
    }
    MakeArray(std::move(parts), nullptr, batch);
  } catch (...) {
    for (ArrowArray& child : parts.children) child.release(&child);
    throw;
  }
}

void ColumnReading::LetGo() noexcept {
  if (pthread_equal(thread, pthread_self()) == 0 || HostFunction::Runs() || !IsSessionOwner()) return;
  if (source == nullptr || at_end) return;
  const KeptFailure kept;
  source->Close();
}
