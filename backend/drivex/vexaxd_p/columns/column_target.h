// The dataset that columns are written to: the step in which it is reached, its variables, and what is said
// of them. A call that fails throws ColumnRefusal with the call's code and reason.
#ifndef COLUMN_TARGET_H
#define COLUMN_TARGET_H

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "column_description.h"

// Throws unless the code is 0.
void Require(int code);

// The active dataset's name; "*" where it has none.
std::string ActiveName();

// What a caller calls a dataset, as the calls here name it: the catalogue's spelling where it is in a step
// already.
struct DatasetName {
  explicit DatasetName(const char* given);
  std::string name;
  bool is_active;
};

// The data step that a dataset is in while this lives: the caller's, where one is open, else one of our own,
// which is known to the backend only and not to the catalogue.
class ColumnStep {
 public:
  // A new dataset becomes the active one.
  enum class Dataset { kThere, kNew };
  ColumnStep(const std::string& dataset, Dataset state);
  ColumnStep(const ColumnStep&) = delete;
  ColumnStep& operator=(const ColumnStep&) = delete;
  // Cells that were not committed are gone.
  ~ColumnStep();
  bool IsOwn() const { return own.open; }
  void End() { own.End(); }

  long Cases() const;
  int VariableCount() const;
  void Insert(int place, const std::string& variable, int width);
  void Delete(int variable);
  void Describe(int variable, bool is_text, const std::string& column, const ColumnDescription& description);
  // Label and value, in the order of the backend.
  std::vector<std::pair<std::string, ColumnValue>> Labels(int variable, bool is_text) const;

 private:
  bool TryFormat(int variable, std::string_view format);
  void SetFormat(int variable, const std::string& column, const std::string& format);

  // Ends with this, when it was begun.
  struct OwnStep {
    ~OwnStep();
    void Begin();
    void End();
    bool open = false;
  };

  const std::string name;
  OwnStep own;
  std::unordered_map<std::string, int> format_codes;
};

class TargetVariables {
 public:
  struct Variable {
    std::string name;
    int width;  // 0 for a number
  };
  static TargetVariables OfActive();
  static TargetVariables InStep(const std::string& dataset);
  // Its place; -1 for none.
  int Find(std::string_view name) const;
  const Variable& operator[](int place) const { return variables[static_cast<std::size_t>(place)]; }

 private:
  void Add(const char* name, int width);
  std::vector<Variable> variables;
  std::unordered_map<std::string, int> places;
};

// A print format as a text: letters, width, decimals.
struct FormatText {
  static bool Read(std::string_view text, FormatText& format);
  std::string letters;
  int width = 0;
  int decimals = 0;
  bool operator==(const FormatText&) const = default;
};

// The name of a level that the backend numbers so; null for none.
const char* LevelName(int level);

#endif
