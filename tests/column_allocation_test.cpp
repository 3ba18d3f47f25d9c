// Columns are written with the first allocation of the work failing, with the second, and so on, up to the
// 200th: each time there is a code, everything is released, and the data are as they were.

#include "support/arrow_builder.h"
#include "support/failing_allocations.h"
#include "support/session_test.h"

namespace {

using namespace arrow;

class ColumnAllocationTest : public SessionTest {};

TEST_F(ColumnAllocationTest, EveryShortageOfMemoryTakesBackWhatWasBegun) {
  ASSERT_EQ(StartVexa(("-data " + files.Write("data.csv", "x,t\n1,ab\n2,c\n3,\n")).c_str()), 0);
  const Column n = Doubles({1, 2, 3}), words = Texts({"one", "a text that is long enough", ""}).Named("s");
  const Column factor = Numbers<std::int8_t>("c", {1, 0, 1}).Of(Texts({"u", "v"})).Named("f");
  const struct {
    int (*function)(const char*, ArrowArrayStream*);
    const char* dataset;
    std::vector<Column> columns;
  } rows[] = {{VexaAddColumns, "", {n, words, factor}},
              {VexaReplaceColumns, "", {n.Named("x"), Texts({"x", "yz", ""}).Named("t")}},
              {VexaAppendColumns, "", {n.Named("x")}},
              {VexaCreateColumns, "made", {n, words, factor}}};
  int code = 0;
  for (const auto& [function, dataset, columns] : rows) {
    long count = 0;
    for (bool failed = true; failed && count < 200;) {
      SCOPED_TRACE(++count);
      const int variables = GetVariableCount(&code);
      const long cases = GetRowCount(&code);
      // Another name each time: a shortage that does no harm lets the work succeed.
      const bool is_new = function == VexaAddColumns || function == VexaCreateColumns;
      const std::string number = is_new ? std::to_string(count) : "";
      std::vector<Column> named;
      for (const Column& column : columns) named.push_back(column.Named(column.name + number));
      Stream stream(named);
      const std::string name = *dataset != 0 ? dataset + number : "";
      FailAllocation(count);
      const int result = function(name.c_str(), stream);
      failed = FailAllocation(0);
      EXPECT_TRUE(stream.stream.release == nullptr && Left() == 0);
      EXPECT_EQ(StartDataStep() + EndDataStep(), 0) << "no step is left open";
      if (result == 0) continue;
      ASSERT_EQ(result, 99126) << VexaLastError();
      ASSERT_TRUE(GetVariableCount(&code) == variables && GetRowCount(&code) == cases) << code;
    }
    EXPECT_GT(count, 40) << dataset << columns[0].name;
  }
}

}  // namespace
