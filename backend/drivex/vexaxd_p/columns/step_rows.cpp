// The rows of a dataset of the data step, by batches of cells. Where no step is open, one is for as long as a
// batch of columns takes, so that the session stays free for everything that a step forbids.
#include <algorithm>

#include "call_frame.h"
#include "dataset_catalogue.h"
#include "datastep_smb.h"
#include "reasons.h"
#include "row_source.h"
#include "vexaxd_p.h"

namespace {

constexpr const char* kReader = "VexaReadColumns";

int Refuse(int code, std::string_view what, std::string_view name) {
  return Failed(Because(code, what, name), kReader);
}

int DatasetNames(std::vector<std::string>& names) {
  ApiCall question(Asked(Action::GetVexaDatasets, kReader));
  if (question.code() == 0) names = question.reply().GetStringDataRef().Values();
  return question.code();
}

class StepRows : public RowSource {
 public:
  explicit StepRows(std::string name) : dataset(std::move(name)), session(sessionNumber) {}

  // Within Begin and End.
  int Take() {
    int count = 0;
    int code = Questions().CountVariables(count);
    for (int i = 0; i < count && code == 0; ++i) {
      RowVariable& variable = variables.emplace_back();
      variable.index = i;
      code = Questions().TypeOf(i, variable.info);
      if (code == 0) code = Questions().NameOf(i, variable.name);
    }
    variables_there = static_cast<std::size_t>(count);
    return code;
  }

  Dictionary Questions() const override { return Dictionary(dataset); }
  // A row has the chosen variables and no other.
  void Choose(const std::vector<std::size_t>& places) override {
    std::vector<RowVariable> chosen;
    std::size_t units = 0;
    for (const std::size_t place : places) {
      chosen.push_back(variables[place]);
      chosen.back().unit = units;
      units += static_cast<std::size_t>(ObsLength(std::max(chosen.back().info.varType, 0)));
    }
    variables = std::move(chosen);
    row_size = units * sizeof(OBS);
  }
  const char* WhyGone() const override {
    return session != sessionNumber || !isVexaRunning ? "the session of the stream has ended" : nullptr;
  }

  int Begin(std::size_t first) override {
    next = first;
    opened_step = false;
    FlushPendingWrites();
    if (!isDataStep) {
      const int code = StartDataStep();
      if (code != 0) return code;
      opened_step = true;
    }
    const int code = Enter();
    return code != 0 ? code : Questions().CountCases(total);
  }
  void End(RowBlock& unread) override {
    unread = {};
    if (!opened_step || WhyGone() != nullptr) return;
    opened_step = false;
    EndDataStep();
  }
  void Close() override {}

  int Next(RowBlock& block) override {
    block = {};
    if (total < 0 || next >= static_cast<std::size_t>(total)) return 0;
    DatastepSmb batch;
    const int code = CodeOf(
        [&] {
          CleXDSmb request;
          AddArgument(request, dataset.c_str());
          AddArgument(request, 0);
          AddArgument(request, static_cast<long>(next));
          return Exchange(Action::FetchDatastep, request, batch);
        },
        "FetchDatastep");
    return code != 0 ? code : TakeBatch(batch, block);
  }

 private:
  // A dataset that is not there any more would be made anew, and empty.
  int Enter() {
    if (FindInCatalogue(dataset.c_str()) >= 0) return 0;
    if (dataset != "*") {
      std::vector<std::string> names;
      const int code = DatasetNames(names);
      if (code != 0) return code;
      if (std::find(names.begin(), names.end(), dataset) == names.end())
        return Refuse(CleXDErrorCode::kUnknownDataset, "there is no dataset ", dataset);
    }
    return ApiCall(Asked(Action::CreateDataset, kReader), dataset.c_str(), Flag(false), Flag(false)).code();
  }

