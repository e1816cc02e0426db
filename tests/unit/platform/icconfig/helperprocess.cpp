#include "tests/unit/platform/icconfig/helperprocess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

extern char** environ;

CHelperProcess::CHelperProcess(const std::vector<std::string>& arguments)
{
  std::array<int, 2> input = {};
  std::array<int, 2> output = {};
  if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  std::vector<std::string> words = {SECC_CONFIG_HELPER};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const int error = posix_spawn(&mPid, SECC_CONFIG_HELPER, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(input[0]);
  close(output[1]);
  mInput = input[1];
  mOutput = output[0];
  if (error != 0) throw std::runtime_error("helper program does not start");
}

CHelperProcess::~CHelperProcess()
{
  CloseInput();
  close(mOutput);
  if (mPid > 0) {
    kill(mPid, SIGKILL);
    Wait();
  }
}

std::optional<std::string> CHelperProcess::ReadLine()
{
  for (;;) {
    const auto end = mBuffer.find('\n');
    if (end != std::string::npos) {
      std::string line = mBuffer.substr(0, end);
      mBuffer.erase(0, end + 1);
      return line;
    }
    std::array<char, 4096> bytes = {};
    const ssize_t count = read(mOutput, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::nullopt;
    mBuffer.append(bytes.data(), static_cast<size_t>(count));
  }
}

std::vector<std::string> CHelperProcess::ReadAllLines()
{
  std::vector<std::string> lines;
  while (auto line = ReadLine()) lines.push_back(*line);
  return lines;
}

void CHelperProcess::WriteLine(const std::string& line)
{
  const std::string text = line + "\n";
  if (write(mInput, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    throw std::runtime_error("helper has gone");
}

void CHelperProcess::CloseInput()
{
  if (mInput >= 0) close(mInput);
  mInput = -1;
}

int CHelperProcess::Wait()
{
  int status = -1;
  while (waitpid(mPid, &status, 0) < 0 && errno == EINTR) {
  }
  mPid = -1;
  return status;
}
