#include "column_plan.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include "column_target.h"
#include "obs.h"

namespace {

constexpr std::size_t kMostBytes = 32767;  // of a text
constexpr std::size_t kMissingBytes = 8;   // of a missing value
constexpr std::size_t kRowsAtOnce = 1024;

bool HasZero(std::string_view text) { return text.find('\0') != std::string_view::npos; }

bool ReadNumber(std::string_view text, double& number) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && stop == text.data() + text.size() && std::isfinite(number) &&
         number != VEXA_SystemMissing();
}

}  // namespace

ColumnPlan::ColumnPlan(const ColumnInput& input_, std::size_t column_)
    : input(&input_), index(column_), column(input_.Columns()[column_]) {}

// A dictionary, and a column of nulls, is of texts where the metadata have a width.
ColumnPlan ColumnPlan::OfNew(const ColumnInput& input, std::size_t column) {
  ColumnPlan plan(input, column);
  const ColumnForm& form = plan.column.form;
  plan.is_text = form.IsText();
  if (form.has_dictionary || form.kind == ColumnForm::Kind::kNull) {
    std::string problem;
    const bool read = ColumnDescription::Decode(plan.column.metadata, true, plan.description, problem);
    plan.is_text = read && plan.description.width > 0;
  }
  plan.Describe();
  const int said = plan.description.width;
  if (plan.is_text) {
    if (said > static_cast<int>(kMostBytes))
      plan.Refuse("no text may have " + std::to_string(said) + " bytes");
    plan.width_is_open = said <= 0;
    plan.width = said > 0 ? static_cast<std::size_t>(said) : 1;
  }
  plan.numbers_entries = form.has_dictionary && !plan.is_text && plan.description.labels.empty();
  plan.CheckDescription();
  return plan;
}

ColumnPlan ColumnPlan::OfExisting(const ColumnInput& input, std::size_t column, int width,
                                  const Labels& labels) {
  ColumnPlan plan(input, column);
  const ColumnForm& form = plan.column.form;
  plan.is_text = width > 0;
  plan.width = static_cast<std::size_t>(width);
  if (!form.has_dictionary && form.kind != ColumnForm::Kind::kNull && form.IsText() != plan.is_text)
    plan.Refuse(plan.is_text ? "it is of numbers, and its variable of texts"
                             : "it is of texts, and its variable of numbers");
  plan.Describe();
  plan.AddMeanings(labels);
  plan.CheckDescription();
  return plan;
}

void ColumnPlan::Describe() {
  std::string problem;
  if (!ColumnDescription::Decode(column.metadata, is_text, description, problem)) Refuse(problem);
  Labels labels;
  for (const auto& [value, label] : description.labels) labels.emplace_back(label, value);
  AddMeanings(labels);
}

// What was said first holds.
void ColumnPlan::AddMeanings(const Labels& labels) {
  if (!column.form.has_dictionary) return;
  for (const auto& [label, value] : labels) meanings.emplace(label, value);
}

bool ColumnPlan::HasDescription() const {
  const ColumnDescription& said = description;
  return !said.label.empty() || !said.format.empty() || said.level != said.kNotSaid ||
         said.role != said.kNotSaid || !said.missing.empty() || !said.labels.empty();
}

void ColumnPlan::CheckDescription() const {
  const auto check_text = [&](const ColumnValue& value, std::size_t most, const char* what) {
    const auto* const text = std::get_if<std::string>(&value);
    if (text != nullptr && (text->size() > most || HasZero(*text)))
      Refuse(std::string(what) + " '" + *text + "' of its metadata is too long or holds a zero byte");
  };
  FormatText format;
  if (!description.format.empty() && !FormatText::Read(description.format, format))
    Refuse("its metadata have no format in " + description.format);
  if (description.level != description.kNotSaid && LevelName(description.level) == nullptr)
    Refuse("there is no level " + std::to_string(description.level));
  check_text(description.label, kMostBytes, "the label");
  for (const ColumnValue& value : description.missing) check_text(value, kMissingBytes, "the missing value");
  for (const auto& [value, label] : description.labels) {
    check_text(value, width_is_open ? kMostBytes : width, "the labelled value");
    check_text(label, kMostBytes, "the value label");
  }
}

// --- Looking at the values ---

