#include "src/secc/commandline.h"

#include <getopt.h>

#include <array>
#include <iostream>

namespace {

constexpr const char* kShortOptions = "hqsvr:";

const std::array<option, 5> kLongOptions{{
    {"verbose", no_argument, nullptr, 'v'},
    {"quiet", no_argument, nullptr, 'q'},
    {"root", required_argument, nullptr, 'r'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
}};

void PrintUsage(const char* program, const std::string& root)
{
  std::cout << "usage: " << program
            << " [OPTION]\n"
               "  -v, --verbose    increase verbosity  -q, --quiet      disable logging to console\n"
               "  -r, --root=PATH  set the filesystem root directory\n"
               "                   defaults to '"
            << root << "'\n  -h, --help       show this help message and exit\n"
            << std::endl;
}

}  // namespace

std::optional<SCommandLine> ParseCommandLine(int argc, char** argv)
{
  SCommandLine commandLine;
  optind = 0;  // forget a former scan
  int character = 0;
  while ((character = getopt_long(argc, argv, kShortOptions, kLongOptions.data(), nullptr)) != -1) {
    switch (character) {
      case 'v':
        commandLine.level = Log::GetLowerLogLevel(commandLine.level);
        Log::SetLogLevel(commandLine.level);
        break;
      case 'q':
        Log::EnableConsoleLogging(false);
        break;
      case 'r':
        commandLine.root = optarg;
        break;
      default:
        PrintUsage(argv[0], commandLine.root);
        return std::nullopt;
    }
  }
  return commandLine;
}
