#include "request_log.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <iterator>

#include "engine_code.h"

namespace {

struct ActionName {
  int number;
  const char* name;
};
constexpr ActionName kActionNames[] = {
#include "action_names.inc"
};

const char* NameOf(int action) {
  const auto found = std::find_if(std::begin(kActionNames), std::end(kActionNames),
                                  [action](const ActionName& entry) { return entry.number == action; });
  return found != std::end(kActionNames) ? found->name : "?";
}

// What a reply says of its code, in one line.
std::string ReasonOf(CleXDSmb& reply) {
  if (reply.GetErrorCode() == 0) return {};
  const auto& texts = reply.GetStringDataRef().Values();
  const std::string reason = texts.empty() ? MeaningOf(reply.GetErrorCode()) : texts.front();
  return " " + reason.substr(0, reason.find_first_of("\r\n"));
}

}  // namespace

std::optional<int> ActionNamed(const std::string& name) {
  const auto* const found = std::find_if(std::begin(kActionNames), std::end(kActionNames),
                                         [&name](const ActionName& entry) { return name == entry.name; });
  if (found == std::end(kActionNames)) return std::nullopt;
  return found->number;
}

RequestLog::RequestLog(const std::string& path) : file_name(path) {
  if (path.empty()) return;
  file.reset(std::fopen(path.c_str(), "we"));
  if (!file) {
    throw Refusal(engine_code::kUnreadable, path + ": the log cannot be written: " + std::strerror(errno));
  }
  std::setvbuf(file.get(), nullptr, _IOLBF, BUFSIZ);
}

void RequestLog::Note(CleXDSmb::CommandAction action, CleXDSmb& reply) {
  if (!file) return;
  const int number = static_cast<int>(action);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
  const std::time_t seconds = micros / 1000000;
  std::tm local = {};
  char time[32];
  std::strftime(time, sizeof time, "%F %T", localtime_r(&seconds, &local));
  std::fprintf(file.get(), "%s.%06ld %s (%d): %d%s\n", time, static_cast<long>(micros % 1000000),
               NameOf(number), number, reply.GetErrorCode(), ReasonOf(reply).c_str());
  if (std::ferror(file.get()) == 0) return;
  std::fprintf(stderr, "%s: %s: the log cannot be written: %s\n", program_invocation_short_name,
               file_name.c_str(), std::strerror(errno));
  file.reset();  // once is enough
}
