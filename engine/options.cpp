#include "options.h"

#include "engine_code.h"
#include "words.h"

namespace {

std::string* Target(Options& options, const Word& word) {
  if (word.quoted) return nullptr;
  if (word.text == "-data") return &options.data;
  if (word.text == "-log") return &options.log;
  if (word.text == "-output") return &options.output;
  return nullptr;
}

}  // namespace

Options ParseOptions(std::string_view text) {
  const auto words = SplitWords(text);
  if (!words) throw StartFailure(engine_code::kBadOption, "options: a quote is not closed");
  Options options;
  for (std::size_t i = 0; i < words->size(); i += 2) {
    const std::string& name = (*words)[i].text;
    std::string* target = Target(options, (*words)[i]);
    if (target == nullptr) throw StartFailure(engine_code::kBadOption, "options: unknown option " + name);
    if (i + 1 == words->size() || (*words)[i + 1].text.empty()) {
      throw StartFailure(engine_code::kBadOption, "options: " + name + " needs a file name");
    }
    if (!target->empty()) throw StartFailure(engine_code::kBadOption, "options: " + name + " is given twice");
    *target = (*words)[i + 1].text;
  }
  return options;
}
