#include "masks.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kMasked = "<masked>";

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (std::string_view(".[]()*+?{}^$|\\").find(c) != std::string_view::npos) escaped += '\\';
    escaped += c;
  }
  return escaped;
}

void MaskAll(Json& value) {
  if (value.is_array() && !value.empty())
    value = Json::array({kMasked});
  else if (!value.is_array())
    value = kMasked;
}

}  // namespace

Masks Masks::Usual(const std::vector<std::string>& more_temp_directories) {
  Masks masks;
  std::vector<std::string> directories = more_temp_directories;
  for (const char* const name : {"VEXADXTEMP", "TMPDIR"}) {
    if (const char* const value = std::getenv(name)) directories.emplace_back(value);
  }
  std::string roots = "/var/tmp|/dev/shm|/tmp";
  for (std::string& path : directories) {
    while (path.ends_with('/')) path.pop_back();
    if (!path.empty()) roots += "|" + Escaped(path);
  }
  const std::string part = "/[^][:space:]/\"'<>,;:()[]+";
  masks.expressions.push_back(Compiled("(" + roots + ")" + part + "((" + part + ")*/)?", "<temp>", true));
  masks.expressions.push_back(Compiled("0x[0-9a-fA-F]{6,}", "<address>"));
  masks.expressions.push_back(Compiled(
      "[0-9]{4}-[0-9]{2}-[0-9]{2}[T ][0-9]{2}:[0-9]{2}(:[0-9]{2}([.,][0-9]+)?)?(Z|[+-][0-9]{2}:?[0-9]{2})?",
      "<time>"));
  masks.expressions.push_back(Compiled(
      "[A-Z][a-z]{2} [A-Z][a-z]{2} +[0-9]{1,2} [0-9]{2}:[0-9]{2}:[0-9]{2}( [A-Z]+)? [0-9]{4}", "<time>"));
  masks.expressions.push_back(Compiled("/SOCKET *=? *\"?[0-9]+\"?", "/SOCKET=<masked>"));
  masks.Add("CreateSocket:longs");
  masks.Add("TransportData:strings[0]");
  return masks;
}

void Masks::Add(const std::string& rule) {
  const bool expression = rule.size() > 2 && rule.starts_with('/') && rule.ends_with('/');
  if (expression)
    expressions.push_back(Compiled(rule.substr(1, rule.size() - 2)));
  else
    AddField(rule);
}

void Masks::TakeFor(const std::string& path, const std::string& other) {
  expressions.insert(expressions.begin(), Compiled(Escaped(path), other));
}

void Masks::AddField(const std::string& rule) {
  Field field;
  const std::size_t colon = rule.find(':');
  field.function = rule.substr(0, colon);
  if (colon != std::string::npos) {
    field.slot = rule.substr(colon + 1);
    const std::size_t bracket = field.slot.find('[');
    if (bracket != std::string::npos) {
      const std::string number = field.slot.substr(bracket + 1);
      const std::size_t digits = number.find_first_not_of("0123456789");
      if (digits == 0 || digits > 9 || number.substr(digits) != "]")
        throw std::runtime_error(rule + ": an element is a number in brackets");
      field.element = std::stoul(number);
      field.slot.resize(bracket);
    }
    if (std::find(std::begin(kSlotNames), std::end(kSlotNames), field.slot) == std::end(kSlotNames))
      throw std::runtime_error(rule +
                               ": the slots are longs, doubles, strings, structs, longArrays, "
                               "doubleArrays, stringArrays, binary, wide and void");
  }
  if (field.function.empty())
    throw std::runtime_error("\"" + rule +
                             "\" is no mask: FUNCTION, FUNCTION:SLOT, FUNCTION:SLOT[N] or /REGEX/");
  fields.push_back(std::move(field));
}

Masks::Expression Masks::Compiled(const std::string& expression, std::string instead, bool keeps_end) {
  const std::shared_ptr<regex_t> compiled(new regex_t{}, [](regex_t* of) {
    regfree(of);
    delete of;
  });
  const int code = regcomp(compiled.get(), expression.c_str(), REG_EXTENDED);
  if (code != 0) {
    char reason[200];
    regerror(code, compiled.get(), reason, sizeof reason);
    throw std::runtime_error("/" + expression + "/: " + reason);
  }
  return {compiled, keeps_end, std::move(instead)};
}

void Masks::Apply(const std::string& function, Slots& slots) const {
  for (auto& [slot, values] : slots) {
    ApplyToTexts(values);
    for (const Field& field : fields) {
      if (field.function != function || (!field.slot.empty() && field.slot != slot)) continue;
      if (!field.element)
        MaskAll(values);
      else if (*field.element < values.size())
        MaskAll(values[*field.element]);
    }
  }
}

void Masks::ApplyToTexts(Json& value) const {
  if (value.is_array()) {
    for (Json& each : value) ApplyToTexts(each);
  } else if (value.is_string()) {
    std::string text = value;
    for (const Expression& expression : expressions) text = Replaced(expression, text);
    value = std::move(text);
  }
}

std::string Masks::Replaced(const Expression& expression, const std::string& text) {
  std::string replaced;
  std::size_t at = 0;
  while (at < text.size()) {
    regmatch_t found = {static_cast<regoff_t>(at), static_cast<regoff_t>(text.size())};
    const int flags = REG_STARTEND | (at != 0 ? REG_NOTBOL : 0);
    if (regexec(expression.compiled.get(), text.c_str(), 1, &found, flags) != 0) break;
    const auto start = static_cast<std::size_t>(found.rm_so), end = static_cast<std::size_t>(found.rm_eo);
    replaced.append(text, at, start - at);
    at = start;
    if (start == text.size()) break;
    if (end == start) {  // an expression that finds nothing, at this place
      replaced += text[start];
      at = start + 1;
      continue;
    }
    replaced += expression.instead;
    if (expression.keeps_end && text[end - 1] == '/') replaced += '/';
    at = end;
  }
  return replaced.append(text, at);
}
