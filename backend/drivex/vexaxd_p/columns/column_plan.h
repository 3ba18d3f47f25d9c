// What becomes of a column: the variable that it is for, and its values in the form in which the backend
// stores them. A plan is made and all its values are looked at before anything is written.
#ifndef COLUMN_PLAN_H
#define COLUMN_PLAN_H

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "column_description.h"
#include "column_input.h"
#include "column_refusal.h"

class ColumnPlan {
 public:
  using Labels = std::vector<std::pair<std::string, ColumnValue>>;

  // Throw ColumnRefusal. An existing variable has a width, 0 for a number, and value labels.
  static ColumnPlan OfNew(const ColumnInput& input, std::size_t column);
  static ColumnPlan OfExisting(const ColumnInput& input, std::size_t column, int width, const Labels& labels);

  // Looks at every value. Settles the width of a new text and the numbers of a new dictionary. Throws
  // ColumnRefusal.
  void Check();

  const std::string& Name() const { return column.name; }
  bool IsText() const { return is_text; }
  // Of the variable: 0 for a number.
  int Width() const { return is_text ? static_cast<int>(width) : 0; }
  const ColumnDescription& Description() const { return description; }
  // Whether the description says more than a width.
  bool HasDescription() const;

  // The values of a batch, which lasts as long as its views of texts: null ones have no data.
  void StartBatch(std::size_t batch);
  void Numbers(std::size_t first, std::size_t count, double* values);
  void Texts(std::size_t first, std::size_t count, std::string_view* values);

  int variable = -1;  // its place in the dataset

 private:
  ColumnPlan(const ColumnInput& input, std::size_t column);
  [[noreturn]] void Refuse(std::string_view reason) const { RefuseColumn(column.name, reason); }
  void Describe();
  void CheckDescription() const;
  void CheckText(std::string_view text, std::size_t row);
  void CheckRows(std::size_t first, std::size_t count);
  void AddMeanings(const Labels& labels);
  void NumberTheDictionary(const std::vector<std::string_view>& entries);
  void ReadDictionary();

  const ColumnInput* input;
  std::size_t index;
  const ColumnInput::Column& column;
  bool is_text = false;
  bool width_is_open = false;    // the longest text tells
  bool numbers_entries = false;  // the dictionary's texts become value labels
  std::size_t width = 0;
  ColumnDescription description;
  // What a text of a dictionary stands for.
  std::unordered_map<std::string, ColumnValue> meanings;

  std::optional<ColumnInput::Piece> piece;
  // The dictionary of the batch at hand: what its entries mean, NaN and null where they mean nothing.
  std::vector<std::string_view> entries, entry_texts;
  std::vector<double> entry_numbers;
  std::vector<std::int64_t> places;
};

#endif
