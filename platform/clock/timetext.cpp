#include "platform/clock/timetext.h"

#include <date/date.h>

#include <cstdint>

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr int kNanosecondDigits = 9;

// Walks through the text. The first mismatch makes all that follows fail.
class CReader {
 public:
  explicit CReader(std::string_view text) : mText(text) {}

  bool IsGood() const { return mGood; }
  bool IsAtEnd() const { return mText.empty(); }

  bool Accept(char wanted)
  {
    if (mText.empty() || mText.front() != wanted) return false;
    mText.remove_prefix(1);
    return true;
  }

  void Expect(char wanted) { mGood = Accept(wanted) && mGood; }

  int Digit()
  {
    const bool isDigit = !mText.empty() && mText.front() >= '0' && mText.front() <= '9';
    if (!isDigit) return -1;
    const int digit = mText.front() - '0';
    mText.remove_prefix(1);
    return digit;
  }

  // A number of exactly `digits` digits, at most `max`.
  int Number(int digits, int max)
  {
    int number = 0;
    for (int i = 0; i < digits; ++i) {
      const int digit = Digit();
      if (digit < 0) mGood = false;
      number = number * 10 + digit;
    }
    if (number > max) mGood = false;
    return number;
  }

  nanoseconds Fraction()
  {
    int64_t fraction = 0;
    int count = 0;
    for (int digit = Digit(); digit >= 0; digit = Digit()) {
      if (++count <= kNanosecondDigits) fraction = fraction * 10 + digit;
    }
    if (count == 0) mGood = false;
    for (; count < kNanosecondDigits; ++count) fraction *= 10;
    return nanoseconds(fraction);
  }

  seconds Offset()
  {
    if (Accept('Z') || IsAtEnd()) return seconds(0);
    const int sign = Accept('-') ? -1 : 1;
    if (sign > 0) Expect('+');
    const std::chrono::hours hours(Number(2, 23));
    Expect(':');
    const std::chrono::minutes minutes(Number(2, 59));
    return sign * (hours + minutes);
  }

 private:
  std::string_view mText;
  bool mGood = true;
};

}  // namespace

std::string ToTimeText(IClock::SystemTime time)
{
  return date::format("%FT%TZ", date::floor<std::chrono::seconds>(time));
}

std::optional<IClock::SystemTime> ParseTimeText(std::string_view text)
{
  CReader reader(text);
  const date::year year(reader.Number(4, 9999));
  reader.Expect('-');
  const date::month month(static_cast<unsigned>(reader.Number(2, 12)));
  reader.Expect('-');
  const date::day day(static_cast<unsigned>(reader.Number(2, 31)));
  reader.Expect('T');
  const std::chrono::hours hours(reader.Number(2, 23));
  reader.Expect(':');
  const std::chrono::minutes minutes(reader.Number(2, 59));
  reader.Expect(':');
  const seconds second(reader.Number(2, 60));
  const nanoseconds fraction = reader.Accept('.') ? reader.Fraction() : nanoseconds(0);
  const seconds offset = reader.Offset();

  const date::year_month_day date(year, month, day);
  if (!reader.IsGood() || !reader.IsAtEnd() || !date.ok()) return std::nullopt;
  const std::chrono::time_point<std::chrono::system_clock, seconds> whole =
      date::sys_days(date) + hours + minutes + second - offset;
  if (whole <= date::ceil<seconds>(IClock::SystemTime::min())) return IClock::SystemTime::min();
  if (whole >= date::floor<seconds>(IClock::SystemTime::max())) return IClock::SystemTime::max();
  return whole + fraction;
}
