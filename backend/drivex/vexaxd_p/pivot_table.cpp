// Pivot tables, built in the backend: every call says again which table, and which dimension of it, it means,
// and brings back a status alone.
#include "call_frame.h"
#include "vexaxd_p.h"

// A table: its title, caption, footnotes and widths.

int StartPivotTable(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag) {
  return GuardedCall(Action::StartPivotTable, tableText1, tableText2, tableText3, Flag(tableFlag));
}

int HidePivotTableTitle(const char* tableText1, const char* tableText2, const char* tableText3,
                        bool tableFlag) {
  return GuardedCall(Action::HidePivotTableTitle, tableText1, tableText2, tableText3, Flag(tableFlag));
}

int PivotTableCaption(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                      const char* caption) {
  return GuardedCall(Action::PivotTableCaption, tableText1, tableText2, tableText3, Flag(tableFlag), caption);
}

int AddCaptionFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                        bool tableFlag, const char* caption, const char* footnote) {
  return GuardedCall(Action::AddCaptionFootnotes, tableText1, tableText2, tableText3, Flag(tableFlag),
                     caption, footnote);
}

int MinDataColumnWidth(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                       int width) {
  return GuardedCall(Action::MinDataColumnWidth, tableText1, tableText2, tableText3, Flag(tableFlag), width);
}

int MaxDataColumnWidth(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                       int width) {
  return GuardedCall(Action::MaxDataColumnWidth, tableText1, tableText2, tableText3, Flag(tableFlag), width);
}

int AddOutlineFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                        const char* footnote, bool tableFlag) {
  return GuardedCall(Action::AddOutlineFootnotes, tableText1, tableText2, tableText3, footnote,
                     Flag(tableFlag));
}

int AddTitleFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                      const char* footnote, bool tableFlag) {
  return GuardedCall(Action::AddTitleFootnotes, tableText1, tableText2, tableText3, footnote,
                     Flag(tableFlag));
}

// Output without a table.

int AddProcFootnotes(const char* footnote) { return GuardedCall(Action::AddProcFootnotes, footnote); }

int SplitChange(const char* splitText) { return GuardedCall(Action::SplitChange, splitText); }

int SetGraphicsLabel(const char* labelText1, const char* labelText2) {
  return GuardedCall(Action::SetGraphicsLabel, labelText1, labelText2);
}

int AddTextBlock(const char* tableText1, const char* tableText2, const char* tableText3, int blockValue) {
  return GuardedCall(Action::AddTextBlock, tableText1, tableText2, tableText3, blockValue);
}

// Dimensions, categories and cells of a table.

int AddDimension(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                 const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2) {
  return GuardedCall(Action::AddDimension, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2));
}

int AddDimFootnotes(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                    const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2,
                    const char* footnote) {
  return GuardedCall(Action::AddDimFootnotes, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), footnote);
}

int AddNumberCategory(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                      const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2,
                      double value) {
  return GuardedCall(Action::AddNumberCategory, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), value);
}

int AddStringCategory(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                      const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2,
                      const char* value) {
  return GuardedCall(Action::AddStringCategory, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), value);
}

int AddVarNameCategory(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                       const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2,
                       int varIndex) {
  return GuardedCall(Action::AddVarNameCategory, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), varIndex);
}

int AddVarValueDoubleCategory(const char* tableText1, const char* tableText2, const char* tableText3,
                              bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                              bool dimFlag1, bool dimFlag2, int varIndex, double value) {
  return GuardedCall(Action::AddVarValueDoubleCategory, tableText1, tableText2, tableText3, Flag(tableFlag),
                     dimText, dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), varIndex, value);
}

int AddVarValueStringCategory(const char* tableText1, const char* tableText2, const char* tableText3,
                              bool tableFlag, const char* dimText, int dimValue1, int dimValue2,
                              bool dimFlag1, bool dimFlag2, int varIndex, const char* value) {
  return GuardedCall(Action::AddVarValueStringCategory, tableText1, tableText2, tableText3, Flag(tableFlag),
                     dimText, dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), varIndex, value);
}

