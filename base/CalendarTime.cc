#include "base/CalendarTime.h"

#include <cstdio>

namespace quillet {

std::string DateStamp(const CalendarTime& time) {
  char text[64];
  std::snprintf(text, sizeof text, "%04d%02d%02d", time.year, time.month, time.day);
  return text;
}

std::string TimeStamp(const CalendarTime& time) {
  char text[64];
  std::snprintf(text, sizeof text, "_%02d%02d%02d", time.hour, time.minute, time.second);
  return DateStamp(time) + text;
}

std::string DateAndTime(const CalendarTime& time) {
  char text[128];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month, time.day,
                time.hour, time.minute, time.second);
  return text;
}

}  // namespace quillet
