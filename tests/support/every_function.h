// Every function of the public header as a call that can be made without knowing it: its arguments are made
// by their types, and what it gives to its caller is released by its types. Texts go in longer than a string
// keeps in itself, numbers are 2; or, to tell them apart, each is another one. What a function may write to
// is filled with marks.
#ifndef SUPPORT_EVERY_FUNCTION_H
#define SUPPORT_EVERY_FUNCTION_H

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "result_texts.h"
#include "session.h"
#include "vexaxd_p.h"

inline constexpr const char* kLongText = "a text that is longer than what a string keeps in itself";

// What one call writes to, and what it returned.
class CallRoom {
 public:
  static constexpr int kMark = -7;
  static constexpr char kMarks[] = "################################";
  static constexpr std::size_t kTextRoom = std::size_t{1}
                                           << 20;  // for texts of whatever length the peer gives

  explicit CallRoom(bool tells_apart = false) : apart(tells_apart) {
    for (auto& some : ints) std::fill(std::begin(some), std::end(some), kMark);
    std::fill(std::begin(longs), std::end(longs), kMark);
    std::fill(std::begin(numbers), std::end(numbers), kMark);
    static std::vector<char> text_rooms(kTexts * kTextRoom);
    for (std::size_t i = 0; i < kTexts; ++i) {
      rooms[i] = &text_rooms[i * kTextRoom];
      std::fill(std::begin(texts[i]), std::end(texts[i]), rooms[i]);
      std::copy_n(kMarks, sizeof kMarks, rooms[i]);
    }
  }
  CallRoom(const CallRoom&) = delete;
  CallRoom& operator=(const CallRoom&) = delete;
  // Releases as the header says. Arrays are counted by the last number of a call.
  ~CallRoom() {
    const int count = used_ints > 0 ? ints[used_ints - 1][0] : 0;
    for (std::size_t i = 0; i < kTexts; ++i) {
      if (texts[i][0] != rooms[i]) FreeString(texts[i][0]);
      if (arrays[i] != nullptr) FreeTexts(arrays[i], count);
    }
    delete[] doubles;
    delete[] int_array;
    RemoveStringList(list);
    for (void* one : {static_cast<void*>(returned_text), static_cast<void*>(returned_ints)}) FreeString(one);
    RemoveStringList(returned_list);
  }

  // --- Arguments by their types ---
  void Fill(int& value) { value = apart ? filled++ : 2; }
  void Fill(unsigned int& value) { value = 1; }
  void Fill(long& value) { value = apart ? filled++ : 1; }
  void Fill(unsigned long& value) { value = 2; }
  void Fill(double& value) { value = (apart ? filled++ : 2) + 0.5; }
  void Fill(bool& value) { value = !apart || (flag = !flag); }
  void Fill(const char*& text) {
    static constexpr const char* kTold[] = {"a", "b", "c", "d", "e"};
    text = apart ? kTold[given_texts++] : kLongText;
  }
  void Fill(int*& target) { target = ints[used_ints++]; }
  void Fill(long*& target) { target = &longs[used_longs++]; }
  void Fill(double*& target) { target = &numbers[used_numbers++]; }
  void Fill(char*& target) { target = rooms[used_texts++]; }
  void Fill(char**& target) { target = texts[used_texts++]; }
  void Fill(char***& target) { target = &arrays[used_arrays++]; }
  void Fill(double**& target) { target = &doubles; }
  void Fill(int**& target) { target = &int_array; }
  void Fill(void**& target) { target = &list; }
  template <class Other>
  void Fill(Other& none) {
    none = nullptr;
  }

  // --- Results ---
  void Take(int value) { code = value, Say(value); }
  void Take(char* text) {
    returned_text = text;
    if (apart) Take(static_cast<const char*>(text));  // which an image need not be
  }
  void Take(int* values) { returned_ints = values; }
  void Take(void* handle) { returned_list = handle; }
  void Take(long value) { Say(value); }
  void Take(double value) { Say(value); }
  void Take(bool value) { Say(value); }
  void Take(const char* text) {
    read = text != nullptr ? std::string_view(text).size() : 0;
    if (apart) text != nullptr ? Say('"' + std::string(text) + '"') : Say("null");
  }
  void Take(const wchar_t* text) {
    read = text != nullptr ? std::wcslen(text) : 0;
    if (apart) Say(read);
  }

