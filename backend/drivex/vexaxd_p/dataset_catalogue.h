// What the client keeps of the datasets that are open in a data step: the catalogue with their case and
// variable counts, and a record of the case layout for each. The catalogue is what cell writes are checked
// against; the records outlive CloseDataset, so that a lookup takes the first that matches.
#ifndef DATASET_CATALOGUE_H
#define DATASET_CATALOGUE_H

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "datastep_data_smb.h"
#include "session.h"

struct MultiDatastepData {
  std::vector<std::string> datasetNames;
  std::vector<DatastepDataSmb*> datasetStates;
};

// A dataset's name as a caller gives it: null means the empty one.
inline std::string_view OrEmpty(const char* name) { return name != nullptr ? name : std::string_view(); }

// The first entry of the catalogue with that name, -1 for none.
[[gnu::always_inline]] inline int FindInCatalogue(const char* name) {
  if (name == nullptr) name = "";
  for (std::size_t i = 0; i < dsNameVec.size(); ++i) {
    if (std::strcmp(dsNameVec[i].c_str(), name) == 0) return static_cast<int>(i);
  }
  return -1;
}

// The record of a dataset, null for none. The name looked up last is remembered, unknown or not, and answers
// without a search.
DatastepDataSmb* FindRecord(const char* name);

// Sends the pending cell writes, if any. Their code goes nowhere.
void FlushPendingWrites();

// Asks the backend anew where each variable of the dataset stands in a case. The code of the last question.
int RebuildVarObsIndex(const char* name, DatastepDataSmb& record);

#endif
