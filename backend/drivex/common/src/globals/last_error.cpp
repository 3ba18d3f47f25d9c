#include "last_error.h"

#include <string>

#include "CleXDErrorCode.h"
#include "reasons.h"

namespace {

struct Failure {
  int code = 0;
  const char* function = "";      // a literal
  const char* meaning = nullptr;  // likewise
  bool of_this_call = false;
  std::string reason;
  std::string told;
};
thread_local Failure last;

}  // namespace

void BeginCall() noexcept {
  last.of_this_call = false;
  ForgetReasons();
}

int NoteFailure(int code, const char* function, const char* meaning) noexcept try {
  const bool handed_on = last.of_this_call && last.code == code;
  last.code = code;
  last.function = function;
  last.meaning = meaning != nullptr ? meaning : CleXDErrorCode::MeaningOf(code);
  last.of_this_call = true;
  std::string reason = TakeReason(code);
  if (!handed_on || !reason.empty()) last.reason = std::move(reason);
  return code;
} catch (...) {
  last.reason.clear();
  return code;
}

KeptFailure::KeptFailure() noexcept
    : code(last.code),
      function(last.function),
      meaning(last.meaning),
      of_this_call(last.of_this_call),
      reason(std::move(last.reason)) {}

KeptFailure::~KeptFailure() {
  last.code = code;
  last.function = function;
  last.meaning = meaning;
  last.of_this_call = of_this_call;
  last.reason = std::move(reason);
}

std::string ReasonOf(int code) { return last.code == code ? last.reason : std::string(); }

const char* LastFailure() noexcept try {
  if (last.code == 0) return "";
  last.told = std::string(last.function) + ": " +
              (last.meaning != nullptr ? last.meaning : "the backend refused") + " (" +
              std::to_string(last.code) + ")";
  if (!last.reason.empty()) last.told += ": " + last.reason;
  return last.told.c_str();
} catch (...) {
  return "no memory for the words of the last failure";
}
