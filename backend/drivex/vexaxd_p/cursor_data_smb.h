// CursorDataSmb: a block of cases on the client's side, with the layout of a case and the rules of missing
// values, so that a walk over the data costs one exchange per block. One cursor exists per process, for the
// thread that calls the client API.
//
//   no block           curCasePos -1, receivedCases -1     the next step asks for a block
//   in a block         curCasePos from 0                   steps locally, then hands out lastError once
//
// The block's bytes are the backend's, and so is its count: a value is read only where its case lies whole in
// the block, and elsewhere the answer is that the index is out of range.
#ifndef CURSOR_DATA_SMB_H
#define CURSOR_DATA_SMB_H

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "obs.h"

// What the cursor knows of one variable.
struct VarInfo {
  std::int32_t varType;  // 0 for numeric, otherwise the string width in bytes
  OBS missing1;          // first missing value, or the low end of a range
  OBS missing2;          // second missing value, or the high end of a range
  OBS missing3;          // third missing value, or the discrete value beside a range
  // 0 none; 1 to 3 that many discrete values; -2 a range, -3 a range and a discrete value, both for numeric
  // variables only. Any other value means that nothing is missing.
  std::int32_t missingFormat;
};

// What GetNumericValue and GetStringValue tell of a value.
enum MissingKind { kValid = 0, kUserMissing = 1, kSystemMissing = 2 };

class CursorDataSmb {
 public:
  static constexpr int CACHE_SIZE = 20971520;  // the ceiling of one block, in bytes
  static constexpr int NO_CACHE_DATA = 1900;   // the block is used up
  enum AccessType { kRead = 0, kWrite = 1, kOther = 2 };

  CursorDataSmb() = default;
  CursorDataSmb(const CursorDataSmb&) = delete;
  CursorDataSmb& operator=(const CursorDataSmb&) = delete;

  int GetAccessType() const { return accessType; }
  void SetAccessType(int access) { accessType = access; }
  int GetOneCaseSize() const { return oneCaseSize; }
  void SetOneCaseSize(int bytes) { oneCaseSize = bytes; }
  void SetReceivedCases(int cases);
  void SetCurCasePos(int position);
  void SetLastError(int code) { lastError = code; }
  std::vector<std::int32_t>& GetObsIndex() { return obsIndex; }
  // The index of a variable's first unit in a case.
  int OBSIndex(int variable) const { return obsIndex[static_cast<std::size_t>(variable)]; }

  // A zeroed record, which lives as long as the cursor.
  VarInfo* NewVarInfo() { return &records.emplace_back(); }
  // Behind the variable's entry in GetObsIndex, and with the record filled: it is not looked at again for its
  // type.
  void AddVarInfo(VarInfo* info);

  // Steps to the next case of the block. At its end the deferred code is handed out, once, or else
  // NO_CACHE_DATA.
  int NextCase();
  // The same while the next case lies whole in the block. False, and nothing is done, when it does not.
  bool StepAhead() {
    if (cases_ahead == 0) return false;
    --cases_ahead;
    ++curCasePos;
    casePtr += units_per_case;
    return true;
  }
  bool HasData() const { return receivedCases >= 1; }
  // The bytes of the block in hand and the cases that its sender told of, and how many blocks there were: who
  // reads whole blocks knows by this whether it is the same still.
  const CleXDSmb::VoidBlock& Block() const { return caseBuffer; }
  int ReceivedCases() const { return receivedCases; }
  std::uint64_t BlockNumber() const { return block_number; }
  // The unit of each variable, and what is known of it.
  const std::vector<VarInfo*>& VarInfos() const { return varInfos; }
  // Whether there is a case in hand that lies whole in the block, or one of no variables, which takes no
  // room.
  bool HasCase() const { return casePtr != nullptr || oneCaseSize <= 0; }
  // Cases were fetched and nobody took them: the walk cannot go on.
  void Lose() { lost = true; }
  bool Lost() const { return lost; }
  // Copies a block of `length` bytes; its first case is current. Null drops the block in hand.
  void SetCasePtr(const void* block, int length);
  // The same for a block that a reply hands over, without copying.
  void TakeBlock(CleXDSmb::VoidBlock block);
  // The room of the block in hand, for the next one to be received into. The block is gone with it.
  FrameBuffer ReleaseBuffer();

  // 10 out of range, 24 wrong type; then nothing is written.
  int GetNumericValue(unsigned int index, double& value, int& missing) const;
  // The same for the ordinary cell: a number that is there, of a variable that has no user-missing values.
  // False, and nothing is written, for any other.
  bool ReadPlainNumber(unsigned int index, double& value) const {
    if (index >= readable || plain_units[index] < 0) return false;
    const OBS unit = casePtr[plain_units[index]];
    if (ObsBits(unit) == kSystemMissingBits) return false;
    value = ObsNumber(unit);
    return true;
  }
  // Copies the variable's full width, whatever `length` says, without a terminator when the text fills it.
  int GetStringValue(unsigned int index, char*& value, int length, int& missing) const;
  // A MissingKind.
  static int IsMissing(const VarInfo* info, const OBS* value);

 private:
  void PointAtCase(std::int32_t position);
  void CountCasesAhead();
  static bool IsUserMissing(const VarInfo* info, const OBS* value);

  std::int32_t curCasePos = -1;
  CleXDSmb::VoidBlock caseBuffer;
  const OBS* casePtr = nullptr;  // null when no whole case is in hand
  std::int32_t cases_ahead = 0;  // whole cases behind the current one that a step reaches by moving casePtr
  std::int32_t units_per_case = 0;
  std::uint32_t readable = 0;  // the number of variables; 0 when no whole case is in hand
  const std::int32_t* plain_units = nullptr;
  std::int32_t accessType = kOther;
  std::int32_t oneCaseSize = 0;
  std::int32_t receivedCases = -1;
  std::uint64_t block_number = 0;
  bool lost = false;
  std::vector<std::int32_t> obsIndex;
  std::int32_t lastError = 0;
  std::vector<VarInfo*> varInfos;
  std::deque<VarInfo> records;
  // For each variable the index of its unit, if it is numeric and nothing is user-missing; else -1.
  std::vector<std::int32_t> plain_unit_list;
};

#endif
