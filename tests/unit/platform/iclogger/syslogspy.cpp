#include "tests/unit/platform/iclogger/syslogspy.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "platform/clock/mutex.h"

namespace {

CMutex gMutex;
std::vector<CSyslogSpy::SLine> gLines GUARDED_BY(gMutex);
std::string gName GUARDED_BY(gMutex);

__attribute__((format(printf, 2, 0))) void Keep(int priority, const char* format, va_list arguments)
{
  std::array<char, 4096> text{};
  const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
  CLock lock(gMutex);
  gLines.push_back({priority, length < 0 ? std::string("broken format") : std::string(text.data())});
}

}  // namespace

std::vector<CSyslogSpy::SLine> CSyslogSpy::TakeLines()
{
  CLock lock(gMutex);
  return std::exchange(gLines, {});
}

std::string CSyslogSpy::GetOpenName()
{
  CLock lock(gMutex);
  return gName;
}

// The program's own definitions come before the C library's. <syslog.h> stays out: with fortified sources it would
// define them inline.
extern "C" {

void openlog(const char* name, int, int)
{
  CLock lock(gMutex);
  gName = name;
}

void closelog()
{
  CLock lock(gMutex);
  gName.clear();
}

__attribute__((format(printf, 2, 3))) void syslog(int priority, const char* format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  Keep(priority, format, arguments);
  va_end(arguments);
}

// What fortified sources call instead.
__attribute__((format(printf, 3, 4))) void __syslog_chk(int priority, int, const char* format, ...)
{
  va_list arguments;
  va_start(arguments, format);
  Keep(priority, format, arguments);
  va_end(arguments);
}
}
