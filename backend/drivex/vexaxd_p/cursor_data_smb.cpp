#include "cursor_data_smb.h"

#include <cstdlib>
#include <cstring>

int CursorDataSmb::NextCase() {
  ++curCasePos;
  if (receivedCases >= 1 && curCasePos < receivedCases) {
    PointAtCase(static_cast<std::size_t>(curCasePos));
    return 0;
  }
  const int code = lastError != 0 ? lastError : NO_CACHE_DATA;
  lastError = 0;
  curCasePos = -1;
  receivedCases = -1;
  return code;
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
  caseBuffer = std::move(block);
  curCasePos = caseBuffer.data != nullptr ? 0 : -1;
  PointAtCase(0);
}

FrameBuffer CursorDataSmb::ReleaseBuffer() {
  FrameBuffer buffer = std::move(caseBuffer.buffer);
  TakeBlock({});
  return buffer;
}

bool CursorDataSmb::CaseInHand(std::size_t position) const {
  const std::size_t size = static_cast<std::size_t>(oneCaseSize);
  return caseBuffer.data != nullptr && (position + 1) * size <= static_cast<std::size_t>(caseBuffer.length);
}

void CursorDataSmb::PointAtCase(std::size_t position) {
  if (!CaseInHand(position)) {
    casePtr = nullptr;
    readable = 0;
    return;
  }
  const std::size_t units = static_cast<std::size_t>(oneCaseSize) / sizeof(OBS);
  casePtr = reinterpret_cast<const OBS*>(caseBuffer.data) + position * units;
  readable = static_cast<std::uint32_t>(columns.size());
  column = columns.data();
}

void CursorDataSmb::AddVarInfo(VarInfo* info) {
  varInfos.push_back(info);
  columns.push_back({obsIndex[varInfos.size() - 1], info->varType == 0 && info->missingFormat == 0});
}

int CursorDataSmb::IsMissing(const VarInfo* info, const OBS* value) {
  if (info->varType == 0 && ObsBits(*value) == kSystemMissingBits) return kSystemMissing;
  return IsUserMissing(info, value) ? kUserMissing : kValid;
}

int CursorDataSmb::GetOtherValue(unsigned int index, double& value, int& missing) const {
  if (index >= readable) return CleXDErrorCode::kIndexOutOfRange;
  const VarInfo* info = varInfos[index];
  if (info->varType != 0) return CleXDErrorCode::kWrongType;
  const OBS* unit = casePtr + column[index].unit;
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
  const OBS* unit = casePtr + column[index].unit;
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
