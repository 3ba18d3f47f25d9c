// vexaengine: the practice engine, a backend with its datasets in memory. They come from CSV files.
#include <cstdio>
#include <exception>

#include "csv_reader.h"
#include "options.h"
#include "practice_commands.h"
#include "session.h"
#include "side_file.h"

namespace {

class PracticeEngine final : public Backend {
 public:
  PracticeEngine() : Backend({"vexaengine", VEXA_ENGINE_VERSION, "The practice engine of libvexaxd_p"}) {}

  bool TakeOption(const std::string& option, const std::function<std::string()>& value) override {
    if (option == "-missing") {
      missing.push_back(value());
    } else if (option == "-data") {
      SetFile(data, option, value());
    } else {
      return false;
    }
    return true;
  }

  // Warnings go to whoever looks at the terminal, and to whoever looks at the output alone.
  void Open(Session& session) override {
    if (data.empty()) return;
    std::vector<std::string> warnings;
    try {
      auto read = std::make_unique<MemoryDataset>(ReadCsv(data, missing, warnings));
      ReadSideFile(data + ".vars", *read);
      session.datasets.Activate(std::move(read));
    } catch (const Refusal&) {
      throw;
    } catch (const std::exception&) {
      throw Refusal(engine_code::kUnreadable, data + ": the data do not fit into memory");
    }
    for (const std::string& warning : warnings) {
      std::fprintf(stderr, "vexaengine: %s\n", warning.c_str());
      session.output.Post(warning + "\n");
    }
  }

  std::unique_ptr<Dataset> Make(const std::string& name, bool) override {
    auto dataset = std::make_unique<MemoryDataset>();
    dataset->name = name;
    return dataset;
  }

  int Run(Session& session, std::string_view command) override {
    return RunCommand(session, missing, command);
  }

  std::vector<Setting> Settings() const override { return {{"data", data, true}}; }

 private:
  std::string data;                  // the CSV file; empty for an engine without data
  std::vector<std::string> missing;  // texts of the data that count as nothing
};

}  // namespace

int main(int argc, char** argv) {
  PracticeEngine engine;
  return BackendMain(engine, argc, argv);
}
