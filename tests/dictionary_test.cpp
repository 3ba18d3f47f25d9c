#include <cstring>

#include "session.h"
#include "support/calls.h"
#include "vexaxd_p.h"

namespace {

class DictionaryTest : public ClientTest {};

// --- Value and error argument ---

TEST_F(DictionaryTest, TextsComeThroughStringResult) {
  const struct {
    Image request;
    const char* (*ask)(int*);
    const char* failure;
  } rows[] = {
      {MakeImage(9, Longs{3}), [](int* code) { return GetVariableName(3, code); }, nullptr},
      {MakeImage(10, Longs{-1}), [](int* code) { return GetVariableLabel(-1, code); }, nullptr},
      {MakeImage(12, Longs{0}), [](int* code) { return GetVariableFormat(0, code); }, nullptr},
      {MakeImage(118), [](int* code) { return GetWeightVar(code); }, nullptr},
      {MakeImage(105, Longs{4}), [](int* code) { return GetVariableFormatInProcDS(4, code); }, ""},
      {MakeImage(106, Longs{5}), [](int* code) { return GetVariableLabelInProcDS(5, code); }, ""},
      {MakeImage(108, Longs{6}), [](int* code) { return GetVariableNameInProcDS(6, code); }, ""},
  };
  SetVexaRunning(false);  // which these do not ask
  for (const auto& row : rows) {
    SCOPED_TRACE(row.request.action);
    peer.Expects(row.request).Answers(Strings{"age", "not this"});
    const char* const text = row.ask(&error);
    EXPECT_STREQ(text, "age");
    EXPECT_EQ(text, stringResult);
    EXPECT_EQ(error, 0);
    peer.Expects(row.request).Answers(Error{kRefused}, Strings{"sex"});
    EXPECT_STREQ(row.ask(&error), row.failure);
    EXPECT_EQ(error, kRefused);
    EXPECT_STREQ(stringResult, "age") << "the text before stays valid";
  }
}

// With the request the call has to send, and its value on failure, which not every call defines.
class NumberTest : public DictionaryTest {
 protected:
  template <class Ask>
  void Check(const Image& request, Ask ask, std::optional<int> failure) {
    SCOPED_TRACE(request.action);
    peer.Expects(request).Answers(Longs{-2, 5});
    EXPECT_EQ(ask(&error), -2);
    EXPECT_EQ(error, 0);
    peer.Expects(request).Answers(Error{kRefused}, Longs{5});
    const long value = ask(&error);
    EXPECT_EQ(value, failure.value_or(static_cast<int>(value)));
    EXPECT_EQ(error, kRefused);
  }
};

TEST_F(NumberTest, FailsWithAValueOfItsOwn) {
  SetVexaRunning(false);  // which these do not ask
  Check(MakeImage(7), GetVariableCount, std::nullopt);
  Check(MakeImage(8), GetRowCount, -1);
  Check(MakeImage(76), GetVexaOutputWidth, std::nullopt);
  Check(MakeImage(103), GetRowCountInProcDS, -1);
  Check(MakeImage(104), GetVariableCountInProcDS, 0);
  for (const auto& [action, ask, failure] : {std::tuple{11, &GetVariableType, 0},
                                             {13, &GetVariableMeasurementLevel, 0},
                                             {222, &GetVariableRole, 0},
                                             {107, &GetVariableMeasurementLevelInProcDS, -1},
                                             {109, &GetVariableTypeInProcDS, -1},
                                             {223, &GetVariableRoleInProcDS, -1}}) {
    const auto of_variable = [call = ask](int* code) { return call(6, code); };
    Check(MakeImage(action, Longs{6}), of_variable, failure);
  }
}

TEST_F(NumberTest, OfSelectedRowsIsNotAskedForWithoutABackend) {
  Check(MakeImage(249), GetSelectedRowCountInProcDS, -1);
  SetVexaRunning(false);
  EXPECT_EQ(GetSelectedRowCountInProcDS(&error), -1);
  EXPECT_EQ(error, kDown);
}

TEST_F(DictionaryTest, AnAnswerWithoutItsValueIsNoFailure) {
  peer.Expects(8).Answers();
  EXPECT_EQ(GetRowCount(&error), -1);
  EXPECT_EQ(error, 0);
  peer.Expects(9, Longs{0}).Answers(Strings{"age"});
  GetVariableName(0, &error);
  peer.Expects(108, Longs{0}).Answers();
  EXPECT_STREQ(GetVariableNameInProcDS(0, &error), "");
  EXPECT_STREQ(stringResult, "age");
}

TEST_F(DictionaryTest, SplitVariablesAreAList) {
  peer.Expects(77).Answers(Strings{"sex", "region"});
  void* const names = GetSplitVariableNames(&error);
  EXPECT_EQ(GetStringListLength(names), 2);
  EXPECT_STREQ(GetStringFromList(names, 1), "region");
  EXPECT_STREQ(GetStringFromList(names, 2), "");
  EXPECT_STREQ(GetStringFromList(names, -1), "");
  RemoveStringList(names);
  peer.Expects(77).Answers(Error{kRefused}, Strings{"sex"});
  EXPECT_EQ(GetSplitVariableNames(&error), nullptr);
  EXPECT_EQ(error, kRefused);
}

TEST_F(DictionaryTest, ValidatesANameWithoutAStatus) {
  SetVexaRunning(false);
  peer.Expects(129, Strings{"age"}).Answers(Longs{6});
  EXPECT_EQ(ValidateVarName("age"), 6);
  peer.Expects(129).Answers(Error{kRefused}, Longs{6});
  EXPECT_EQ(ValidateVarName(nullptr), 0);
}

// --- Status and out-parameters ---

struct Outs {
  Outs() { std::memset(static_cast<void*>(this), 0x55, sizeof *this); }
  double doubles[3];
  int longs[4];
  char units[3][8];
};

class StatusTest : public DictionaryTest {
 protected:
  template <class Ask>
  void Check(const Image& request, Image reply, const Outs& written, Ask ask) {
    SCOPED_TRACE(request.action);
    for (const int code : {0, kRefused, kDown}) {
      Outs out;
      const Outs untouched;
      reply.error = code;
      SetVexaRunning(code != kDown);
      if (code != kDown) peer.Expects(request).Sends({Encode(reply)});
      EXPECT_EQ(ask(out), code);
      EXPECT_EQ(std::memcmp(&out, code == 0 ? &written : &untouched, sizeof out), 0) << "code " << code;
    }
  }
};

TEST_F(StatusTest, OfAFormat) {
  Outs written;
  written.longs[0] = 5, written.longs[1] = 8, written.longs[2] = 2;
  for (const auto& [action, ask] :
       {std::pair{29, &GetVariableFormatType}, {116, &GetVariableFormatTypeInProcDS}}) {
    Check(MakeImage(action, Longs{1}), MakeImage(0, Longs{5, 8, 2}), written,
          [call = ask](Outs& o) { return call(1, &o.longs[0], &o.longs[1], &o.longs[2]); });
  }
}

TEST_F(StatusTest, OfMissingTextsFillsEightBytes) {
  Outs written;
  written.longs[0] = 3;
  std::memcpy(written.units,
              "ab\0\0\0\0\0\0"
              "1234567812345678",
              sizeof written.units);
  for (const auto& [action, ask] :
       {std::pair{31, &GetVarCMissingValues}, {114, &GetVarCMissingValuesInProcDS}}) {
    Check(MakeImage(action, Longs{2}), MakeImage(0, Longs{3}, Strings{"ab", "12345678", "1234567890"}),
          written, [call = ask](Outs& o) { return call(2, o.longs, o.units[0], o.units[1], o.units[2]); });
  }
}

TEST_F(StatusTest, OfMissingNumbersWritesAllThree) {
  Outs written;
  written.longs[0] = -2, written.doubles[0] = 1.5, written.doubles[1] = -0.0, written.doubles[2] = 3.5;
  for (const auto& [action, ask] :
       {std::pair{32, &GetVarNMissingValues}, {115, &GetVarNMissingValuesInProcDS}}) {
    Check(MakeImage(action, Longs{3}), MakeImage(0, Longs{-2}, Doubles{1.5, -0.0, 3.5}), written,
          [call = ask](Outs& o) { return call(3, o.longs, &o.doubles[0], &o.doubles[1], &o.doubles[2]); });
  }
}

TEST_F(StatusTest, OfTheDatasetsFacts) {
  Outs need, value, bounds;
  need.longs[0] = 1, value.doubles[0] = bounds.doubles[0] = -1e308, bounds.doubles[1] = 2.5;
  Check(MakeImage(127), MakeImage(0, Longs{1}), need, [](Outs& o) { return IsNeedCache(o.longs); });
  Check(MakeImage(128), MakeImage(0, Doubles{-1e308}), value,
        [](Outs& o) { return GetSystemMissingValue(o.doubles); });
  Check(MakeImage(119), MakeImage(0, Doubles{-1e308, 2.5}), bounds,
        [](Outs& o) { return GetVEXALowHigh(&o.doubles[0], &o.doubles[1]); });
}

// --- Value labels ---

TEST_F(DictionaryTest, NumericValueLabelsAreTheCallersPairs) {
  double* values = nullptr;
  char** labels = nullptr;
  int count = 0;
  peer.Expects(123, Longs{2}).Answers(Longs{2}, Doubles{1.0, 2.0}, Strings{"one", ""});
  ASSERT_EQ(GetNValueLabels(2, &values, &labels, &count), 0);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(values[1], 2.0);
  EXPECT_STREQ(labels[0], "one");
  EXPECT_STREQ(labels[1], "");
  SetVexaRunning(false);
  EXPECT_EQ(FreeNValueLabels(values, labels, count), kDown) << "and nothing is freed";
  SetVexaRunning(true);
  FreeString(std::exchange(labels[0], nullptr));
  EXPECT_EQ(FreeNValueLabels(values, labels, count), 0);
}

TEST_F(DictionaryTest, TextValueLabelsComeAsTwoLists) {
  char **values = nullptr, **labels = nullptr;
  int count = 0;
  peer.Expects(125, Longs{2}).Answers(Longs{2}, StringLists{{"f", "m"}, {"female", "male"}});
  ASSERT_EQ(GetCValueLabels(2, &values, &labels, &count), 0);
  ASSERT_EQ(count, 2);
  EXPECT_STREQ(values[0], "f");
  EXPECT_STREQ(values[1], "m");
  EXPECT_STREQ(labels[0], "female");
  EXPECT_STREQ(labels[1], "male");
  SetVexaRunning(false);
  EXPECT_EQ(FreeCValueLabels(values, labels, count), kDown) << "and nothing is freed";
  SetVexaRunning(true);
  FreeString(std::exchange(values[1], nullptr));
  EXPECT_EQ(FreeCValueLabels(values, labels, count), 0);
}

TEST_F(DictionaryTest, NoLabelsLeaveTheArraysUnwritten) {
  double number = 0.0, *values = &number;
  char *text = nullptr, **labels = &text, **codes = &text;
  for (const int sent : {0, -1}) {
    int count = 5;
    peer.Expects(123, Longs{0}).Answers(Longs{sent}, Doubles{1.0}, Strings{"one"});
    EXPECT_EQ(GetNValueLabels(0, &values, &labels, &count), 0);
    EXPECT_EQ(count, sent);
    peer.Expects(125, Longs{0}).Answers(Longs{sent}, StringLists{{}, {}});
    EXPECT_EQ(GetCValueLabels(0, &codes, &labels, &count), 0);
    EXPECT_EQ(count, sent);
    EXPECT_EQ(FreeNValueLabels(nullptr, nullptr, sent), 0);
    EXPECT_EQ(FreeCValueLabels(nullptr, nullptr, sent), 0);
  }
  int count = 5;
  peer.Expects(123, Longs{0}).Answers(Error{kRefused}, Longs{1});
  EXPECT_EQ(GetNValueLabels(0, &values, &labels, &count), kRefused);
  peer.Expects(125, Longs{0}).Answers(Error{kRefused}, Longs{1});
  EXPECT_EQ(GetCValueLabels(0, &codes, &labels, &count), kRefused);
  EXPECT_EQ(count, 5);
  EXPECT_EQ(values, &number);
  EXPECT_TRUE(labels == &text && codes == &text);
}

// --- What the library demands of a reply and of its caller ---

TEST_F(DictionaryTest, DiesOfAReplyWithoutTheNumberItMustHold) {
  peer.Expects(7).Answers(Longs{1});
  GetVariableCount(&error);  // opens the session, which the dying processes then share
  for (const auto& [action, ask] : {std::pair<int, void (*)()>{103, [] { GetRowCountInProcDS(nullptr); }},
                                    {104, [] { GetVariableCountInProcDS(nullptr); }},
                                    {107, [] { GetVariableMeasurementLevelInProcDS(0, nullptr); }},
                                    {109, [] { GetVariableTypeInProcDS(0, nullptr); }},
                                    {223, [] { GetVariableRoleInProcDS(0, nullptr); }},
                                    {127, [] { IsNeedCache(nullptr); }},
                                    {129, [] { ValidateVarName(nullptr); }}}) {
    const bool of_variable = action == 107 || action == 109 || action == 223;
    peer.Expects(of_variable ? MakeImage(action, Longs{0}) : MakeImage(action)).Answers(Doubles{1.0});
    EXPECT_DEATH(ask(), "assertion failed: size > 0") << action;
  }
  double low = 0.0, high = 0.0;
  peer.Expects(119).Answers(Doubles{1.0});
  EXPECT_DEATH(GetVEXALowHigh(&low, &high), "assertion failed: size > 1");
}

TEST_F(DictionaryTest, DiesOfArraysThatAreNotThere) {
  double value = 0.0;
  char *text = nullptr, **texts = &text;
  EXPECT_DEATH(FreeNValueLabels(nullptr, texts, 1), "assertion failed: values != NULL");
  EXPECT_DEATH(FreeNValueLabels(&value, nullptr, 1), "assertion failed: labels != NULL");
  EXPECT_DEATH(FreeCValueLabels(nullptr, texts, 1), "assertion failed: values != NULL");
  EXPECT_DEATH(FreeCValueLabels(texts, nullptr, 1), "assertion failed: labels != NULL");
}

}  // namespace