void ColumnPlan::Check() {
  std::size_t row = 0;  // of all
  for (std::size_t batch = 0; batch < input->Batches(); ++batch) {
    StartBatch(batch);
    const std::size_t rows = input->RowsOf(batch);
    for (std::size_t first = 0; first < rows; first += kRowsAtOnce) {
      const std::size_t count = std::min(kRowsAtOnce, rows - first);
      try {
        CheckRows(first, count);
      } catch (const ValueRefusal& refusal) {
        RefuseRow(column.name, row + first + refusal.row, refusal.reason);
      }
    }
    row += rows;
  }
  for (const auto& [value, label] : description.labels) {
    if (width_is_open) width = std::max(width, std::get<std::string>(value).size());
  }
  width_is_open = false;
}

void ColumnPlan::CheckRows(std::size_t first, std::size_t count) {
  if (!is_text) {
    std::array<double, kRowsAtOnce> numbers;
    return Numbers(first, count, numbers.data());
  }
  std::array<std::string_view, kRowsAtOnce> texts;
  Texts(first, count, texts.data());
  for (std::size_t i = 0; i < count; ++i) CheckText(texts[i], i);
}

void ColumnPlan::CheckText(std::string_view text, std::size_t row) {
  const std::size_t most = width_is_open ? kMostBytes : width;
  if (text.size() > most)
    throw ValueRefusal(row, "a text of " + std::to_string(text.size()) + " bytes, where " +
                                std::to_string(most) + " have room");
  if (HasZero(text)) throw ValueRefusal(row, "the text holds a zero byte");
  if (width_is_open) width = std::max(width, text.size());
}

// --- The values of a batch ---

void ColumnPlan::StartBatch(std::size_t batch) {
  const ColumnInput::Piece next = input->PieceOf(batch, index);
  const bool known = piece && column.form.has_dictionary && next.SharesDictionary(*piece);
  piece.emplace(next);
  if (column.form.has_dictionary && !known) ReadDictionary();
}

// Texts that the batches before had keep their numbers.
void ColumnPlan::NumberTheDictionary(const std::vector<std::string_view>& texts) {
  for (const std::string_view text : texts) {
    if (text.data() == nullptr) continue;
    if (HasZero(text)) Refuse("a text of its dictionary holds a zero byte");
    const double number = static_cast<double>(meanings.size() + 1);
    if (meanings.emplace(text, number).second) description.labels.emplace_back(number, text);
  }
}

void ColumnPlan::ReadDictionary() {
  entries = piece->Dictionary();
  if (numbers_entries) NumberTheDictionary(entries);
  entry_numbers.assign(is_text ? 0 : entries.size(), std::nan(""));
  entry_texts.assign(is_text ? entries.size() : 0, {});
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::string_view text = entries[i];
    if (text.data() == nullptr) {
      if (!is_text) entry_numbers[i] = VEXA_SystemMissing();
      continue;
    }
    const auto meaning = meanings.find(std::string(text));
    const bool stands = meaning != meanings.end();
    if (is_text) {
      entry_texts[i] = stands ? std::string_view(std::get<std::string>(meaning->second)) : text;
    } else if (double number = 0.0; stands || ReadNumber(text, number)) {
      entry_numbers[i] = stands ? std::get<double>(meaning->second) : number;
    }
  }
}

void ColumnPlan::Numbers(std::size_t first, std::size_t count, double* values) {
  if (!column.form.has_dictionary) return piece->Numbers(first, count, values);
  places.resize(std::max(places.size(), count));
  piece->Places(first, count, places.data());
  for (std::size_t i = 0; i < count; ++i) {
    const auto place = static_cast<std::size_t>(places[i]);
    values[i] = places[i] < 0 ? VEXA_SystemMissing() : entry_numbers[place];
    if (std::isnan(values[i]))
      throw ValueRefusal(i, "'" + std::string(entries[place]) + "' is no value label, and no number");
  }
}

void ColumnPlan::Texts(std::size_t first, std::size_t count, std::string_view* values) {
  if (!column.form.has_dictionary) return piece->Texts(first, count, values);
  places.resize(std::max(places.size(), count));
  piece->Places(first, count, places.data());
  for (std::size_t i = 0; i < count; ++i)
    values[i] = places[i] < 0 ? std::string_view() : entry_texts[static_cast<std::size_t>(places[i])];
}
