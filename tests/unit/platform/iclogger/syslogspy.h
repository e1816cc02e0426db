#pragma once

#include <string>
#include <vector>

// Takes the place of the C library's syslog in this program: keeps what would go to the system's log.
class CSyslogSpy {
 public:
  struct SLine {
    int priority;
    std::string text;
  };

  // Since the last call.
  static std::vector<SLine> TakeLines();
  // The name under which the process has opened the log; empty while it is closed.
  static std::string GetOpenName();
};
