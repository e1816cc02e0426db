// The other process of the tests: opens one domain and does what its arguments say, telling each step on standard
// output.

#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "platform/icconfig/icconfig.h"
#include "tests/unit/platform/icconfig/churn.h"

namespace {

using CArguments = std::vector<std::string>;
using CConfigPtr = std::shared_ptr<IcConfig::IConfig>;

void Tell(const std::string& line) { std::cout << line << std::endl; }

void TellError(const std::string& text) { Tell("error " + text); }

CConfigPtr Open(const std::string& domain) { return IcConfig::Create(domain, TellError, {}); }

void KillSelf(int) { kill(getpid(), SIGKILL); }

// The process dies without warning after so many microseconds.
void KillAfter(int64_t microseconds)
{
  constexpr int64_t kPerSecond = 1000000;
  signal(SIGALRM, KillSelf);
  itimerval timer = {};
  timer.it_value.tv_sec = static_cast<decltype(timer.it_value.tv_sec)>(microseconds / kPerSecond);
  timer.it_value.tv_usec = static_cast<decltype(timer.it_value.tv_usec)>(microseconds % kPerSecond);
  setitimer(ITIMER_REAL, &timer, nullptr);
}

// <domain> <seed> <first step> <microseconds to live>
int ChurnUntilKilled(const CArguments& arguments)
{
  const uint64_t seed = std::stoull(arguments.at(1));
  KillAfter(std::stoll(arguments.at(3)));
  const auto config = Open(arguments.at(0));
  for (uint64_t number = std::stoull(arguments.at(2));; ++number) {
    const auto step = Churn::MakeStep(seed, number);
    if (!config->Apply(step.remove, step.write)) return 1;
    Tell(std::to_string(number));
  }
}

// <domain> <prefix> <count>: one key each, and a key that all write
int AddKeys(const CArguments& arguments)
{
  const auto config = Open(arguments.at(0));
  Tell("ready");
  std::string line;
  std::getline(std::cin, line);
  for (int number = 0; number < std::stoi(arguments.at(2)); ++number) {
    if (!config->SetInt(arguments.at(1) + std::to_string(number), number)) return 1;
    if (!config->SetString("Shared", arguments.at(1) + std::to_string(number))) return 1;
  }
  Tell("done");
  return 0;
}

// <domain> <key>: stores each number that it reads, until the end of its input
int StoreLines(const CArguments& arguments)
{
  const auto config = Open(arguments.at(0));
  Tell("ready");
  for (std::string line; std::getline(std::cin, line);) {
    const bool isDone =
        line == "delete" ? config->DeleteKey(arguments.at(1)) : config->SetInt(arguments.at(1), std::stoll(line));
    Tell(isDone ? "done" : "failed");
  }
  return 0;
}

// <domain>: without the rights of root, tells what it reads and whether it can write
int UseUnprivileged(const CArguments& arguments)
{
  constexpr uid_t kNobody = 65534;
  if (getuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) return 2;
  const auto config = Open(arguments.at(0));
  Tell("read " + std::to_string(config->GetInt("Key", -1)));
  Tell(config->SetInt("Key", 99) ? "written" : "not written");
  Tell("read " + std::to_string(config->GetInt("Key", -1)));
  return 0;
}

// <domain> <bytes>: files may not grow beyond; writes until that fails, then reads and deletes
int FillUp(const CArguments& arguments)
{
  const auto config = Open(arguments.at(0));
  signal(SIGXFSZ, SIG_IGN);
  const auto limit = static_cast<rlim_t>(std::stoull(arguments.at(1)));
  const rlimit limits = {limit, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &limits);
  int count = 0;
  while (count < 100000 && config->SetString("Key" + std::to_string(count), std::string(500, 'x'))) ++count;
  Tell("stored " + std::to_string(count));
  Tell("kept " + std::to_string(config->ListKeys().size()));
  const rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &unlimited);
  Tell(config->SetInt("After", 1) ? "written" : "not written");
  return 0;
}

struct SCommand {
  const char* name;
  int (*run)(const CArguments&);
};

constexpr SCommand kCommands[] = {{"churn", ChurnUntilKilled},
                                  {"add", AddKeys},
                                  {"store", StoreLines},
                                  {"unprivileged", UseUnprivileged},
                                  {"fill", FillUp}};

}  // namespace

// <data folder> <defaults folder> <command> <its arguments>
int main(int argc, char** argv)
{
  const CArguments arguments(argv + 1, argv + argc);
  if (arguments.size() < 3) return 2;
  IcConfig::SetPaths({arguments[0], arguments[1]});
  for (const auto& command : kCommands) {
    if (arguments[2] == command.name) return command.run({arguments.begin() + 3, arguments.end()});
  }
  return 2;
}
