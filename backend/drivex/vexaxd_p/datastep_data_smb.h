// DatastepDataSmb: one case of a dataset, with the type, place and length of each variable, so that a program
// can load a case, read and change its cells here, and write it back. Nothing outside the case is read or
// written: what lies outside answers that the index is out of range.
#ifndef DATASTEP_DATA_SMB_H
#define DATASTEP_DATA_SMB_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "obs.h"

class DatastepDataSmb {
 public:
  DatastepDataSmb() = default;
  DatastepDataSmb(const DatastepDataSmb&) = delete;
  DatastepDataSmb& operator=(const DatastepDataSmb&) = delete;

  // In bytes. Any change of size loses the case.
  void SetOneCaseSize(int size);
  double GetNCellValue(unsigned int variable, int& missing, int& errCode) const;
  static int IsMissing(double value);
  // A terminated copy from new[], blanks at its end included; null with a code.
  char* GetCCellValue(unsigned int variable, int& errCode) const;
  int SetNCellValue(unsigned int variable, double value);
  // Does not ask the type: the units of the variable are filled.
  int SetCCellValue(unsigned int variable, const char* value);
  // An array of the types from new[]; nothing is written without variables.
  void GetVarInfo(int** types, int& count) const;
  const OBS* GetCaseValue(int& size) const;
  void SetCaseValue(const void* block, int size);

  void AddVarType(int type);
  void AddVarObsIndex(int unit) { varObsIndex.push_back(unit); }
  void ClearVarObsIndex() { varObsIndex.clear(); }
  // 0 for a variable that is not there.
  int GetVarObsIndex(int variable) const;
  int GetVarObsLength(int variable) const;

  // Keep types and size in step with the dataset's dictionary; the units' places are asked of the backend
  // anew.
  void InsertVarType(int position, int type);
  void EraseVarType(int position);
  void UpdateVarType(int position, int type);

 private:
  // The units of a variable, null when they do not lie whole in the case.
  OBS* UnitsOf(unsigned int variable, int units) const;
  void MakeRoomForOne();

  std::int32_t oneCaseSize = 0;
  // Zeroed memory that is taken when it is touched: a size is the peer's word.
  class Units {
   public:
    void Assign(std::size_t wanted);
    OBS* data() const { return first.get(); }
    std::size_t size() const { return count; }

   private:
    struct Free {
      void operator()(OBS* units) const { std::free(units); }
    };
    std::unique_ptr<OBS, Free> first;
    std::size_t count = 0;
  };
  Units caseValue;
  std::vector<std::int32_t> varTypes;
  std::vector<std::int32_t> varObsIndex;
  std::vector<std::int32_t> varObsLength;
};

#endif
