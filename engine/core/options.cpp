#include "options.h"

#include <algorithm>

#include "engine_code.h"
#include "words.h"

namespace {

[[noreturn]] void Refuse(const std::string& reason) {
  throw Refusal(engine_code::kBadOption, "options: " + reason);
}

bool MayBeInVariable(char c) {
  return c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

void AddVariable(Options& options, const std::string& setting) {
  const std::size_t sign = setting.find('=');
  const std::string name = setting.substr(0, sign);
  if (sign == std::string::npos || name.empty() || (name[0] >= '0' && name[0] <= '9') ||
      !std::all_of(name.begin(), name.end(), MayBeInVariable)) {
    Refuse("-env \"" + setting + "\" is not NAME=VALUE, with a name of letters, digits and _");
  }
  options.environment.emplace_back(name, setting.substr(sign + 1));
}

}  // namespace

void SetFile(std::string& file, const std::string& name, const std::string& value) {
  if (value.empty()) Refuse(name + " needs a file name");
  if (!file.empty()) Refuse(name + " is given twice");
  file = value;
}

Options ParseOptions(std::string_view text, Backend& backend) {
  const auto words = SplitWords(text);
  if (!words) Refuse("a quote is not closed");
  Options options;
  for (std::size_t i = 0; i < words->size(); ++i) {
    const Word& word = (*words)[i];
    const std::string name = word.quoted ? "\"" + word.text + "\"" : word.text;
    const auto value = [&] { return ++i < words->size() ? (*words)[i].text : std::string(); };
    if (name == "-log") {
      SetFile(options.log, name, value());
    } else if (name == "-output") {
      SetFile(options.output, name, value());
    } else if (name == "-fault") {
      options.faults.push_back(value());
    } else if (name == "-stream") {
      SetFile(options.stream, name, value());
    } else if (name == "-env") {
      AddVariable(options, value());
    } else if (name == "-echo") {
      options.echo = true;
    } else if (!backend.TakeOption(name, value)) {
      Refuse("unknown option " + name);
    }
  }
  return options;
}
