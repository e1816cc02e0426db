#include "tests/unit/platform/icconfig/configtesttools.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

CTemporaryFolder::CTemporaryFolder()
{
  std::string name = (std::filesystem::temp_directory_path() / "secc-config-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
  mPath = name + "/";
}

CTemporaryFolder::~CTemporaryFolder() { std::filesystem::remove_all(mPath); }

CConfigFolders::CConfigFolders()
{
  std::filesystem::create_directories(GetDefaults());
  IcConfig::SetPaths({GetData(), GetDefaults()});
}

std::string OnlyErrorLine(const CLogCapture& log)
{
  std::vector<std::string> texts;
  for (const auto& line : log.GetLines()) {
    if (line.level == Log::ELogLevel::EError) texts.push_back(line.text);
  }
  return texts.size() == 1 ? texts.front() : std::string();
}

void WriteFile(const std::string& path, const std::string& text)
{
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

std::string ReadFile(const std::string& path)
{
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

bool IsFile(const std::string& path) { return std::filesystem::is_regular_file(path); }

std::vector<std::string> ListFolder(const std::string& path)
{
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

IcConfig::CChangeCallback CRecorder::GetChangeCB()
{
  return [this](const std::string& key, const Json::Value& value) {
    CLock lock(mMutex);
    mChanges.emplace_back(key, value);
    mClock.NotifyAll(mChanged);
  };
}

IcConfig::CErrorCallback CRecorder::GetErrorCB()
{
  return [this](const std::string& text) {
    CLock lock(mMutex);
    mErrors.push_back(text);
  };
}

std::vector<CRecorder::CChange> CRecorder::GetChanges() const
{
  CLock lock(mMutex);
  return mChanges;
}

std::vector<std::string> CRecorder::GetErrors() const
{
  CLock lock(mMutex);
  return mErrors;
}

bool CRecorder::WaitForChanges(size_t count)
{
  const auto deadline = mClock.SteadyNow() + std::chrono::seconds(5);
  CLock lock(mMutex);
  while (mChanges.size() < count) {
    if (!mClock.WaitUntil(lock, mChanged, deadline)) break;
  }
  return mChanges.size() >= count;
}

void CRecorder::Clear()
{
  CLock lock(mMutex);
  mChanges.clear();
  mErrors.clear();
}
