#pragma once

#include <optional>
#include <string>

#include "platform/iclogger/log.h"

// What the command line says.
struct SCommandLine {
  std::string root = "/";  // joined with names below it without a separator, so it ends in a slash
  Log::ELogLevel level = Log::ELogLevel::EInfo;
};

// Reads the options ("-v", "-q", "-r PATH", "-h" and their long forms) and applies level and console switch to the log.
// Empty when the usage text was printed instead, to standard output: for help and for anything unknown.
std::optional<SCommandLine> ParseCommandLine(int argc, char** argv);
