// What is known of a variable beside its values, and its form in the metadata of a field: see
// vexaxd_columns.h.
#ifndef COLUMN_DESCRIPTION_H
#define COLUMN_DESCRIPTION_H

#include <string>
#include <utility>
#include <variant>
#include <vector>

// A number, or the bytes of a text.
using ColumnValue = std::variant<double, std::string>;

struct ColumnDescription {
  std::string label;
  std::string format;  // "F8.2"; empty where nothing is said, as in the others
  int level = kNotSaid;
  int role = kNotSaid;
  int width = kNotSaid;              // of a text, in bytes; 0 is a number
  int missing_format = 0;            // as in GetVarNMissingValues
  std::vector<ColumnValue> missing;  // its values
  std::vector<std::pair<ColumnValue, std::string>> labels;

  static constexpr int kNotSaid = -1;

  // The metadata of a field; empty where nothing is said.
  std::string Encode() const;
  // Reads what Encode writes; other keys are passed over. Whether values are numbers or texts is said by
  // `is_text`. False for metadata that are not in the form; `problem` then tells what is wrong.
  static bool Decode(const char* metadata, bool is_text, ColumnDescription& description,
                     std::string& problem);
};

#endif
