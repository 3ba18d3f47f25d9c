#include "datastep_smb.h"

#include "result_texts.h"

namespace {

// Element `cell` of the first list, null when it is not there.
template <class Payload>
auto Cell(std::vector<Payload>& lists, std::uint32_t cell) -> decltype(&lists[0][0]) {
  if (lists.empty() || cell >= lists[0].Values().size()) return nullptr;
  return &lists[0][static_cast<int>(cell)];
}

}  // namespace

// Computed in 64 bits and cut.
std::uint32_t DatastepSmb::CellIndex(long row, int column) const {
  const auto rows = static_cast<std::uint64_t>(row) - static_cast<std::uint64_t>(firstRow);
  return static_cast<std::uint32_t>(rows * static_cast<std::uint64_t>(varCount) +
                                    static_cast<std::uint64_t>(column));
}

int DatastepSmb::MissingState(std::uint32_t cell) {
  const std::int32_t* state = Cell(GetLongArrayRef(), cell);
  return state != nullptr ? *state : 0;
}

double DatastepSmb::GetNCellValue(const char*, long row, int column, int& missing, int& errCode) {
  errCode = 0;
  const std::uint32_t cell = CellIndex(row, column);
  missing = MissingState(cell);
  const double* value = Cell(GetDoubleArrayRef(), cell);
  return value != nullptr ? *value : 0.0;
}

char* DatastepSmb::GetCCellValue(const char*, long row, int column, int& missing, int& errCode) {
  errCode = 0;
  const std::uint32_t cell = CellIndex(row, column);
  missing = MissingState(cell);
  const std::string* text = Cell(GetStringArrayRef(), cell);
  return text != nullptr ? NewText(*text) : nullptr;
}

int DatastepSmb::LongAt(int index) {
  LongData& longs = GetLongDataRef();
  const int at = index >= 0 ? index : longs.Size() + index;
  return at >= 0 && at < longs.Size() ? longs[at] : 0;
}

bool DatastepSmb::HoldsRow(long row) {
  return GetLongDataRef().Size() >= 2 && row >= LongAt(0) && row <= LongAt(-2);
}
