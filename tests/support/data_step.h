// A data step whose datasets the scripted peer holds.
#ifndef SUPPORT_DATA_STEP_H
#define SUPPORT_DATA_STEP_H

#include "session.h"
#include "support/scripted_peer.h"
#include "vexaxd_p.h"

// A call about the dataset "d".
template <class Function, class... Own>
auto OfD(Function function, Own... own) {
  return [=](auto... out) { return function("d", own..., out...); };
}

// The bytes of numbers in units.
inline std::string Numbers(std::initializer_list<double> values) {
  return {reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(double)};
}

class DataStepTest : public ClientTest {
 protected:
  ~DataStepTest() override {
    dataVec.Clear();
    Close();
  }
  void Start() {
    peer.Expects(132).Answers();
    ASSERT_EQ(StartDataStep(), 0);
  }
  void Close() {
    SetVexaRunning(true);
    peer.Expects(133).Answers();
    EXPECT_EQ(EndDataStep(), 0);
  }
  // What the library asks about the layout of a case, the units of its variables side by side.
  void ExpectsLayout(const std::string& name, const std::vector<int>& types) {
    int units = 0;
    for (const int type : types) units += Units(type);
    peer.Expects(239, Strings{name}).Answers(Longs{8 * units});
    peer.Expects(148, Strings{name}).Answers(Longs{static_cast<int>(types.size())});
    for (int i = 0, unit = 0; i < static_cast<int>(types.size()); ++i) {
      const int type = types[static_cast<std::size_t>(i)];
      peer.Expects(153, Strings{name}, Longs{i}).Answers(Longs{type});
      peer.Expects(240, Strings{name}, Longs{i}).Answers(Longs{unit});
      unit += Units(type);
    }
  }
  void Open(const std::string& name, int cases, const std::vector<int>& types) {
    peer.Expects(134, Strings{name}, Longs{0, 1}).Answers();
    peer.Expects(180, Strings{name}).Answers(Longs{cases});
    peer.Expects(148, Strings{name}).Answers(Longs{static_cast<int>(types.size())});
    ExpectsLayout(name, types);
    ASSERT_EQ(CreateDataset(name.c_str(), false, true), 0);
  }
  static int Units(int type) { return type == 0 ? 1 : (type + 7) / 8; }
};

#endif
