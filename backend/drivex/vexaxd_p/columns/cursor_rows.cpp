// The rows of the active dataset, by the blocks of the cursor.
#include "call_frame.h"
#include "case_blocks.h"
#include "reasons.h"
#include "row_source.h"
#include "vexaxd_p.h"

namespace {

class CursorRows : public RowSource {
 public:
  // Of the cursor that was just made.
  int Take() {
    session = sessionNumber;
    cursor = cursorNumber;
    block_number = curCaseData->BlockNumber();
    row_size = static_cast<std::size_t>(curCaseData->GetOneCaseSize());
    const std::vector<VarInfo*>& infos = curCaseData->VarInfos();
    variables.resize(infos.size());
    for (std::size_t i = 0; i < infos.size(); ++i) {
      RowVariable& variable = variables[i];
      variable.index = static_cast<int>(i);
      variable.info = *infos[i];
      variable.unit = static_cast<std::size_t>(curCaseData->OBSIndex(variable.index));
      const int code = Questions().NameOf(variable.index, variable.name);
      if (code != 0) return code;
    }
    return Questions().CountCases(total);
  }

  Dictionary Questions() const override { return Dictionary(); }
  void Choose(const std::vector<std::size_t>& places) override {
    std::vector<RowVariable> chosen;
    chosen.reserve(places.size());
    for (const std::size_t place : places) chosen.push_back(variables[place]);
    variables = std::move(chosen);
  }
  const char* WhyGone() const override {
    if (session != sessionNumber || !isVexaRunning) return "the session of the stream has ended";
    if (!OwnsCursor()) return "the cursor of the stream was removed, or another has taken its place";
    if (block_number != curCaseData->BlockNumber())
      return "cases of the stream's cursor have been fetched by others";
    return nullptr;
  }
  int Begin(std::size_t) override { return 0; }
  void End(RowBlock&) override {}
  int Next(RowBlock& block) override {
    CaseBlock cases;
    const int code = NextCaseBlock(cases);
    if (curCaseData != nullptr) block_number = curCaseData->BlockNumber();
    block = {cases.cases, cases.count};
    return code == CleXDErrorCode::kEndOfData || code == CleXDErrorCode::kEndOfSplit ? 0 : code;
  }
  void Close() override {
    if (session == sessionNumber && isVexaRunning && OwnsCursor()) RemoveCaseCursor();
  }

 private:
  bool OwnsCursor() const { return cursor == cursorNumber && curCaseData != nullptr; }

  std::uint64_t session = 0;
  std::uint64_t cursor = 0;
  std::uint64_t block_number = 0;
};

}  // namespace

int OpenCursorRows(std::unique_ptr<RowSource>& source) {
  auto rows = std::make_unique<CursorRows>();
  const int code = MakeCaseCursor("r");
  if (code != 0) return code;
  CursorRows& taken = *rows;
  source = std::move(rows);
  return taken.Take();
}
