// The faults that the practice engine has to order, and what a client sees of each.
#include <chrono>

#include "support/processes.h"
#include "support/session_test.h"

namespace {

constexpr int kGone = 99103, kGivenUp = 99124;

struct Ordered {
  const char* fault;
  std::vector<int> codes;  // of three questions for a name
  const char* name = "a";  // the second answer
};

class EngineFaults : public SessionTest {
 protected:
  int Start(const std::string& faults) {
    std::string options = "-data \"" + files.Write("d.csv", "a,b\n1,2\n") + "\"";
    for (std::size_t from = 0, end = 0; end < faults.size(); from = end + 1) {
      end = std::min(faults.find(';', from), faults.size());
      options += " -fault \"" + faults.substr(from, end - from) + "\"";
    }
    return StartVexa(options.c_str());
  }
};

TEST_F(EngineFaults, OfRequests) {
  const Ordered cases[] = {
      {"GetVariableName 2 code 10", {0, 10, 0}, nullptr},
      {"9 2 code 10", {0, 10, 0}, nullptr},
      {"GetVariableName code 1000", {1000, 0, 0}},
      {"GetVariableName every code 10", {10, 10, 10}, nullptr},
      {"GetVariableLabel 1 code 10", {0, 0, 0}},
      {"GetVariableName 1 code 5;GetVariableName 2 code 6", {5, 6, 0}, nullptr},
      {"GetVariableName 2 shape empty", {0, 0, 0}, ""},
      {"GetVariableName 2 shape other", {0, 0, 0}, ""},
      {"GetVariableName 2 shape more", {0, 0, 0}},
      {"GetVariableName 2 cut 20", {0, kGone, kGone}, nullptr},
      {"GetVariableName 2 cut 0", {0, kGone, kGone}, nullptr},
      {"GetVariableName 2 die before", {0, kGone, kGone}, nullptr},
      {"GetVariableName 2 die within", {0, kGone, kGone}, nullptr},
      {"GetVariableName 2 die after", {0, 0, kGone}},
  };
  for (const Ordered& c : cases) {
    ASSERT_EQ(Start(c.fault), 0) << c.fault << VexaLastError();
    std::vector<int> codes(3);
    for (int& code : codes) {
      const char* const name = GetVariableName(0, &code);
      if (&code == &codes[1]) {
        EXPECT_STREQ(name, c.name) << c.fault;
      }
    }
    EXPECT_EQ(codes, c.codes) << c.fault;
    StopVexa();
    EXPECT_FALSE(IsBackendReady()) << c.fault;
  }
}

// A wait that would have no end is given up; what is ordered late comes late, and what waits for it with it.
TEST_F(EngineFaults, OfPatience) {
  struct Waited {
    const char* fault;
    std::vector<int> codes;
  };
  for (const auto& [fault, codes] :
       {Waited{"GetVariableCount 2 deaf", {0, kGivenUp}}, Waited{"GetVariableCount 1 fill", {0, kGivenUp}},
        Waited{"GetVariableCount 2 delay 300", {0, kGivenUp}}}) {
    ASSERT_EQ(Start(fault), 0) << fault;
    std::vector<int> seen(2);
    GetVariableCount(&seen[0]);
    VexaSetInterruptCheck([](void*) { return 1; }, nullptr);
    GetVariableCount(&seen[1]);
    VexaSetInterruptCheck(nullptr, nullptr);
    EXPECT_EQ(seen, codes) << fault;
    if (fault == std::string("GetVariableCount 2 delay 300")) {
      EXPECT_STREQ(GetVariableName(1, &seen[0]), "b");
    }
    StopVexa();
    EXPECT_TRUE(Await([] { return !HasChildren(); })) << fault;
  }
}

TEST_F(EngineFaults, OfStartsThatTakeLong) {
  VexaSetInterruptCheck([](void*) { return 1; }, nullptr);
  EXPECT_EQ(Start("start silent"), kGivenUp);
  EXPECT_FALSE(HasChildren());
  VexaSetInterruptCheck(nullptr, nullptr);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Start("start late 50"), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

TEST_F(EngineFaults, AreRefusedWhereTheyAreNotUnderstood) {
  for (const char* fault :
       {"any", "GetVariableName", "GetNothing 1 code 3", "9 1 cod 3", "9 1 code", "9 1 code x", "9 1 die",
        "9 1 die now", "9 1 deaf 3", "9 1 shape odd", "start", "start 3", "start exit 3", "start code"}) {
    EXPECT_EQ(Start(fault), 2001) << fault;
    EXPECT_NE(std::string(VexaLastError()).find("-fault \"" + std::string(fault)), std::string::npos)
        << VexaLastError();
  }
}

}  // namespace
