#include "datastep_data_smb.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>

#include "CleXDErrorCode.h"

namespace {

constexpr int kUnit = static_cast<int>(sizeof(OBS));

int UnitsOfType(int type) { return type <= 8 ? 1 : (type - 1) / kUnit + 1; }

// Rounded up: as many bytes as the size says can be sent.
std::size_t UnitsOfSize(int size) { return (static_cast<std::size_t>(size) + kUnit - 1) / kUnit; }

// Types and sizes are the peer's and may be anything.
int Resized(int size, int units) {
  return static_cast<int>(std::min<std::int64_t>(size + std::int64_t{units} * kUnit, INT_MAX));
}

template <class T>
bool Within(int index, const std::vector<T>& list) {
  return index >= 0 && index < static_cast<int>(list.size());
}

}  // namespace

void DatastepDataSmb::Units::Assign(std::size_t wanted) {
  count = 0;
  first.reset(static_cast<OBS*>(std::calloc(std::max<std::size_t>(wanted, 1), sizeof(OBS))));
  if (first == nullptr) throw std::bad_alloc();
  count = wanted;
}

void DatastepDataSmb::SetOneCaseSize(int size) {
  oneCaseSize = 0;
  caseValue.Assign(UnitsOfSize(std::max(size, 0)));
  oneCaseSize = std::max(size, 0);
}

OBS* DatastepDataSmb::UnitsOf(unsigned int variable, int units) const {
  if (variable >= varTypes.size() || variable >= varObsIndex.size() || units < 0) return nullptr;
  const int first = varObsIndex[variable];
  const bool inside =
      first >= 0 && std::int64_t{first} + units <= static_cast<std::int64_t>(caseValue.size());
  return inside ? caseValue.data() + first : nullptr;
}

int DatastepDataSmb::IsMissing(double value) { return value == VEXA_SystemMissing() ? 1 : 0; }

double DatastepDataSmb::GetNCellValue(unsigned int variable, int& missing, int& errCode) const {
  const OBS* unit = UnitsOf(variable, 1);
  const bool of_string = variable < varTypes.size() && varTypes[variable] != 0;
  if (of_string || unit == nullptr) {
    errCode = of_string ? CleXDErrorCode::kNumberOfString : CleXDErrorCode::kIndexOutOfRange;
    return 0.0;
  }
  const double value = ObsNumber(*unit);
  missing = IsMissing(value);
  return value;
}

char* DatastepDataSmb::GetCCellValue(unsigned int variable, int& errCode) const {
  errCode = CleXDErrorCode::kIndexOutOfRange;
  if (variable >= varTypes.size()) return nullptr;
  const int width = varTypes[variable];
  const OBS* units = UnitsOf(variable, GetVarObsLength(static_cast<int>(variable)));
  if (width == 0) errCode = CleXDErrorCode::kTextOfNumber;
  if (width <= 0 || units == nullptr) return nullptr;
  errCode = 0;
  char* text = new char[static_cast<std::size_t>(width) + 1]();
  std::memcpy(text, units->bytes, static_cast<std::size_t>(width));
  return text;
}

int DatastepDataSmb::SetNCellValue(unsigned int variable, double value) {
  if (variable < varTypes.size() && varTypes[variable] != 0) return CleXDErrorCode::kTextOfNumber;
  OBS* unit = UnitsOf(variable, 1);
  if (unit == nullptr) return CleXDErrorCode::kIndexOutOfRange;
  *unit = ObsOf(value);
  return 0;
}

int DatastepDataSmb::SetCCellValue(unsigned int variable, const char* value) {
  if (variable >= varTypes.size()) return CleXDErrorCode::kIndexOutOfRange;
  const int units = varObsLength[variable];
  if (units == 0) return CleXDErrorCode::kNumberOfString;
  OBS* target = UnitsOf(variable, units);
  if (target == nullptr) return CleXDErrorCode::kIndexOutOfRange;
  const std::size_t width = static_cast<std::size_t>(units) * sizeof(OBS);
  std::memset(target->bytes, ' ', width);
  if (value != nullptr) std::memcpy(target->bytes, value, std::min(std::strlen(value), width));
  return 0;
}

void DatastepDataSmb::GetVarInfo(int** types, int& count) const {
  if (varTypes.empty()) return;
  count = static_cast<int>(varTypes.size());
  *types = new int[varTypes.size()];
  std::copy(varTypes.begin(), varTypes.end(), *types);
}

const OBS* DatastepDataSmb::GetCaseValue(int& size) const {
  size = oneCaseSize;
  return caseValue.data();
}

void DatastepDataSmb::SetCaseValue(const void* block, int size) {
  SetOneCaseSize(block != nullptr ? size : 0);
  if (block != nullptr && oneCaseSize > 0) {
    std::memcpy(caseValue.data(), block, static_cast<std::size_t>(oneCaseSize));
  }
}

// Types and lengths stay side by side: both take one more, or neither.
void DatastepDataSmb::MakeRoomForOne() {
  varTypes.reserve(varTypes.size() + 1);
  varObsLength.reserve(varObsLength.size() + 1);
}

void DatastepDataSmb::AddVarType(int type) {
  MakeRoomForOne();
  varTypes.push_back(type);
  varObsLength.push_back(UnitsOfType(type));
}

int DatastepDataSmb::GetVarObsIndex(int variable) const {
  return Within(variable, varObsIndex) ? varObsIndex[static_cast<std::size_t>(variable)] : 0;
}

int DatastepDataSmb::GetVarObsLength(int variable) const {
  return Within(variable, varObsLength) ? varObsLength[static_cast<std::size_t>(variable)] : 0;
}

void DatastepDataSmb::InsertVarType(int position, int type) {
  if (position < 0 || position > static_cast<int>(varTypes.size())) return;
  const int units = UnitsOfType(type);
  MakeRoomForOne();
  varTypes.insert(varTypes.begin() + position, type);
  varObsLength.insert(varObsLength.begin() + position, units);
  SetOneCaseSize(Resized(oneCaseSize, units));
}

void DatastepDataSmb::EraseVarType(int position) {
  if (!Within(position, varTypes)) return;
  const int units = varObsLength[static_cast<std::size_t>(position)];
  varTypes.erase(varTypes.begin() + position);
  varObsLength.erase(varObsLength.begin() + position);
  const int size = Resized(oneCaseSize, -units);
  if (size >= 0) SetOneCaseSize(size);
}

void DatastepDataSmb::UpdateVarType(int position, int type) {
  if (!Within(position, varTypes)) return;
  const std::size_t at = static_cast<std::size_t>(position);
  const int grown = UnitsOfType(type) - varObsLength[at];
  varTypes[at] = type;
  varObsLength[at] += grown;
  SetOneCaseSize(Resized(oneCaseSize, grown));
}
