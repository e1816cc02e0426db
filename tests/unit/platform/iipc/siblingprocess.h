#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

// Runs secc_test_sibling (siblingprogram.cpp) as a process of its own, and ends it with the object.
class CSiblingProcess {
 public:
  // Returns when the process says that it is ready; throws std::runtime_error when it does not.
  CSiblingProcess(const std::string& mode, const std::string& address);
  ~CSiblingProcess();
  CSiblingProcess(const CSiblingProcess&) = delete;
  CSiblingProcess& operator=(const CSiblingProcess&) = delete;

  void Order(const std::string& line) const;
  // Waits for a line and takes it; lines before it stay to be waited for. False when the time is up.
  bool WaitForLine(const std::string& line, std::chrono::milliseconds limit = std::chrono::seconds(10));

  // SIGKILL, and waits for the end.
  void Kill();
  // SIGSTOP, and waits until it has stopped; SIGCONT.
  void Freeze() const;
  void Thaw() const;

  static std::string ToHex(const std::string& bytes);

 private:
  bool TakeLine(const std::string& line);

  pid_t mProcess = -1;
  int mInput = -1;
  int mOutput = -1;
  std::string mBuffer;
  std::vector<std::string> mLines;
};
