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
  mChanges.clear();
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
  const auto target = SetAside(mPath);
  const std::string outcome = target ? "Set aside as " + *target : "It cannot be set aside: " + ErrorText(errno);
  GiveUp(fmt::format("Configuration file {} cannot be read: {}. {}", mPath, *reason, outcome));
  if (target) TryRefresh();
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
    const auto value = ParseJsonText(text, &error);
    if (!value || !value->isObject()) {
      std::replace(error.begin(), error.end(), '\n', ' ');
      return value ? "not a JSON object" : error;
    }
    document = *value;
  }
  Remember(std::move(file));
  Replace(document);
  return std::nullopt;
}

void CDocumentStore::Replace(const Json::Value& document)
{
  CBatch batch;
  for (const auto& member : mMembers) {
    if (!document.isMember(member.first)) batch[member.first] = std::nullopt;
  }
  for (const auto& key : document.getMemberNames()) batch[key] = SNewValue{document[key], ""};
  batch = Difference(batch);
  for (auto& step : batch) {
    if (step.second) step.second->text = WriteJsonText(step.second->value);
  }
  Adopt(batch);
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

void CDocumentStore::Adopt(const CBatch& difference)
{
  for (const auto& step : difference) {
    const auto packaged = mDefaults->find(step.first);
    const std::optional<Json::Value> fallback =
        packaged == mDefaults->end() ? std::nullopt : std::optional<Json::Value>(packaged->second);
    const auto member = mMembers.find(step.first);
    const auto before = member == mMembers.end() ? fallback : member->second.value;
    ++mRevision;
    if (member != mMembers.end()) {
      mUsedBytes -= member->second.bytes;
      mMembers.erase(member);
    }
    if (step.second) {
      const uint64_t bytes = step.first.size() + step.second->text.size();
      mMembers[step.first] = {step.second->value, bytes, mRevision};
      mUsedBytes += bytes;
    }
    if (before == (step.second ? step.second->value : fallback)) continue;
    mChanges.push_back({mRevision, step.first, step.second ? std::optional(step.second->value) : std::nullopt});
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
    const CBatch difference = Difference(batch);
    if (mIsUnreadable) {
      error = "the present file can neither be read nor set aside";
    } else if (difference.empty()) {
      return EWriteResult::EUnchanged;
    } else if (error = ReplaceFile(mPath, ToText(difference)); !error) {
      Adopt(difference);
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
