// The values of the case being built, between the first SetValue... call and the commit. Names and values
// stand side by side in call order; a variable that is set twice stands there twice, and both go out.
#ifndef COMMIT_CASE_DATA_H
#define COMMIT_CASE_DATA_H

#include <string>
#include <vector>

struct CacheCommitCaseData {
  std::vector<std::string> numericNames;
  std::vector<std::string> stringNames;
  std::vector<double> numericValues;
  std::vector<std::string> stringValues;
};

#endif
