#include "cursor_data_smb.h"

#include <algorithm>
#include <cstring>

int CursorDataSmb::NextCase() {
  if (StepAhead()) return 0;
  ++curCasePos;
  if (receivedCases >= 1 && curCasePos < receivedCases) {
    PointAtCase(curCasePos);
    if (HasCase()) return 0;  // a count of the peer's does not make a case
  }
  const int code = lastError != 0 ? lastError : NO_CACHE_DATA;
  lastError = 0;
  curCasePos = -1;
  receivedCases = -1;
  return code;
}

void CursorDataSmb::SetReceivedCases(int cases) {
  receivedCases = std::max(cases, -1);
  CountCasesAhead();
}

void CursorDataSmb::SetCurCasePos(int position) {
  curCasePos = position;
  CountCasesAhead();
}

void CursorDataSmb::SetCasePtr(const void* block, int length) {
  if (block == nullptr) {
    TakeBlock({});
    return;
  }
  CleXDSmb::VoidBlock copy;
  copy.length = length > 0 ? length : 0;
  const std::size_t bytes = static_cast<std::size_t>(copy.length);
  if (!copy.buffer.Reserve(bytes)) return TakeBlock({});
  copy.data = copy.buffer.data();
  std::memcpy(copy.data, block, bytes);
  TakeBlock(std::move(copy));
}

void CursorDataSmb::TakeBlock(CleXDSmb::VoidBlock block) {
  ++block_number;
  caseBuffer = std::move(block);
  curCasePos = caseBuffer.data != nullptr ? 0 : -1;
  PointAtCase(0);
}

FrameBuffer CursorDataSmb::ReleaseBuffer() {
  FrameBuffer buffer = std::move(caseBuffer.buffer);
  TakeBlock({});
  return buffer;
}

// Only a case that lies whole in the block is one to read from.
void CursorDataSmb::PointAtCase(std::int32_t position) {
  units_per_case = oneCaseSize / static_cast<std::int32_t>(sizeof(OBS));
  const std::size_t begin = static_cast<std::size_t>(position) * static_cast<std::size_t>(oneCaseSize);
  const std::size_t end = begin + static_cast<std::size_t>(oneCaseSize);
  const bool whole = caseBuffer.data != nullptr && end <= static_cast<std::size_t>(caseBuffer.length);
  casePtr = whole ? reinterpret_cast<const OBS*>(caseBuffer.data + begin) : nullptr;
  readable = whole ? static_cast<std::uint32_t>(varInfos.size()) : 0;
  plain_units = plain_unit_list.data();
  CountCasesAhead();
}

void CursorDataSmb::CountCasesAhead() {
  cases_ahead = 0;
  if (casePtr == nullptr || curCasePos < 0 || oneCaseSize <= 0) return;
  const std::int32_t cases = std::min(receivedCases, caseBuffer.length / oneCaseSize);
  cases_ahead = std::max(cases - curCasePos - 1, 0);
}

void CursorDataSmb::AddVarInfo(VarInfo* info) {
  varInfos.push_back(info);
  const bool plain = info->varType == 0 && info->missingFormat == 0;
  plain_unit_list.push_back(plain ? obsIndex[varInfos.size() - 1] : -1);
}

int CursorDataSmb::IsMissing(const VarInfo* info, const OBS* value) {
  if (info->varType == 0 && ObsBits(*value) == kSystemMissingBits) return kSystemMissing;
  return IsUserMissing(info, value) ? kUserMissing : kValid;
}

int CursorDataSmb::GetNumericValue(unsigned int index, double& value, int& missing) const {
  if (index >= readable) return CleXDErrorCode::kIndexOutOfRange;
  const VarInfo* info = varInfos[index];
  if (info->varType != 0) return CleXDErrorCode::kWrongType;
  const OBS* unit = casePtr + obsIndex[index];
  value = ObsNumber(*unit);
  missing = IsMissing(info, unit);
  return 0;
}

int CursorDataSmb::GetStringValue(unsigned int index, char*& value, int, int& missing) const {
  if (index >= readable) return CleXDErrorCode::kIndexOutOfRange;
  const VarInfo* info = varInfos[index];
  if (info->varType == 0) return CleXDErrorCode::kWrongType;
  if (info->varType < 0)
    return CleXDErrorCode::kIndexOutOfRange;  // the backend did not tell this variable's width
  const OBS* unit = casePtr + obsIndex[index];
  std::strncpy(value, unit->bytes, static_cast<std::size_t>(info->varType));
  missing = IsMissing(info, unit);
  return 0;
}

bool CursorDataSmb::IsUserMissing(const VarInfo* info, const OBS* value) {
  if (info->varType != 0) {
    const int units = ObsLength(info->varType);
    switch (info->missingFormat) {
      case 3:
        if (MissingStringMatch(value, info->missing3, units)) return true;
        [[fallthrough]];
      case 2:
        if (MissingStringMatch(value, info->missing2, units)) return true;
        [[fallthrough]];
      case 1:
        return MissingStringMatch(value, info->missing1, units);
      default:
        return false;
    }
  }
  switch (info->missingFormat) {
    case 3:
      if (*value == info->missing3) return true;
      [[fallthrough]];
    case 2:
      if (*value == info->missing2) return true;
      [[fallthrough]];
    case 1:
      return *value == info->missing1;
    case -3:
      if (*value == info->missing3) return true;
      [[fallthrough]];
    case -2: {
      const double number = ObsNumber(*value);
      return number >= ObsNumber(info->missing1) && ObsNumber(info->missing2) >= number;
    }
    default:
      return false;
  }
}
