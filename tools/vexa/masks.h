// Values that may vary from run to run without meaning anything, and what stands in their place where
// messages are compared: as a rule of the command line names them, and those that every machine has.
//
//   CreateSocket:longs      what this function has in that slot, in the request and in the reply
//   Submit:strings[0]       that element of it
//   GetRowCount             everything
//   /session-[0-9]+/        what this extended regular expression finds in any text
#ifndef MASKS_H
#define MASKS_H

#include <regex.h>

#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

// What a message holds, by the names of the slots: a list of values for each.
using Slots = std::map<std::string, nlohmann::ordered_json>;
inline constexpr const char* kSlotNames[] = {"longs",      "doubles",      "strings",      "structs",
                                             "longArrays", "doubleArrays", "stringArrays", "binary",
                                             "wide",       "void"};

class Masks {
 public:
  // Temp paths but for their last part, addresses, times of day with their date, numbers of sockets.
  static Masks Usual(const std::vector<std::string>& more_temp_directories = {});
  // Throws std::runtime_error for what is no rule.
  void Add(const std::string& rule);
  // Reads one path in texts as another one, ahead of all rules.
  void TakeFor(const std::string& path, const std::string& other);
  // What the function of that name asks or is answered.
  void Apply(const std::string& function, Slots& slots) const;

 private:
  struct Field {
    std::string function, slot;  // without a slot: all of them
    std::optional<std::size_t> element;
  };
  struct Expression {
    std::shared_ptr<regex_t> compiled;
    bool keeps_end;  // a "/" at the end of what is found stays
    std::string instead;
  };

  void AddField(const std::string& rule);
  static Expression Compiled(const std::string& expression, std::string instead = "<masked>",
                             bool keeps_end = false);
  void ApplyToTexts(nlohmann::ordered_json& value) const;
  static std::string Replaced(const Expression& expression, const std::string& text);

  std::vector<Field> fields;
  std::vector<Expression> expressions;
};

#endif
