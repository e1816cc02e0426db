#include "platform/icconfig/documentstore.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "platform/icconfig/jsontext.h"
#include "platform/iclogger/log.h"

namespace IcConfig {

namespace {

int64_t TimeNs(const struct stat& status)
{
  constexpr int64_t kNsPerSecond = 1000000000;
  return static_cast<int64_t>(status.st_mtim.tv_sec) * kNsPerSecond + status.st_mtim.tv_nsec;
}

}  // namespace

CDocumentStore::CDocumentStore(std::string path, EAccess access, std::shared_ptr<const CDefaults> defaults)
    : mPath(std::move(path)), mAccess(access), mDefaults(std::move(defaults))
{
  CLock lock(mMutex);
  Refresh();
  mIsOpened = true;
}

void CDocumentStore::Refresh()
{
  const auto reason = TryRefresh();
  if (!reason) return;
  switch (mAccess) {
    case EAccess::EWrite: {
      const CDirectoryLock lock(DirectoryOf(mPath));
      RefreshLocked();
      break;
    }
    case EAccess::ERead:
      GiveUp(fmt::format("Configuration file {} cannot be read: {}", mPath, *reason));
      break;
  }
}

void CDocumentStore::RefreshLocked()
{
  const auto reason = TryRefresh();
  if (!reason) return;
  if (const auto target = SetAside(mPath)) {
    // The defaults serve from here on, as after a factory reset: no reason to refuse to work.
    LOG_ERROR("Configuration file {} cannot be read: {}. Set aside as {}", mPath, *reason, *target);
    Replace(Json::Value(Json::objectValue));
    TryRefresh();
    return;
  }
  GiveUp(fmt::format("Configuration file {} cannot be read: {}. It cannot be set aside: {}", mPath, *reason,
                     ErrorText(errno)));
}

void CDocumentStore::GiveUp(const std::string& text)
{
  Replace(Json::Value(Json::objectValue));
  if (mIsUnreadable) return;
  mIsUnreadable = true;
  LOG_ERROR("{}", text);
  mProblems.push_back(text);
}

std::optional<std::string> CDocumentStore::TryRefresh()
{
  if (IsFileAsLoaded()) return std::nullopt;
  auto reason = Load();
  if (!reason) mIsUnreadable = false;
  return reason;
}

bool CDocumentStore::IsFileAsLoaded()
{
  struct stat present = {};
  struct stat loaded = {};
  if (stat(mPath.c_str(), &present) != 0)
    return errno == ENOENT && !mLoaded.IsOpen() && mMembers.empty() && !mIsUnreadable;
  if (!mLoaded.IsOpen() || fstat(mLoaded.Get(), &loaded) != 0) return false;
  return present.st_dev == loaded.st_dev && present.st_ino == loaded.st_ino && present.st_size == mLoadedSize &&
         TimeNs(present) == mLoadedTimeNs;
}

void CDocumentStore::Remember(CDescriptor file)
{
  struct stat status = {};
  if (file.IsOpen()) fstat(file.Get(), &status);
  mLoadedSize = status.st_size;
  mLoadedTimeNs = TimeNs(status);
  mLoaded = std::move(file);
}

std::optional<std::string> CDocumentStore::Load()
{
  CDescriptor file(open(mPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.IsOpen() && errno != ENOENT) return ErrorText(errno);
  Json::Value document(Json::objectValue);
  if (file.IsOpen()) {
    std::string text;
    if (!ReadFileText(file.Get(), text)) return ErrorText(errno);
    std::string error;
    auto value = ParseJsonText(text, &error);
    if (!value || !value->isObject()) {
      std::replace(error.begin(), error.end(), '\n', ' ');
      return value ? "not a JSON object" : error;
    }
    document = std::move(*value);
  }
  Remember(std::move(file));
  Replace(std::move(document));
  return std::nullopt;
}

void CDocumentStore::Replace(Json::Value document)
{
  CBatch difference;
  for (const auto& member : mMembers) {
    if (!document.isMember(member.first)) difference[member.first] = std::nullopt;
  }
  for (auto value = document.begin(); value != document.end(); ++value) {
    std::string key = value.name();
    const auto member = mMembers.find(key);
    if (member != mMembers.end() && member->second.value == *value) continue;
    std::string text = WriteJsonText(*value);
    difference[std::move(key)] = SNewValue{std::move(*value), std::move(text)};
  }
  Adopt(std::move(difference));
}

CBatch CDocumentStore::Difference(const CBatch& batch) const
{
  CBatch result;
  for (const auto& step : batch) {
    const auto member = mMembers.find(step.first);
    const bool isSame =
        member == mMembers.end() ? !step.second : step.second && step.second->value == member->second.value;
    if (!isSame) result.insert(step);
  }
  return result;
}

std::optional<Json::Value> CDocumentStore::Effective(const std::string& key) const
{
  const auto member = mMembers.find(key);
  if (member != mMembers.end()) return member->second.value;
  const auto packaged = mDefaults->find(key);
  if (packaged != mDefaults->end()) return packaged->second;
  return std::nullopt;
}

void CDocumentStore::Adopt(CBatch difference)
{
  for (auto& step : difference) {
    const std::string& key = step.first;
    const auto before = mIsOpened ? Effective(key) : std::nullopt;
    ++mRevision;
    const auto member = mMembers.find(key);
    if (member != mMembers.end()) {
      mUsedBytes -= member->second.bytes;
      mMembers.erase(member);
    }
    const bool isStored = step.second.has_value();
    if (isStored) {
      const uint64_t bytes = key.size() + step.second->text.size();
      mMembers[key] = {std::move(step.second->value), bytes, mRevision};
      mUsedBytes += bytes;
    }
    if (!mIsOpened) continue;
    const auto now = Effective(key);
    if (before != now) mChanges.push_back({mRevision, key, isStored ? now : std::nullopt});
  }
}

std::string CDocumentStore::ToText(const CBatch& difference) const
{
  Json::Value document(Json::objectValue);
  for (const auto& member : mMembers) document[member.first] = member.second.value;
  for (const auto& step : difference) {
    if (step.second) {
      document[step.first] = step.second->value;
    } else {
      document.removeMember(step.first);
    }
  }
  return WriteJsonText(document) + "\n";
}

EWriteResult CDocumentStore::Write(const CBatch& batch)
{
  if (mAccess == EAccess::ERead) return EWriteResult::EFailed;
  CLock lock(mMutex);
  const std::string directory = DirectoryOf(mPath);
  auto error = MakeDirectories(directory);
  if (!error) {
    const CDirectoryLock directoryLock(directory);
    RefreshLocked();
    CBatch difference = Difference(batch);
    if (mIsUnreadable) {
      error = "the present file can neither be read nor set aside";
    } else if (difference.empty()) {
      return EWriteResult::EUnchanged;
    } else if (error = ReplaceFile(mPath, ToText(difference)); !error) {
      Adopt(std::move(difference));
      Remember(CDescriptor(open(mPath.c_str(), O_RDONLY | O_CLOEXEC)));
      return EWriteResult::EWritten;
    }
  }
  LOG_ERROR("Configuration file {} cannot be written: {}", mPath, *error);
  return EWriteResult::EFailed;
}

std::optional<SStoredValue> CDocumentStore::Read(const std::string& key)
{
  CLock lock(mMutex);
  Refresh();
  const auto member = mMembers.find(key);
  if (member == mMembers.end()) return std::nullopt;
  return SStoredValue{member->second.value, member->second.revision};
}

std::map<std::string, SStoredValue> CDocumentStore::ReadAll()
{
  CLock lock(mMutex);
  Refresh();
  std::map<std::string, SStoredValue> result;
  for (const auto& member : mMembers) result[member.first] = {member.second.value, member.second.revision};
  return result;
}

std::vector<std::string> CDocumentStore::ListKeys()
{
  CLock lock(mMutex);
  Refresh();
  std::vector<std::string> result;
  result.reserve(mMembers.size());
  for (const auto& member : mMembers) result.push_back(member.first);
  return result;
}

uint64_t CDocumentStore::GetUsedBytes()
{
  CLock lock(mMutex);
  Refresh();
  return mUsedBytes;
}

int64_t CDocumentStore::GetRevision()
{
  CLock lock(mMutex);
  Refresh();
  return mRevision;
}

SChanges CDocumentStore::ReadChanges(int64_t revision)
{
  CLock lock(mMutex);
  Refresh();
  SChanges result;
  for (auto& change : mChanges) {
    if (change.revision > revision) result.changes.push_back(std::move(change));
  }
  mChanges.clear();
  result.upTo = mRevision;
  return result;
}

SWatchedFiles CDocumentStore::GetWatchedFiles() const { return {DirectoryOf(mPath), {LeafOf(mPath)}}; }

std::vector<std::string> CDocumentStore::TakeProblems()
{
  CLock lock(mMutex);
  return std::move(mProblems);
}

}  // namespace IcConfig
