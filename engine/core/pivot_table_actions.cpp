// The calls that build pivot tables. Each names its table, most name a dimension of it; where a cell goes and
// how its number is shown, the calls before it said.
#include <algorithm>

#include "session.h"

namespace {

constexpr int kMostWidth = 32767;  // of a column, in characters: each row of it is written out
constexpr std::size_t kTableTexts = 3;
constexpr std::size_t kDimensionTexts = kTableTexts + 1;
constexpr std::size_t kTableLongs = 1;
constexpr std::size_t kDimensionLongs = kTableLongs + 4;

// A call with its table and dimension found, and what it carries of its own.
struct TableCall {
  Session& session;
  PivotTable& table;
  Dimension* dimension;  // null for the calls that name none
  std::span<const std::string> texts;
  std::span<const int> longs;
  std::span<const double> doubles;
};

using TableHandler = int (*)(TableCall&);

bool HasShape(CleXDSmb& request, std::size_t texts, std::size_t longs, std::size_t doubles) {
  return request.GetStringDataRef().Values().size() == texts &&
         request.GetLongDataRef().Values().size() == longs &&
         request.GetDoubleDataRef().Values().size() == doubles;
}

// A call about a table, with so many texts and integers of its own.
template <TableHandler handler, std::size_t own_texts, std::size_t own_longs>
int OnTable(Session& session, CleXDSmb& request, CleXDSmb&) {
  if (!HasShape(request, kTableTexts + own_texts, kTableLongs + own_longs, 0))
    return engine_code::kBadRequest;
  const std::span texts(request.GetStringDataRef().Values());
  const std::span longs(request.GetLongDataRef().Values());
  PivotTable* table = session.output.FindTable(texts, longs[0] != 0);
  if (table == nullptr) return engine_code::kNoTable;
  TableCall call{session, *table, nullptr, texts.subspan(kTableTexts), longs.subspan(kTableLongs), {}};
  return handler(call);
}

// A call about a dimension of a table.
template <TableHandler handler, std::size_t own_texts, std::size_t own_longs, std::size_t own_doubles>
int OnDimension(Session& session, CleXDSmb& request, CleXDSmb&) {
  if (!HasShape(request, kDimensionTexts + own_texts, kDimensionLongs + own_longs, own_doubles)) {
    return engine_code::kBadRequest;
  }
  const std::span texts(request.GetStringDataRef().Values());
  const std::span longs(request.GetLongDataRef().Values());
  PivotTable* table = session.output.FindTable(texts, longs[0] != 0);
  if (table == nullptr) return engine_code::kNoTable;
  Dimension* dimension = table->Find(texts[kTableTexts], longs[1], longs[2]);
  if (dimension == nullptr) return engine_code::kNoDimension;
  TableCall call{session,
                 *table,
                 dimension,
                 texts.subspan(kDimensionTexts),
                 longs.subspan(kDimensionLongs),
                 request.GetDoubleDataRef().Values()};
  return handler(call);
}

// --- Tables ---

int StartTable(Session& session, CleXDSmb& request, CleXDSmb&) {
  if (!HasShape(request, kTableTexts, kTableLongs, 0)) return engine_code::kBadRequest;
  session.output.StartTable(request.GetStringDataRef().Values(), *LongArgument(request, 0) != 0);
  return 0;
}

int HideTitle(TableCall& call) {
  call.table.hide_title = true;
  return 0;
}

int SetCaption(TableCall& call) {
  call.table.caption = call.texts[0];
  return 0;
}

int AddCaptionFootnote(TableCall& call) {
  std::string caption = call.texts[0];
  call.table.Annotate(call.table.caption_notes, call.texts[1]);
  call.table.caption = std::move(caption);
  return 0;
}

template <Notes PivotTable::*notes>
int AddTableFootnote(TableCall& call) {
  call.table.Annotate(call.table.*notes, call.texts[0]);
  return 0;
}

template <int PivotTable::*width>
int SetWidth(TableCall& call) {
  if (call.longs[0] < 1 || call.longs[0] > kMostWidth) return engine_code::kBadRequest;
  call.table.*width = call.longs[0];
  return 0;
}

// --- Dimensions ---

int AddDimension(Session& session, CleXDSmb& request, CleXDSmb&) {
  if (!HasShape(request, kDimensionTexts, kDimensionLongs, 0)) return engine_code::kBadRequest;
  const auto& texts = request.GetStringDataRef().Values();
  const auto& longs = request.GetLongDataRef().Values();
  PivotTable* table = session.output.FindTable(texts, longs[0] != 0);
  if (table == nullptr) return engine_code::kNoTable;
  const bool is_place =
      longs[1] >= static_cast<int>(Place::Row) && longs[1] <= static_cast<int>(Place::Layer);
  if (!is_place || !table->cells.empty() || table->Find(texts[3], longs[1], longs[2]) != nullptr) {
    return engine_code::kBadDimension;
  }
  Dimension dimension;
  dimension.name = texts[3];
  dimension.place = static_cast<Place>(longs[1]);
  dimension.position = longs[2];
  dimension.hide_name = longs[3] != 0;
  dimension.hide_labels = longs[4] != 0;
  table->dimensions.push_back(std::move(dimension));
  return 0;
}

int AddDimensionFootnote(TableCall& call) {
  call.table.Annotate(call.dimension->notes, call.texts[0]);
  return 0;
}

// --- What a category or a cell says ---

// They look before they write, so that a call that fails leaves a value as it was. Its footnotes stay.
using ValueMaker = int (*)(TableCall&, Value&);

int Say(Value& value, bool is_number, const char* kind, std::string variable, std::string said,
        std::string shown) {
  value.kind = kind;
  value.variable = std::move(variable);
  value.said = std::move(said);
  value.shown = std::move(shown);
  value.number.reset();
  value.is_number = is_number;
  return 0;
}

int Number(TableCall& call, Value& value) {
  value.kind = "number";
  value.variable.clear();
  value.number = call.doubles[0];
  value.style = call.session.style;
  value.is_number = true;
  return 0;
}

int Text(TableCall& call, Value& value) {
  return Say(value, false, "string", "", call.texts[0], call.texts[0]);
}

int Date(TableCall& call, Value& value) {
  return Say(value, false, "date", "", call.texts[0], call.texts[0]);
}

int VariableName(TableCall& call, Value& value) {
  const Variable& variable = VariableAt(call.session.Data(), call.longs[0]);
  return Say(value, false, "variableName", variable.name, "", variable.name);
}

int VariableNumber(TableCall& call, Value& value) {
  const Variable& variable = VariableAt(call.session.Data(), call.longs[0]);
  if (variable.IsText()) return CleXDErrorCode::kWrongType;
  const double number = call.doubles[0];
  return Say(value, true, "variableValue", variable.name, NumberText(number), ValueText(variable, number));
}

int VariableText(TableCall& call, Value& value) {
  const Variable& variable = VariableAt(call.session.Data(), call.longs[0]);
  if (!variable.IsText()) return CleXDErrorCode::kWrongType;
  const std::string& text = call.texts[0];
  return Say(value, false, "variableValue", variable.name, text, ValueText(variable, std::string_view(text)));
}

template <ValueMaker make>
int NameCategory(TableCall& call) {
  Value category;
  if (const int code = make(call, category)) return code;
  call.dimension->Name(std::move(category));
  return 0;
}

template <ValueMaker make>
int SetCell(TableCall& call) {
  const PivotTable::Coordinates* here = call.table.Here();
  if (here == nullptr) return engine_code::kNoCategory;
  const auto cell = call.table.cells.find(*here);
  if (cell != call.table.cells.end()) return make(call, cell->second);
  Value value;
  const int code = make(call, value);
  if (code == 0) call.table.cells.emplace(*here, std::move(value));
  return code;
}

int AddCategoryFootnote(TableCall& call) {
  const int current = call.dimension->current;
  if (current < 0) return engine_code::kNoCategory;
  call.table.Annotate(call.dimension->categories[static_cast<std::size_t>(current)].notes, call.texts[0]);
  return 0;
}

int AddCellFootnote(TableCall& call) {
  const PivotTable::Coordinates* here = call.table.Here();
  const auto cell = here != nullptr ? call.table.cells.find(*here) : call.table.cells.end();
  if (cell == call.table.cells.end()) return engine_code::kNoCell;
  call.table.Annotate(cell->second.notes, call.texts[0]);
  return 0;
}

// --- Formats: of all numbers from now on ---

template <FormatType type, int decimals>
int UseFormat(Session& session, CleXDSmb&, CleXDSmb&) {
  session.style = {type, decimals};
  return 0;
}

// The format of a variable, with so many decimals more.
template <int more_decimals>
int UseFormatOf(Session& session, CleXDSmb& request, CleXDSmb&) {
  const std::optional<int> index = LongArgument(request, 0);
  if (!index) return engine_code::kBadRequest;
  const Variable& variable = VariableAt(session.Data(), index);
  if (variable.IsText()) return CleXDErrorCode::kWrongType;
  session.style = {variable.format.type, variable.format.decimals + more_decimals};
  return 0;
}

constexpr FormatType kFixed = FormatType::Fixed;

constexpr ActionEntry kActions[] = {
    {Action::StartPivotTable, StartTable},
    {Action::HidePivotTableTitle, OnTable<HideTitle, 0, 0>},
    {Action::PivotTableCaption, OnTable<SetCaption, 1, 0>},
    {Action::AddCaptionFootnotes, OnTable<AddCaptionFootnote, 2, 0>},
    {Action::MinDataColumnWidth, OnTable<SetWidth<&PivotTable::min_width>, 0, 1>},
    {Action::MaxDataColumnWidth, OnTable<SetWidth<&PivotTable::max_width>, 0, 1>},
    {Action::AddOutlineFootnotes, OnTable<AddTableFootnote<&PivotTable::outline_notes>, 1, 0>},
    {Action::AddTitleFootnotes, OnTable<AddTableFootnote<&PivotTable::title_notes>, 1, 0>},

    {Action::AddDimension, AddDimension},
    {Action::AddDimFootnotes, OnDimension<AddDimensionFootnote, 1, 0, 0>},
    {Action::AddNumberCategory, OnDimension<NameCategory<Number>, 0, 0, 1>},
    {Action::AddStringCategory, OnDimension<NameCategory<Text>, 1, 0, 0>},
    {Action::AddVarNameCategory, OnDimension<NameCategory<VariableName>, 0, 1, 0>},
    {Action::AddVarValueDoubleCategory, OnDimension<NameCategory<VariableNumber>, 0, 1, 1>},
    {Action::AddVarValueStringCategory, OnDimension<NameCategory<VariableText>, 1, 1, 0>},
    {Action::AddCategoryFootnotes, OnDimension<AddCategoryFootnote, 1, 0, 0>},
    {Action::SetNumberCell, OnDimension<SetCell<Number>, 0, 0, 1>},
    {Action::SetStringCell, OnDimension<SetCell<Text>, 1, 0, 0>},
    {Action::SetVarNameCell, OnDimension<SetCell<VariableName>, 0, 1, 0>},
    {Action::SetVarValueDoubleCell, OnDimension<SetCell<VariableNumber>, 0, 1, 1>},
    {Action::SetVarValueStringCell, OnDimension<SetCell<VariableText>, 1, 1, 0>},
    {Action::SetDateCell, OnDimension<SetCell<Date>, 1, 0, 0>},
    {Action::AddCellFootnotes, OnDimension<AddCellFootnote, 1, 0, 0>},

    {Action::SetFormatSpecCoefficient, UseFormat<kFixed, 3>},
    {Action::SetFormatSpecCoefficientSE, UseFormat<kFixed, 3>},
    {Action::SetFormatSpecCoefficientVar, UseFormat<kFixed, 3>},
    {Action::SetFormatSpecCorrelation, UseFormat<kFixed, 3>},
    {Action::SetFormatSpecGeneralStat, UseFormat<kFixed, 3>},
    {Action::SetFormatSpecMean, UseFormatOf<2>},
    {Action::SetFormatSpecCount, UseFormat<kFixed, 0>},
    {Action::SetFormatSpecPercent, UseFormat<FormatType::Percent, 1>},
    {Action::SetFormatSpecPercentNoSign, UseFormat<kFixed, 1>},
    {Action::SetFormatSpecProportion, UseFormat<kFixed, 3>},
    {Action::SetFormatSpecSignificance, UseFormat<kFixed, 3>},
    {Action::SetFormatSpecResidual, UseFormat<kFixed, 3>},
    {Action::SetFormatSpecVariable, UseFormatOf<0>},
    {Action::SetFormatSpecStdDev, UseFormatOf<3>},
    {Action::SetFormatSpecDifference, UseFormatOf<0>},
    {Action::SetFormatSpecSum, UseFormatOf<0>},
};

}  // namespace

std::span<const ActionEntry> PivotTableActions() { return kActions; }
