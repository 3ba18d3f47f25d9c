#include "side_file.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <span>

#include "csv_text.h"
#include "engine_code.h"
#include "words.h"

namespace {

constexpr std::size_t kMissingTextBytes = kUnitBytes;

struct BadStatement : std::runtime_error {
  using std::runtime_error::runtime_error;
};

using Words = std::span<const Word>;

template <class Value>
struct Keyword {
  const char* text;
  Value value;
};

constexpr Keyword<Level> kLevels[] = {
    {"nominal", Level::Nominal}, {"ordinal", Level::Ordinal}, {"scale", Level::Scale}};
constexpr Keyword<Role> kRoles[] = {{"input", Role::Input},         {"target", Role::Target},
                                    {"both", Role::Both},           {"none", Role::None},
                                    {"partition", Role::Partition}, {"split", Role::Split}};

template <class Value>
const Value& Lookup(std::span<const Keyword<Value>> keywords, const Word& word, const char* kind) {
  for (const Keyword<Value>& keyword : keywords) {
    if (SameName(keyword.text, word.text)) return keyword.value;
  }
  throw BadStatement("\"" + word.text + "\" is no " + kind);
}

void ExpectCount(Words arguments, std::size_t least, std::size_t most) {
  if (arguments.size() < least) throw BadStatement("too few words");
  if (arguments.size() > most) throw BadStatement("too many words");
}

double Number(const Word& word) {
  const auto number = ParseNumber(word.text);
  if (word.quoted || !number) throw BadStatement("\"" + word.text + "\" is no number");
  return *number;
}

Unit RangeEnd(const Word& word) {
  if (SameName(word.text, "lowest")) return kLowest;
  if (SameName(word.text, "highest")) return kHighest;
  return UnitOf(Number(word));
}

Unit MissingText(const Word& word) {
  if (word.text.size() > kMissingTextBytes) throw BadStatement("a missing text has at most 8 bytes");
  return UnitOf(std::string_view(word.text));
}

void SetLabel(Variable& variable, Words arguments) {
  ExpectCount(arguments, 1, 1);
  variable.label = arguments[0].text;
}

int TakeInteger(const char*& position, const char* end) {
  int value = -1;
  const auto [stop, failure] = std::from_chars(position, end, value);
  if (failure != std::errc()) return -1;
  position = stop;
  return value;
}

// "F8.2", "A9": letters, a width and, for numbers, decimals.
Format ParseFormat(const std::string& text) {
  const std::size_t digits = std::min(text.find_first_of("0123456789"), text.size());
  const FormatType* type = FormatTypeOf(text.substr(0, digits));
  if (type == nullptr) throw BadStatement("\"" + text + "\" is no format");
  const char* position = text.data() + digits;
  const char* const end = text.data() + text.size();
  Format format = {*type, TakeInteger(position, end), 0};
  if (position != end && *position == '.') format.decimals = TakeInteger(++position, end);
  if (position != end) throw BadStatement("\"" + text + "\" is no format");
  return format;
}

void SetFormat(Variable& variable, Words arguments) {
  ExpectCount(arguments, 1, 1);
  const Format format = ParseFormat(arguments[0].text);
  if ((format.type == FormatType::Text) != variable.IsText())
    throw BadStatement("this format does not fit the variable's type");
  if (!format.WidthFits()) throw BadStatement("the width is out of range");
  if (!format.DecimalsFit()) throw BadStatement("the decimals are out of range");
  variable.format = format;
}

void SetLevel(Variable& variable, Words arguments) {
  ExpectCount(arguments, 1, 1);
  variable.level = Lookup<Level>(kLevels, arguments[0], "measurement level");
}

void SetRole(Variable& variable, Words arguments) {
  ExpectCount(arguments, 1, 1);
  variable.role = Lookup<Role>(kRoles, arguments[0], "role");
}

// missing LOW thru HIGH [ONE]
void SetMissingRange(MissingRule& rule, Words arguments) {
  ExpectCount(arguments, 3, 4);
  rule.values[0] = RangeEnd(arguments[0]);
  rule.values[1] = RangeEnd(arguments[2]);
  if (NumberOf(rule.values[0]) > NumberOf(rule.values[1])) throw BadStatement("the range is empty");
  rule.format = MissingRule::kRange;
  if (arguments.size() < 4) return;
  rule.values[2] = UnitOf(Number(arguments[3]));
  rule.format = MissingRule::kRangeAndOne;
}

void SetMissing(Variable& variable, Words arguments) {
  MissingRule rule;
  if (variable.IsText()) rule.values.fill(kBlankUnit);
  if (!variable.IsText() && arguments.size() > 1 && SameName(arguments[1].text, "thru")) {
    SetMissingRange(rule, arguments);
  } else {
    ExpectCount(arguments, 1, rule.values.size());
    rule.format = static_cast<int>(arguments.size());
    std::transform(arguments.begin(), arguments.end(), rule.values.begin(), [&](const Word& word) {
      return variable.IsText() ? MissingText(word) : UnitOf(Number(word));
    });
  }
  variable.missing = rule;
}

void AddValueLabel(Variable& variable, Words arguments) {
  ExpectCount(arguments, 2, 2);
  ValueLabel entry;
  if (variable.IsText()) {
    entry.text = arguments[0].text;
    if (entry.text.size() > static_cast<std::size_t>(variable.width)) {
      throw BadStatement("the value is wider than the variable");
    }
  } else {
    entry.number = Number(arguments[0]);
  }
  entry.label = arguments[1].text;
  variable.value_labels.push_back(std::move(entry));
}

void AddAttribute(Attributes& attributes, Words arguments) {
  if (arguments.empty()) throw BadStatement("an attribute needs a name");
  Attribute attribute{arguments[0].text, {}};
  for (const Word& word : arguments.subspan(1)) attribute.values.push_back(word.text);
  if (FindAttribute(attributes, attribute.name) != nullptr)
    throw BadStatement("the attribute is there already");
  attributes.push_back(std::move(attribute));
}

void AddVariableAttribute(Variable& variable, Words arguments) {
  AddAttribute(variable.attributes, arguments);
}

constexpr Keyword<void (*)(Variable&, Words)> kVariableStatements[] = {{"label", SetLabel},
                                                                       {"format", SetFormat},
                                                                       {"level", SetLevel},
                                                                       {"role", SetRole},
                                                                       {"missing", SetMissing},
                                                                       {"value", AddValueLabel},
                                                                       {"attribute", AddVariableAttribute}};

Variable& Named(Dataset& dataset, const Word& word) {
  Variable* variable = dataset.Find(word.text);
  if (variable == nullptr) throw BadStatement("there is no variable " + word.text);
  return *variable;
}

void SetWeight(Dataset& dataset, Words arguments) {
  ExpectCount(arguments, 1, 1);
  const Variable& variable = Named(dataset, arguments[0]);
  if (variable.IsText()) throw BadStatement("a weight must be a number");
  dataset.weight = variable.name;
}

void SetSplits(Dataset& dataset, Words arguments) {
  ExpectCount(arguments, 1, dataset.variables.size());
  dataset.splits.clear();
  for (const Word& word : arguments) dataset.splits.push_back(Named(dataset, word).name);
}

// set NAME LABEL counts VALUE VARIABLE ...
// set NAME LABEL holds VARIABLE ...
void AddSet(Dataset& dataset, Words arguments) {
  constexpr Keyword<bool> kCodings[] = {{"counts", true}, {"holds", false}};
  if (arguments.size() < 4) throw BadStatement("too few words");
  ResponseSet set;
  set.name = arguments[0].text;
  set.label = arguments[1].text;
  set.dichotomies = Lookup<bool>(kCodings, arguments[2], "coding");
  if (set.dichotomies) set.counted = arguments[3].text;
  const Words members = arguments.subspan(set.dichotomies ? 4 : 3);
  if (members.empty()) throw BadStatement("a set needs variables");
  set.is_text = Named(dataset, members[0]).IsText();
  for (const Word& word : members) {
    const Variable& member = Named(dataset, word);
    if (member.IsText() != set.is_text) throw BadStatement("the variables of a set must be of one type");
    set.members.push_back(member.name);
  }
  dataset.response_sets.push_back(std::move(set));
}

// `current` is the variable that the statements are about; a "variable" statement changes it.
void Obey(Dataset& dataset, Variable*& current, Words words) {
  const Words arguments = words.subspan(1);
  if (SameName(words[0].text, "weight")) return SetWeight(dataset, arguments);
  if (SameName(words[0].text, "split")) return SetSplits(dataset, arguments);
  if (SameName(words[0].text, "fileattribute")) return AddAttribute(dataset.attributes, arguments);
  if (SameName(words[0].text, "set")) return AddSet(dataset, arguments);
  if (SameName(words[0].text, "variable")) {
    ExpectCount(arguments, 1, 1);
    current = &Named(dataset, arguments[0]);
    return;
  }
  const auto statement = Lookup<void (*)(Variable&, Words)>(kVariableStatements, words[0], "statement");
  if (current == nullptr) throw BadStatement("a \"variable\" line must come first");
  statement(*current, arguments);
}

}  // namespace

void ReadSideFile(const std::string& path, Dataset& dataset) {
  std::error_code error;
  if (!std::filesystem::exists(path, error) && !error) return;
  const FileText bytes = ReadFile(path);
  const std::string_view text(bytes.data(), bytes.size());
  Variable* current = nullptr;
  std::size_t line_number = 0;
  for (std::size_t position = 0; position < text.size();) {
    const std::size_t end = std::min(text.find('\n', position), text.size());
    std::string_view line(text.data() + position, end - position);
    position = end + 1;
    ++line_number;
    if (line.ends_with('\r')) line.remove_suffix(1);
    line = Trimmed(line);
    if (line.empty() || line[0] == '#') continue;
    try {
      const auto words = SplitWords(line);
      if (!words) throw BadStatement("a quote is not closed");
      Obey(dataset, current, *words);
    } catch (const BadStatement& bad) {
      throw Refusal(engine_code::kBadSideFile, path + ":" + std::to_string(line_number) + ": " + bad.what());
    }
  }
}
