// A backend of one's own: a dataset that is stored nowhere, the numbers from 1 on and their squares.
// Everything else a driver asks for (output, tables, blocks of other languages) the library behind it serves.
//
//   StartVexa("-cases 1000000")     with this program as bin/vexaengine of a home, or bin/StartXD starting it
#include <cstdlib>

#include "backend.h"
#include "session.h"

namespace {

class Squares final : public Dataset {
 public:
  explicit Squares(std::size_t cases) : count(cases) {
    variables = {Variable("number", 0), Variable("square", 0)};
    case_units = Place(variables);
  }
  std::size_t StartPass(bool) override { return count; }
  std::size_t Ahead(std::size_t first, std::size_t wanted) override {
    block.clear();
    for (std::size_t i = first; i < count && i - first < wanted; ++i) {
      const double number = static_cast<double>(i) + 1;
      block.insert(block.end(), {UnitOf(number), UnitOf(number * number)});
    }
    begin = first;
    return block.size() / case_units;
  }
  std::size_t CaseCount() override { return count; }
  // The one that a pass came to last lies in front of those ahead: it is made again.
  const Unit* Case(std::size_t index) override {
    if (index < begin || index - begin >= block.size() / case_units) Ahead(index, 1);
    return block.data() + (index - begin) * case_units;
  }
  Loan Lend(std::size_t first_case, std::size_t bytes) override {
    return lender.Lend(Case(first_case), bytes);
  }

 private:
  std::size_t count, begin = 0;
  std::vector<Unit> block;
  Lender lender;
};

class SquaresBackend final : public Backend {
 public:
  SquaresBackend() : Backend({"squares", "1.0", ""}) {}
  bool TakeOption(const std::string& option, const std::function<std::string()>& value) override {
    if (option != "-cases") return false;
    cases = std::strtoul(value().c_str(), nullptr, 10);
    return true;
  }
  void Open(Session& session) override { session.datasets.Activate(std::make_unique<Squares>(cases)); }
  std::unique_ptr<Dataset> Make(const std::string&, bool) override { return std::make_unique<Squares>(0); }

 private:
  std::size_t cases = 10;
};

}  // namespace

int main(int argc, char** argv) {
  SquaresBackend backend;
  return BackendMain(backend, argc, argv);
}