  // What the batch tells is held to what it has, and to the variables as they were.
  int TakeBatch(DatastepSmb& batch, RowBlock& block) {
    const long first = batch.LongAt(0), last = batch.LongAt(-2);
    const long row = static_cast<long>(next);
    bool same = batch.LongAt(1) == static_cast<int>(variables_there) &&
                static_cast<std::size_t>(batch.GetLongDataRef().Size()) == variables_there + 4;
    for (const RowVariable& variable : variables)
      same = same && batch.LongAt(2 + variable.index) == variable.info.varType;
    if (!same) return Refuse(CleXDErrorCode::kPipeFailed, "other variables than before are in ", dataset);
    const std::size_t cells = static_cast<std::size_t>(std::max(last - first + 1, 0L)) * variables_there;
    if (!batch.HoldsRow(row) || !HasCells(batch, cells))
      return Refuse(CleXDErrorCode::kPipeFailed, "a batch without the rows that it tells of, of ", dataset);
    const std::size_t count =
        std::min(static_cast<std::size_t>(last - row + 1), static_cast<std::size_t>(total) - next);
    rows.resize(count * row_size);
    for (std::size_t i = 0; i < count; ++i)
      FillRow(batch, (static_cast<std::size_t>(row - first) + i) * variables_there,
              rows.data() + i * row_size);
    next += count;
    block = {rows.data(), count};
    return 0;
  }
  bool HasCells(DatastepSmb& batch, std::size_t cells) const {
    const bool texts = std::any_of(variables.begin(), variables.end(),
                                   [](const RowVariable& variable) { return variable.info.varType != 0; });
    const bool numbers = std::any_of(variables.begin(), variables.end(),
                                     [](const RowVariable& variable) { return variable.info.varType == 0; });
    const auto has = [=](auto& lists) { return !lists.empty() && lists[0].Values().size() >= cells; };
    return (!numbers || has(batch.GetDoubleArrayRef())) && (!texts || has(batch.GetStringArrayRef()));
  }
  void FillRow(DatastepSmb& batch, std::size_t cell, char* row) const {
    for (const RowVariable& variable : variables) {
      char* const units = row + variable.unit * sizeof(OBS);
      const std::size_t at = cell + static_cast<std::size_t>(variable.index);
      if (variable.info.varType == 0) {
        std::memcpy(units, &batch.GetDoubleArrayRef()[0].Values()[at], sizeof(OBS));
      } else {
        const std::string& text = batch.GetStringArrayRef()[0].Values()[at];
        const auto width = static_cast<std::size_t>(ObsLength(variable.info.varType)) * sizeof(OBS);
        std::memset(units, ' ', width);
        text.copy(units, static_cast<std::size_t>(variable.info.varType));
      }
    }
  }

  const std::string dataset;
  const std::uint64_t session;
  std::size_t variables_there = 0;
  std::size_t next = 0;
  bool opened_step = false;
  std::vector<char> rows;
};

}  // namespace

int FindDataset(const char* name, bool& by_cursor, std::string& found) {
  const std::string_view wanted = name != nullptr ? name : "";
  const bool means_active = wanted.empty() || wanted == "*";
  by_cursor = means_active && !isDataStep;
  if (by_cursor) return 0;
  ApiCall active(Asked(Action::GetActive, kReader));
  if (active.code() != 0 && active.code() != CleXDErrorCode::kNoActiveName) return active.code();
  const std::string active_name = active.code() == 0 ? active.Text(0) : "*";
  if (means_active || FindName({active_name}, wanted) == 0) {
    by_cursor = !isDataStep;
    found = active_name;
    return 0;
  }
  std::vector<std::string> names;
  const int code = DatasetNames(names);
  if (code != 0) return code;
  const std::size_t place = FindName(names, wanted);
  if (place == names.size()) return Refuse(CleXDErrorCode::kUnknownDataset, "there is no dataset ", wanted);
  found = names[place];
  return 0;
}

int OpenStepRows(const std::string& dataset, std::unique_ptr<RowSource>& source) {
  auto rows = std::make_unique<StepRows>(dataset);
  StepRows& taken = *rows;
  source = std::move(rows);
  const int code = taken.Begin(0);
  return code != 0 ? code : taken.Take();
}
