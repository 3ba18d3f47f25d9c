// Dates and times as texts. They are numbers here: seconds since 1970-01-01 00:00, in UTC; a time of a day,
// seconds since its begin.
#ifndef CALENDAR_H
#define CALENDAR_H

#include <cstdint>
#include <string>

inline constexpr double kMicrosecondsOfSecond = 1e6;

// "2026-11-23", of a year in front of 1 "0044-03-15 BC". Empty for what is no date that can be written: not
// within some 30,000 years of now.
std::string DateText(double seconds);
// "2026-11-23 14:05:09.25", with so many decimals, up to six.
std::string DateTimeText(double seconds, int decimals);
// "14:05:09"; hours may be more than 23, and the whole negative.
std::string TimeText(double seconds, int decimals);

#endif
