#include "tests/unit/platform/iipc/siblingprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

#include "platform/clock/realclock.h"

CSiblingProcess::CSiblingProcess(const std::string& mode, const std::string& address)
{
  std::array<int, 2> input{};
  std::array<int, 2> output{};
  if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipes");
  mInput = input[1];
  mOutput = output[0];

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  std::string program = SECC_TEST_SIBLING;
  std::string modeArgument = mode;
  std::string addressArgument = address;
  const std::array<char*, 4> arguments{program.data(), modeArgument.data(), addressArgument.data(), nullptr};
  const int error = posix_spawn(&mProcess, program.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(input[0]);
  close(output[1]);
  if (error != 0) throw std::runtime_error("cannot start " + program);
  if (!WaitForLine("ready")) throw std::runtime_error(program + " is not ready");
}

CSiblingProcess::~CSiblingProcess()
{
  Kill();
  close(mInput);
  close(mOutput);
}

void CSiblingProcess::Order(const std::string& line) const
{
  const std::string text = line + "\n";
  size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(mInput, text.data() + written, text.size() - written);
    if (count <= 0) throw std::runtime_error("the sibling takes no orders");
    written += static_cast<size_t>(count);
  }
}

bool CSiblingProcess::WaitForLine(const std::string& line, std::chrono::milliseconds limit)
{
  const CRealClock clock;
  const IClock::SteadyTime deadline = clock.SteadyNow() + limit;
  for (;;) {
    if (TakeLine(line)) return true;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - clock.SteadyNow());
    if (left.count() <= 0) return false;
    pollfd descriptor{mOutput, POLLIN, 0};
    if (poll(&descriptor, 1, static_cast<int>(left.count())) < 0) return false;
    std::array<char, 4096> bytes{};
    if ((descriptor.revents & (POLLIN | POLLHUP)) == 0) continue;
    const ssize_t count = read(mOutput, bytes.data(), bytes.size());
    if (count <= 0) return false;
    mBuffer.append(bytes.data(), static_cast<size_t>(count));
  }
}

void CSiblingProcess::Kill()
{
  if (mProcess < 0) return;
  kill(mProcess, SIGKILL);
  waitpid(mProcess, nullptr, 0);
  mProcess = -1;
}

void CSiblingProcess::Freeze() const
{
  kill(mProcess, SIGSTOP);
  // Until the last thread has stopped, calls may still be answered.
  siginfo_t information{};
  waitid(P_PID, static_cast<id_t>(mProcess), &information, WSTOPPED | WNOWAIT);
}

void CSiblingProcess::Thaw() const { kill(mProcess, SIGCONT); }

std::string CSiblingProcess::ToHex(const std::string& bytes)
{
  std::string text;
  for (const char byte : bytes) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text += digits.data();
  }
  return text;
}

bool CSiblingProcess::TakeLine(const std::string& line)
{
  for (size_t end = mBuffer.find('\n'); end != std::string::npos; end = mBuffer.find('\n')) {
    mLines.push_back(mBuffer.substr(0, end));
    mBuffer.erase(0, end + 1);
  }
  const auto found = std::find(mLines.begin(), mLines.end(), line);
  if (found == mLines.end()) return false;
  mLines.erase(found);
  return true;
}
