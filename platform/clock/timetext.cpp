#include "platform/clock/timetext.h"

#include <date/date.h>

#include <sstream>

std::string ToTimeText(IClock::SystemTime time)
{
  return date::format("%FT%TZ", date::floor<std::chrono::seconds>(time));
}

std::optional<IClock::SystemTime> ParseTimeText(std::string_view text)
{
  constexpr const char* kForms[] = {"%FT%TZ", "%FT%T%Ez", "%FT%T"};
  for (const char* form : kForms) {
    std::istringstream stream{std::string(text)};
    IClock::SystemTime time;
    stream >> date::parse(form, time);
    if (!stream.fail() && stream.peek() == std::istringstream::traits_type::eof()) return time;
  }
  return std::nullopt;
}
