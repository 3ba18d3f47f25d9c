#include "dataset.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "words.h"

namespace {

struct FormatName {
  FormatType type;
  const char* letters;
};

constexpr FormatName kFormatNames[] = {{FormatType::Text, "A"},        {FormatType::Fixed, "F"},
                                       {FormatType::Scientific, "E"},  {FormatType::Comma, "COMMA"},
                                       {FormatType::Dollar, "DOLLAR"}, {FormatType::Percent, "PCT"}};

bool InRange(const MissingRule& rule, Unit value) {
  return NumberOf(value) >= NumberOf(rule.values[0]) && NumberOf(rule.values[1]) >= NumberOf(value);
}

// Discrete values compare by their bits, as they do on the driver's side: -0.0 is not 0.0.
bool IsUserMissing(const MissingRule& rule, Unit value) {
  if (rule.format == MissingRule::kRange) return InRange(rule, value);
  if (rule.format == MissingRule::kRangeAndOne) return value == rule.values[2] || InRange(rule, value);
  return std::find(rule.values.begin(), rule.values.begin() + rule.format, value) !=
         rule.values.begin() + rule.format;
}

bool MayStartName(unsigned char c) {
  return std::isalpha(c) || c == '_' || c == '@' || c == '#' || c >= 0x80;
}
bool MayContinueName(unsigned char c) { return MayStartName(c) || std::isdigit(c) || c == '.' || c == '$'; }

// The same value for another type. What cannot be said in it is missing: a text that is no number, a number
// that does not fit into the width. A text is cut.
void Convert(const Variable& from, const Unit* value, const Variable& to, Unit* place) {
  StoreMissing(to, place);
  if (from.IsText() && to.IsText()) {
    StoreText(to, place, TextAt(from, value).substr(0, static_cast<std::size_t>(to.width)));
  } else if (from.IsText()) {
    if (const auto number = ParseNumber(TextAt(from, value))) *place = UnitOf(*number);
  } else if (!to.IsText()) {
    *place = *value;
  } else if (*value != kSystemMissing) {
    char number[kNumberBytes];
    const std::string_view text(number, WriteNumber(NumberOf(*value), number));
    if (text.size() <= static_cast<std::size_t>(to.width)) StoreText(to, place, text);
  }
}

}  // namespace

Unit UnitOf(std::string_view text) {
  Unit unit = kBlankUnit;
  std::memcpy(&unit, text.data(), std::min(text.size(), kUnitBytes));
  return unit;
}

std::string TextOf(Unit unit) {
  std::string text(kUnitBytes, ' ');
  std::memcpy(text.data(), &unit, kUnitBytes);
  return text;
}

const char* FormatLetters(FormatType type) {
  for (const FormatName& name : kFormatNames) {
    if (name.type == type) return name.letters;
  }
  return nullptr;
}

const FormatType* FormatTypeOf(std::string_view letters) {
  for (const FormatName& name : kFormatNames) {
    if (SameName(name.letters, letters)) return &name.type;
  }
  return nullptr;
}

std::string Format::Text() const {
  std::string text = FormatLetters(type) + std::to_string(width);
  if (type != FormatType::Text) text += "." + std::to_string(decimals);
  return text;
}

bool Format::WidthFits() const {
  constexpr int kMaxNumberWidth = 40;
  return width >= 1 &&
         width <= (type == FormatType::Text ? static_cast<int>(kMaxTextWidth) : kMaxNumberWidth);
}

bool Format::DecimalsFit() const {
  constexpr int kMaxDecimals = 16;
  return decimals >= 0 && decimals <= (type == FormatType::Text ? 0 : std::min(kMaxDecimals, width - 1));
}

Variable::Variable(std::string variable_name, int text_width)
    : name(std::move(variable_name)), width(text_width) {
  if (!IsText()) return;
  format = {FormatType::Text, width, 0};
  level = Level::Nominal;
  alignment = Alignment::Left;
  missing.values.fill(kBlankUnit);
}

void Dataset::AddVariable(Variable variable) {
  variable.first_unit = case_units;
  variables.push_back(std::move(variable));
  case_units += variables.back().Units();
  cases.Replace({}, case_units, 0);
}

std::vector<Unit> Dataset::MissingCase() const {
  std::vector<Unit> units(case_units);
  for (const Variable& variable : variables) StoreMissing(variable, units.data() + variable.first_unit);
  return units;
}

bool Dataset::Arrange(std::vector<Variable> wanted, std::span<const std::size_t> sources) {
  std::size_t units = 0;
  bool converts_twice = false;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    wanted[i].first_unit = units;
    units += wanted[i].Units();
    if (sources[i] == kNowhere || !pending || pending->sources[sources[i]] == kNowhere) continue;
    const int width = variables[sources[i]].width;
    converts_twice = converts_twice || (wanted[i].width != width &&
                                        pending->variables[pending->sources[sources[i]]].width != width);
  }
  if (units > kMaxCaseBytes / kUnitBytes) return false;
  if (converts_twice) MoveValues();
  cases.Settle();
  Pending next;
  next.sources.assign(sources.begin(), sources.end());
  if (pending) {
    for (std::size_t& source : next.sources)
      source = source == kNowhere ? kNowhere : pending->sources[source];
  }
  next.room.reserve(CaseCount() * units);
  next.variables = std::move(pending ? pending->variables : variables);
  pending = std::move(next);
  variables = std::move(wanted);
  case_units = units;
  return true;
}

