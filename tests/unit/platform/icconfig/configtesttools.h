#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/clock/realclock.h"
#include "platform/icconfig/icconfig.h"
#include "tests/unit/support/logcapture.h"

// A folder of its own for one test, removed with all its content at the end.
class CTemporaryFolder {
 public:
  CTemporaryFolder();
  ~CTemporaryFolder();
  CTemporaryFolder(const CTemporaryFolder&) = delete;
  CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

  // With a slash at the end.
  const std::string& GetPath() const { return mPath; }

 private:
  std::string mPath;
};

// Data and default folders below a temporary folder, in force for the whole process.
class CConfigFolders {
 public:
  CConfigFolders();

  std::string GetData(const std::string& name = "") const { return mFolder.GetPath() + "data/" + name; }
  std::string GetDefaults(const std::string& name = "") const { return mFolder.GetPath() + "defaults/" + name; }

 private:
  CTemporaryFolder mFolder;
};

// The only line at error level; empty when there is another number of them.
std::string OnlyErrorLine(const CLogCapture& log);
void WriteFile(const std::string& path, const std::string& text);
std::string ReadFile(const std::string& path);
bool IsFile(const std::string& path);
// Names in a folder, ascending.
std::vector<std::string> ListFolder(const std::string& path);

// Keeps what callbacks say, from any thread, and lets the test wait for it.
class CRecorder {
 public:
  using CChange = std::pair<std::string, Json::Value>;

  IcConfig::CChangeCallback GetChangeCB();
  IcConfig::CErrorCallback GetErrorCB();
  std::vector<CChange> GetChanges() const;
  std::vector<std::string> GetErrors() const;
  // Waits until at least `count` changes were told; false after five seconds.
  bool WaitForChanges(size_t count);
  void Clear();

 private:
  mutable CMutex mMutex;
  CRealClock mClock;
  CCondition mChanged;
  std::vector<CChange> mChanges GUARDED_BY(mMutex);
  std::vector<std::string> mErrors GUARDED_BY(mMutex);
};
