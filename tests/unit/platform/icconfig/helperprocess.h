#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// A run of the helper program with its standard input and output in the test's hands. It is ended with the object.
class CHelperProcess {
 public:
  explicit CHelperProcess(const std::vector<std::string>& arguments);
  ~CHelperProcess();
  CHelperProcess(const CHelperProcess&) = delete;
  CHelperProcess& operator=(const CHelperProcess&) = delete;

  // The next line of its output; empty at the end.
  std::optional<std::string> ReadLine();
  std::vector<std::string> ReadAllLines();
  void WriteLine(const std::string& line);
  void CloseInput();
  // Waits for its end; the status as waitpid gives it.
  int Wait();

 private:
  pid_t mPid = -1;
  int mInput = -1;
  int mOutput = -1;
  std::string mBuffer;
};