  // Whether the call told this code, as its result or through a number.
  bool Told(int wanted) const {
    return code == wanted ||
           std::any_of(std::begin(ints), std::end(ints), [=](const int* pair) { return pair[0] == wanted; });
  }
  // Whether nothing but that code was written.
  bool HoldsNothingBut(int told) const {
    bool nothing = doubles == nullptr && int_array == nullptr && list == nullptr &&
                   returned_text == nullptr && returned_ints == nullptr && returned_list == nullptr;
    for (const int* pair : ints)
      nothing = nothing && (pair[0] == kMark || pair[0] == told) && pair[1] == kMark;
    for (const long value : longs) nothing = nothing && value == kMark;
    for (const double value : numbers) nothing = nothing && value == kMark;
    for (std::size_t i = 0; i < kTexts; ++i) {
      nothing =
          nothing && texts[i][0] == rooms[i] && arrays[i] == nullptr && std::string_view(rooms[i]) == kMarks;
    }
    return nothing;
  }

  // The result, and behind it what was written, in words.
  std::string Told() {
    const int count = used_ints > 0 ? ints[used_ints - 1][0] : 0;
    for (const auto& some : ints) {
      for (const int value : some) value != kMark ? Say(value) : void();
    }
    for (const long value : longs) value != kMark ? Say(value) : void();
    for (const double value : numbers) value != kMark ? Say(value) : void();
    for (std::size_t i = 0; i < kTexts; ++i) {
      if (std::string_view(rooms[i]) != kMarks) Say(Bytes(rooms[i], 10));
      if (texts[i][0] != rooms[i]) Take(static_cast<const char*>(texts[i][0]));
      for (int j = 0; arrays[i] != nullptr && j < count; ++j) Take(static_cast<const char*>(arrays[i][j]));
    }
    for (int i = 0; i < count; ++i) {
      if (doubles != nullptr) Say(doubles[i]);
      if (int_array != nullptr) Say(int_array[i]);
    }
    for (int i = 0; returned_ints != nullptr && i < ints[0][0]; ++i)
      Say(returned_ints[i]);  // ahead of a code
    for (void* const each : {list, returned_list}) {
      for (int i = 0; i < GetStringListLength(each); ++i) Take(GetStringFromList(each, i));
    }
    return said.str();
  }
  // A text with what lies behind it.
  static std::string Bytes(const char* text, std::size_t length) {
    std::string bytes(text, length);
    std::replace(bytes.begin(), bytes.end(), '\0', '0');
    return bytes;
  }

  int code = 0;
  std::size_t read = 0;

 private:
  static constexpr std::size_t kTexts = 4;

  template <class Value>
  void Say(const Value& value) {
    if (apart) said << ' ' << value;
  }

  const bool apart;
  bool flag = false;
  int filled = 2, given_texts = 0;
  std::ostringstream said;
  int ints[6][8];
  long longs[3];
  double numbers[3];
  char* rooms[kTexts];
  char* texts[kTexts][8];
  char** arrays[kTexts] = {};
  double* doubles = nullptr;
  int* int_array = nullptr;
  void* list = nullptr;
  char* returned_text = nullptr;
  int* returned_ints = nullptr;
  void* returned_list = nullptr;
  std::size_t used_ints = 0, used_longs = 0, used_numbers = 0, used_texts = 0, used_arrays = 0;
};

struct EveryCall {
  std::string_view name;
  std::function<void(CallRoom&)> make;
};

template <class Result, class... Arguments>
EveryCall CallOf(std::string_view name, Result (*function)(Arguments...)) {
  return {name, [function](CallRoom& room) {
            std::tuple<Arguments...> arguments;
            std::apply([&](auto&... each) { (room.Fill(each), ...); }, arguments);
            if constexpr (std::is_void_v<Result>) {
              std::apply(function, arguments);
            } else {
              room.Take(std::apply(function, arguments));
            }
          }};
}

// Those whose arguments are more than their types, or that begin and end sessions and threads.
inline bool StandsApart(std::string_view name) {
  static constexpr std::string_view kApart[] = {"StartVexa",           "StopVexa",
                                                "InitXProcess",        "SetXNameAndSHome",
                                                "SetVexaRunning",      "SaveFileInDS",
                                                "TransportData",       "SetRecordBrowserOutput",
                                                "RecordBrowserOutput", "VexaSetInterruptCheck"};
  return name.starts_with("Free") ||
         std::find(std::begin(kApart), std::end(kApart), name) != std::end(kApart);
}

// In the header's order.
inline const std::vector<EveryCall>& EveryFunction() {
  static const std::vector<EveryCall> calls = [] {
    std::vector<EveryCall> all = {
#define EVERY_FUNCTION(name) CallOf(#name, name),
#include "every_function.inc"
#undef EVERY_FUNCTION
    };
    std::erase_if(all, [](const EveryCall& call) { return StandsApart(call.name); });
    return all;
  }();
  return calls;
}

#endif
