#include "calendar.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

constexpr std::int64_t kSecond = 1000000, kDay = 86400 * kSecond;
constexpr double kMostSeconds = 32767.0 * 365 * 86400;  // the years that std::chrono knows
constexpr int kAllDecimals = 6;

std::string Digits(std::int64_t value, std::size_t width) {
  const std::string digits = std::to_string(value);
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

std::int64_t Micros(double seconds) {
  return static_cast<std::int64_t>(std::nearbyint(seconds * kMicrosecondsOfSecond));
}

std::string TimeOf(std::int64_t micros, int decimals) {
  const std::int64_t seconds = micros / kSecond;
  std::string text =
      Digits(seconds / 3600, 2) + ":" + Digits(seconds / 60 % 60, 2) + ":" + Digits(seconds % 60, 2);
  if (decimals <= 0) return text;
  const std::string rest = Digits(micros % kSecond, kAllDecimals);
  return text + "." + rest.substr(0, static_cast<std::size_t>(std::min(decimals, kAllDecimals)));
}

// The day that a moment is in, and what of it has passed.
struct Moment {
  std::int64_t day, micros;
};

Moment MomentAt(double seconds) {
  const std::int64_t micros = Micros(seconds);
  const std::int64_t day = micros / kDay - (micros % kDay < 0 ? 1 : 0);
  return {day, micros - day * kDay};
}

std::string DayText(std::int64_t day) {
  const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{day}}};
  const int year = static_cast<int>(date.year());
  return Digits(year > 0 ? year : 1 - year, 4) + "-" + Digits(static_cast<unsigned>(date.month()), 2) + "-" +
         Digits(static_cast<unsigned>(date.day()), 2);
}

bool IsBeforeChrist(std::int64_t day) {
  return static_cast<int>(
             std::chrono::year_month_day(std::chrono::sys_days{std::chrono::days{day}}).year()) <= 0;
}

bool CanBeWritten(double seconds) { return std::fabs(seconds) < kMostSeconds; }

}  // namespace

std::string DateText(double seconds) {
  if (!CanBeWritten(seconds)) return {};
  const std::int64_t day = MomentAt(seconds).day;
  return DayText(day) + (IsBeforeChrist(day) ? " BC" : "");
}

std::string DateTimeText(double seconds, int decimals) {
  if (!CanBeWritten(seconds)) return {};
  const auto [day, micros] = MomentAt(seconds);
  return DayText(day) + " " + TimeOf(micros, decimals) + (IsBeforeChrist(day) ? " BC" : "");
}

std::string TimeText(double seconds, int decimals) {
  if (!CanBeWritten(seconds)) return {};
  const std::int64_t micros = Micros(seconds);
  return (micros < 0 ? "-" : "") + TimeOf(std::abs(micros), decimals);
}