int AddCategoryFootnotes(const char* tableText1, const char* tableText2, const char* tableText3,
                         bool tableFlag, const char* dimText, int dimValue1, int dimValue2, bool dimFlag1,
                         bool dimFlag2, const char* footnote) {
  return GuardedCall(Action::AddCategoryFootnotes, tableText1, tableText2, tableText3, Flag(tableFlag),
                     dimText, dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), footnote);
}

int SetNumberCell(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                  const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2,
                  double value) {
  return GuardedCall(Action::SetNumberCell, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), value);
}

int SetStringCell(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                  const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2,
                  const char* value) {
  return GuardedCall(Action::SetStringCell, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), value);
}

int SetVarNameCell(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                   const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2,
                   int varIndex) {
  return GuardedCall(Action::SetVarNameCell, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), varIndex);
}

int SetVarValueDoubleCell(const char* tableText1, const char* tableText2, const char* tableText3,
                          bool tableFlag, const char* dimText, int dimValue1, int dimValue2, bool dimFlag1,
                          bool dimFlag2, int varIndex, double value) {
  return GuardedCall(Action::SetVarValueDoubleCell, tableText1, tableText2, tableText3, Flag(tableFlag),
                     dimText, dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), varIndex, value);
}

int SetVarValueStringCell(const char* tableText1, const char* tableText2, const char* tableText3,
                          bool tableFlag, const char* dimText, int dimValue1, int dimValue2, bool dimFlag1,
                          bool dimFlag2, int varIndex, const char* value) {
  return GuardedCall(Action::SetVarValueStringCell, tableText1, tableText2, tableText3, Flag(tableFlag),
                     dimText, dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), varIndex, value);
}

int AddCellFootnotes(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                     const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2,
                     const char* footnote) {
  return GuardedCall(Action::AddCellFootnotes, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), footnote);
}

int SetDateCell(const char* tableText1, const char* tableText2, const char* tableText3, bool tableFlag,
                const char* dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2,
                const char* value) {
  return GuardedCall(Action::SetDateCell, tableText1, tableText2, tableText3, Flag(tableFlag), dimText,
                     dimValue1, dimValue2, Flag(dimFlag1), Flag(dimFlag2), value);
}

// The format of the cells that follow.

int SetFormatSpecCoefficient() { return GuardedCall(Action::SetFormatSpecCoefficient); }

int SetFormatSpecCoefficientSE() { return GuardedCall(Action::SetFormatSpecCoefficientSE); }

int SetFormatSpecCoefficientVar() { return GuardedCall(Action::SetFormatSpecCoefficientVar); }

int SetFormatSpecCorrelation() { return GuardedCall(Action::SetFormatSpecCorrelation); }

int SetFormatSpecGeneralStat() { return GuardedCall(Action::SetFormatSpecGeneralStat); }

int SetFormatSpecMean(int formatValue) { return GuardedCall(Action::SetFormatSpecMean, formatValue); }

int SetFormatSpecCount() { return GuardedCall(Action::SetFormatSpecCount); }

int SetFormatSpecPercent() { return GuardedCall(Action::SetFormatSpecPercent); }

int SetFormatSpecPercentNoSign() { return GuardedCall(Action::SetFormatSpecPercentNoSign); }

int SetFormatSpecProportion() { return GuardedCall(Action::SetFormatSpecProportion); }

int SetFormatSpecSignificance() { return GuardedCall(Action::SetFormatSpecSignificance); }

int SetFormatSpecResidual() { return GuardedCall(Action::SetFormatSpecResidual); }

int SetFormatSpecVariable(int formatValue) { return GuardedCall(Action::SetFormatSpecVariable, formatValue); }

int SetFormatSpecStdDev(int formatValue) { return GuardedCall(Action::SetFormatSpecStdDev, formatValue); }

int SetFormatSpecDifference(int formatValue) {
  return GuardedCall(Action::SetFormatSpecDifference, formatValue);
}

int SetFormatSpecSum(int formatValue) { return GuardedCall(Action::SetFormatSpecSum, formatValue); }