// What lies side by side before and after is moved together; what is new comes from a case of missing values.
void Dataset::MoveValues() {
  struct Move {
    const Unit* from;  // in the first case, or in the missing one
    std::size_t step;  // from case to case
    std::size_t to, units;
  };
  const std::vector<Unit> missing = MissingCase();
  const std::size_t step = cases.RowUnits();
  std::vector<Move> moves;
  std::vector<std::pair<const Variable*, const Variable*>> conversions;
  for (std::size_t i = 0; i < variables.size() && CaseCount() > 0; ++i) {
    const Variable& variable = variables[i];
    const std::size_t source = pending->sources[i];
    const Variable* const before = source != kNowhere ? &pending->variables[source] : nullptr;
    if (before != nullptr && before->width != variable.width) {
      conversions.emplace_back(before, &variable);
      continue;
    }
    const Move move = {
        before != nullptr ? cases.At(0) + before->first_unit : missing.data() + variable.first_unit,
        before != nullptr ? step : 0, variable.first_unit, variable.Units()};
    if (!moves.empty() && moves.back().step == move.step &&
        moves.back().from + moves.back().units == move.from &&
        moves.back().to + moves.back().units == move.to) {
      moves.back().units += move.units;
    } else {
      moves.push_back(move);
    }
  }
  Units moved = std::move(pending->room);
  moved.resize(CaseCount() * case_units);
  for (std::size_t row = 0; row < CaseCount(); ++row) {
    Unit* const place = moved.data() + row * case_units;
    for (const Move& move : moves)
      std::memcpy(place + move.to, move.from + row * move.step, move.units * kUnitBytes);
    for (const auto& [before, variable] : conversions)
      Convert(*before, cases.At(row) + before->first_unit, *variable, place + variable->first_unit);
  }
  cases.Replace(std::move(moved), case_units, CaseCount());
  pending.reset();
}

void Dataset::Settle() {
  if (pending) MoveValues();
  cases.Settle();
}

void Dataset::NameChanged(const std::string& old_name, const std::string& new_name) {
  const auto change = [&](std::vector<std::string>& names) {
    for (std::string& entry : names) {
      if (SameName(entry, old_name)) entry = new_name;
    }
    std::erase(names, "");
  };
  std::vector<std::string> new_splits = splits;
  change(new_splits);
  std::vector<ResponseSet> new_sets = response_sets;
  for (ResponseSet& set : new_sets) change(set.members);
  std::erase_if(new_sets, [](const ResponseSet& set) { return set.members.empty(); });
  if (SameName(weight, old_name)) weight = new_name;
  splits = std::move(new_splits);
  response_sets = std::move(new_sets);
}

void Dataset::ResizeCases(std::size_t count) {
  Units cells;
  cells.resize(count * case_units);
  SetCases(std::move(cells));
}

void Dataset::SetCases(Units units) {
  const std::size_t count = case_units > 0 ? units.size() / case_units : 0;
  cases.Replace(std::move(units), case_units, count);
}

void Dataset::InsertCases(std::size_t at, std::size_t count) {
  if (pending) MoveValues();
  cases.Insert(at, count, MissingCase());
}

void Dataset::DeleteCase(std::size_t at) {
  if (pending) MoveValues();
  cases.Delete(at);
}

Variable* Dataset::Find(std::string_view variable_name) {
  const auto found = std::find_if(variables.begin(), variables.end(), [&](const Variable& variable) {
    return SameName(variable.name, variable_name);
  });
  return found != variables.end() ? &*found : nullptr;
}

NameVerdict JudgeName(std::string_view name) {
  if (name.empty() || name.size() > kMaxNameBytes) return NameVerdict::BadLength;
  if (!MayStartName(static_cast<unsigned char>(name[0]))) return NameVerdict::BadStart;
  const bool good = std::all_of(name.begin(), name.end(),
                                [](char c) { return MayContinueName(static_cast<unsigned char>(c)); });
  return good && name.back() != '.' ? NameVerdict::Good : NameVerdict::BadCharacter;
}

void StoreMissing(const Variable& variable, Unit* place) {
  std::fill_n(place, variable.Units(), variable.IsText() ? kBlankUnit : kSystemMissing);
}

void StoreText(const Variable& variable, Unit* place, std::string_view text) {
  std::fill_n(place, variable.Units(), kBlankUnit);
  std::copy(text.begin(), text.end(), reinterpret_cast<char*>(place));
}

void BlankRest(const Variable& variable, Unit* place) {
  const auto width = static_cast<std::size_t>(variable.width);
  if (variable.IsText())
    std::memset(reinterpret_cast<char*>(place) + width, ' ', variable.Units() * kUnitBytes - width);
}

Attribute* FindAttribute(Attributes& attributes, std::string_view name) {
  const auto found = std::find_if(attributes.begin(), attributes.end(),
                                  [&](const Attribute& attribute) { return SameName(attribute.name, name); });
  return found != attributes.end() ? &*found : nullptr;
}

MissingState StateOf(const Variable& variable, const Unit* value) {
  if (variable.IsText()) {
    // A missing text has eight bytes: of a longer value the rest must be blank.
    const bool rest_blank =
        std::all_of(value + 1, value + variable.Units(), [](Unit unit) { return unit == kBlankUnit; });
    return rest_blank && IsUserMissing(variable.missing, *value) ? MissingState::User : MissingState::Valid;
  }
  if (*value == kSystemMissing) return MissingState::System;
  return IsUserMissing(variable.missing, *value) ? MissingState::User : MissingState::Valid;
}
