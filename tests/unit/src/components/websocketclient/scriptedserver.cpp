#include "tests/unit/src/components/websocketclient/scriptedserver.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace {

constexpr const char* kNode = SECC_TEST_NODE;
constexpr const char* kFolder = SECC_TEST_FOLDER;

pid_t Spawn(std::vector<std::string> words, int input, int output)
{
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (input >= 0) posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_t process = -1;
  const int result = posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (result != 0) throw std::runtime_error("cannot start " + words[0]);
  return process;
}

}  // namespace

CScriptedServer::CScriptedServer()
{
  std::string pattern = (std::filesystem::temp_directory_path() / "linktestXXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  mFolder = pattern;
  int status = 0;
  const pid_t maker = Spawn({"/bin/sh", std::string(kFolder) + "/makecertificates.sh", mFolder}, -1, -1);
  if (::waitpid(maker, &status, 0) != maker || status != 0) throw std::runtime_error("no certificates in " + mFolder);
  Start();
}

void CScriptedServer::Start()
{
  std::array<int, 2> input{};
  std::array<int, 2> output{};
  if (::pipe2(input.data(), O_CLOEXEC) != 0 || ::pipe2(output.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipes");
  }
  mProcess = Spawn({kNode, std::string(kFolder) + "/tlsserver.js"}, input[0], output[1]);
  ::close(input[0]);
  ::close(output[1]);
  mInput = input[1];
  mOutput = output[0];
  mReader = std::thread([this] { Read(); });
  Await("server", "ready");
}

CScriptedServer::~CScriptedServer()
{
  // The end of its input ends the process.
  ::close(mInput);
  mReader.join();
  ::close(mOutput);
  ::waitpid(mProcess, nullptr, 0);
  std::filesystem::remove_all(mFolder);
}

void CScriptedServer::Read()
{
  std::string pending;
  std::array<char, 65536> buffer{};
  for (;;) {
    const ssize_t count = ::read(mOutput, buffer.data(), buffer.size());
    if (count <= 0) return;
    pending.append(buffer.data(), static_cast<size_t>(count));
    CLock lock(mMutex);
    for (size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
      mLines.push_back(pending.substr(0, end));
      pending.erase(0, end + 1);
    }
    mClock.NotifyAll(mChanged);
  }
}

void CScriptedServer::Command(const std::string& command, const std::string& id, const std::string& members)
{
  const std::string line = "{\"do\":\"" + command + "\",\"id\":\"" + id + "\"" + members + "}\n";
  ASSERT_EQ(::write(mInput, line.data(), line.size()), static_cast<ssize_t>(line.size()));
}

uint16_t CScriptedServer::Listen(const std::string& id, const std::string& members)
{
  Command("listen", id, members);
  const std::string port = Await(id, "listening ");
  return port.empty() ? uint16_t(0) : static_cast<uint16_t>(std::stoi(port));
}

uint16_t CScriptedServer::ListenTls(const std::string& id, const std::string& name, const std::string& members)
{
  return Listen(id, ",\"kind\":\"tls\",\"cert\":\"" + mFolder + "/" + name + ".pem\",\"key\":\"" + mFolder + "/" +
                        name + ".key\"" + members);
}

std::string CScriptedServer::Await(const std::string& id, const std::string& words)
{
  const std::string start = id + " " + words;
  const auto deadline = mClock.SteadyNow() + kPatience;
  CLock lock(mMutex);
  for (;;) {
    const auto found = std::find_if(mLines.begin(), mLines.end(),
                                    [&](const std::string& line) { return line.compare(0, start.size(), start) == 0; });
    if (found != mLines.end()) {
      std::string rest = found->substr(start.size());
      const std::string own = id + " ";
      const auto end = std::remove_if(mLines.begin(), found + 1,
                                      [&](const std::string& line) { return line.compare(0, own.size(), own) == 0; });
      mLines.erase(end, found + 1);
      return rest;
    }
    if (!mClock.WaitUntil(lock, mChanged, deadline)) break;
  }
  ADD_FAILURE() << "the server did not say: " << start;
  return {};
}

size_t CScriptedServer::Count(const std::string& id, const std::string& words) const
{
  const std::string start = id + " " + words;
  CLock lock(mMutex);
  return static_cast<size_t>(std::count_if(mLines.begin(), mLines.end(), [&](const std::string& line) {
    return line.compare(0, start.size(), start) == 0;
  }));
}

int CScriptedServer::GetBytes(const std::string& id)
{
  Command("stats", id);
  const std::string stats = Await(id, "stats ");
  const size_t bytes = stats.find("bytes=");
  return bytes == std::string::npos ? -1 : std::stoi(stats.substr(bytes + 6));
}
