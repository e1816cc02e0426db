#include "platform/icconfig/domainstore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "platform/icconfig/filetools.h"
#include "platform/icconfig/jsontext.h"
#include "platform/iclogger/log.h"

namespace IcConfig {

namespace {

constexpr int64_t kChangesPerStep = 256;
// Old changes are removed in one go after so many.
constexpr int64_t kPruneInterval = 256;

void AddStatus(const std::string& path, bool withState, std::vector<int64_t>& stamp)
{
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return;
  stamp.push_back(static_cast<int64_t>(status.st_dev));
  stamp.push_back(static_cast<int64_t>(status.st_ino));
  if (!withState) return;
  stamp.insert(stamp.end(), {status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_mode});
}

std::vector<int64_t> IdentityOf(const std::string& path)
{
  std::vector<int64_t> stamp;
  AddStatus(path, false, stamp);
  return stamp;
}

// Also of the log, which changes before the file does.
std::vector<int64_t> StateOf(const std::string& path)
{
  std::vector<int64_t> stamp;
  AddStatus(path, true, stamp);
  AddStatus(path + "-wal", true, stamp);
  return stamp;
}

}  // namespace

CDomainStore::CDomainStore(std::string path, EAccess access, std::shared_ptr<const CDefaults> defaults)
    : mPath(std::move(path)), mAccess(access), mDefaults(std::move(defaults))
{
  CLock lock(mMutex);
  Open();
}

CDomainStore::~CDomainStore() = default;

void CDomainStore::Open()
{
  std::vector<std::string> problems;
  mFile = OpenDomainFile(mPath, mAccess, problems);
  for (const auto& problem : problems) AddProblem(problem);
  if (!mFile) {
    mFailed = StateOf(mPath);
    return;
  }
  const auto identity = IdentityOf(mPath);
  const bool isOther = mIsReplaced || (!mOpened.empty() && mOpened != identity);
  if (isOther) mRevisionBase = mHighestRevision;
  mOpened = identity;
  mIsReplaced = false;
}

bool CDomainStore::EnsureOpen(EAccess purpose)
{
  if (mFile && mFile->file->HasMoved()) {
    LOG_WARNING("Configuration file {} was replaced", mPath);
    mFile->file->Abandon();
    mFile.reset();
    mIsReplaced = true;
  }
  switch (purpose) {
    case EAccess::EWrite:
      // A medium may have recovered meanwhile.
      if (!mFile || !mFile->isWritable) {
        mFile.reset();
        Open();
      }
      return mFile && mFile->isWritable;
    case EAccess::ERead:
      if (!mFile && Exists(mPath) && StateOf(mPath) != mFailed) Open();
      return mFile != nullptr;
  }
  return false;
}

void CDomainStore::AddProblem(const std::string& text)
{
  if (text == mLastProblem) return;
  mLastProblem = text;
  mProblems.push_back(text);
}

void CDomainStore::ReportReadFailure(const std::string& text)
{
  if (mIsReadFailing) return;
  mIsReadFailing = true;
  const std::string problem = fmt::format("Configuration file {} cannot be read: {}", mPath, text);
  LOG_ERROR("{}", problem);
  AddProblem(problem);
}

bool CDomainStore::Run(EAccess purpose, const std::function<void()>& access)
{
  for (const bool isFirst : {true, false}) {
    if (!EnsureOpen(purpose)) return false;
    try {
      access();
      if (purpose == EAccess::ERead) mIsReadFailing = false;
      return true;
    } catch (const CSqliteError& error) {
      if (error.IsDamage() && isFirst && mFile->isWritable) {
        std::vector<std::string> problems;
        SetAsideDomainFile(mPath, std::move(mFile), error.what(), problems);
        for (const auto& problem : problems) AddProblem(problem);
        mIsReplaced = true;
        Open();
        continue;
      }
      switch (purpose) {
        case EAccess::EWrite:
          LOG_ERROR("Configuration file {} cannot be written: {}", mPath, error.what());
          break;
        case EAccess::ERead:
          ReportReadFailure(error.what());
          break;
      }
    }
    return false;
  }
  return false;
}

int64_t CDomainStore::ToPublic(int64_t revision)
{
  const int64_t result = mRevisionBase + revision;
  mHighestRevision = std::max(mHighestRevision, result);
  return result;
}

std::optional<SStoredValue> CDomainStore::Read(const std::string& key)
{
  CLock lock(mMutex);
  std::optional<SStoredValue> result;
  Run(EAccess::ERead, [&]() REQUIRES(mMutex) {
    CRun run(mFile->statements->read);
    if (run.Bind(1, key).Step()) result = SStoredValue{ParseJsonText(run.Text(0)), ToPublic(run.Int(1))};
  });
  return result;
}

std::map<std::string, SStoredValue> CDomainStore::ReadAll()
{
  CLock lock(mMutex);
  std::map<std::string, SStoredValue> result;
  Run(EAccess::ERead, [&]() REQUIRES(mMutex) {
    result.clear();
    CRun run(mFile->statements->readAll);
    while (run.Step()) result[run.Text(0)] = SStoredValue{ParseJsonText(run.Text(1)), ToPublic(run.Int(2))};
  });
  return result;
}

std::vector<std::string> CDomainStore::ListKeys()
{
  CLock lock(mMutex);
  std::vector<std::string> result;
  Run(EAccess::ERead, [&]() REQUIRES(mMutex) {
    result.clear();
    CRun run(mFile->statements->list);
    while (run.Step()) result.push_back(run.Text(0));
  });
  return result;
}

uint64_t CDomainStore::GetUsedBytes()
{
  CLock lock(mMutex);
  int64_t result = 0;
  Run(EAccess::ERead, [&]() REQUIRES(mMutex) { result = ReadHead().usedBytes; });
  return static_cast<uint64_t>(std::max<int64_t>(result, 0));
}

CDomainStore::SHead CDomainStore::ReadHead()
{
  CRun run(mFile->statements->head);
  if (!run.Step()) throw CSqliteError(SQLITE_CORRUPT, "no changes recorded");
  return {run.Int(0), run.Int(1)};
}

EWriteResult CDomainStore::Write(const CBatch& batch)
{
  if (mAccess == EAccess::ERead) return EWriteResult::EFailed;
  EWriteResult result = EWriteResult::EFailed;
  {
    CLock lock(mMutex);
    bool isLost = true;
    while (isLost) {
      if (!Run(EAccess::EWrite, [&]() REQUIRES(mMutex) { result = WriteBatch(batch); })) return EWriteResult::EFailed;
      // Set aside by another process while it was written: once more, into the new file.
      isLost = result == EWriteResult::EWritten && mFile->file->HasMoved();
    }
  }
  // A commit becomes visible only after its last write to a file; the new time stamps are the event that others see.
  if (result == EWriteResult::EWritten) utimensat(AT_FDCWD, mPath.c_str(), nullptr, 0);
  return result;
}

EWriteResult CDomainStore::WriteBatch(const CBatch& batch)
{
  CWriteTransaction transaction(*mFile->file);
  const SHead before = ReadHead();
  SHead head = before;
  bool isChanged = false;
  for (const auto& step : batch) isChanged = WriteStep(step.first, step.second, head) || isChanged;
  if (!isChanged) return EWriteResult::EUnchanged;
  if (head.revision / kPruneInterval != before.revision / kPruneInterval) {
    CRun(mFile->statements->prune).Bind(1, before.revision - kKeptChanges).Finish();
  }
  transaction.Commit();
  return EWriteResult::EWritten;
}

bool CDomainStore::WriteStep(const std::string& key, const std::optional<SNewValue>& value, SHead& head)
{
  std::optional<std::string> before;
  {
    CRun run(mFile->statements->read);
    if (run.Bind(1, key).Step()) before = run.Text(0);
  }
  if (value ? before == value->text : !before) return false;
  ++head.revision;
  if (before) head.usedBytes -= static_cast<int64_t>(key.size() + before->size());
  if (value) head.usedBytes += static_cast<int64_t>(key.size() + value->text.size());
  if (value) {
    CRun(mFile->statements->upsert).Bind(1, key).Bind(2, value->text).Bind(3, head.revision).Finish();
  } else {
    CRun(mFile->statements->remove).Bind(1, key).Finish();
  }
  const bool isLong = value && value->text.size() > kLongValue;
  EChangeKind kind = !value ? EChangeKind::EDeleted : isLong ? EChangeKind::ESetLong : EChangeKind::ESet;
  if (IsSameForReaders(key, before, value)) kind = EChangeKind::ESilent;
  CRun run(mFile->statements->addChange);
  run.Bind(1, head.revision).Bind(2, key).Bind(3, static_cast<int64_t>(kind)).BindNull(4).Bind(5, head.usedBytes);
  if (kind == EChangeKind::ESet) run.Bind(4, value->text);
  run.Finish();
  return true;
}

bool CDomainStore::IsSameForReaders(const std::string& key, const std::optional<std::string>& before,
                                    const std::optional<SNewValue>& after) const
{
  const auto packaged = mDefaults->find(key);
  std::optional<Json::Value> fallback;
  if (packaged != mDefaults->end()) fallback = packaged->second;
  const auto old = before ? ParseJsonText(*before) : fallback;
  if (before && !old) return false;  // what could not be read is a change, whatever it becomes
  return old == (after ? after->value : fallback);
}

int64_t CDomainStore::GetRevision()
{
  CLock lock(mMutex);
  Run(EAccess::ERead, [&]() REQUIRES(mMutex) { ToPublic(ReadHead().revision); });
  return mHighestRevision;
}

SChanges CDomainStore::ReadChanges(int64_t revision)
{
  CLock lock(mMutex);
  SChanges result;
  result.upTo = revision;
  Run(EAccess::ERead, [&]() REQUIRES(mMutex) {
    result = SChanges{};
    result.upTo = revision;
    const CReadTransaction oneState(*mFile->file);
    ReadMissed(std::max(revision, mRevisionBase), result);
    ReadLogged(std::max(result.upTo, mRevisionBase), result);
  });
  return result;
}

void CDomainStore::ReadMissed(int64_t revision, SChanges& result)
{
  int64_t first = 0;
  {
    CRun run(mFile->statements->firstChange);
    if (run.Step()) first = run.Int(0);
  }
  if (ToPublic(first) <= revision + 1) return;
  LOG_WARNING("Changes of configuration file {} were missed: {} to {}", mPath, revision + 1, ToPublic(first) - 1);
  CRun run(mFile->statements->changedEntries);
  run.Bind(1, revision - mRevisionBase).Bind(2, first);
  while (run.Step()) {
    if (auto value = ParseJsonText(run.Text(2))) {
      result.changes.push_back({ToPublic(run.Int(0)), run.Text(1), std::move(value)});
    }
  }
  result.upTo = ToPublic(first) - 1;
}

void CDomainStore::ReadLogged(int64_t revision, SChanges& result)
{
  CRun run(mFile->statements->changes);
  run.Bind(1, revision - mRevisionBase).Bind(2, kChangesPerStep);
  while (run.Step()) {
    result.upTo = ToPublic(run.Int(0));
    const auto kind = static_cast<EChangeKind>(run.Int(2));
    if (kind == EChangeKind::EDeleted) {
      result.changes.push_back({result.upTo, run.Text(1), std::nullopt});
    } else if (kind != EChangeKind::ESilent && !run.IsNull(3)) {
      if (auto value = ParseJsonText(run.Text(3)))
        result.changes.push_back({result.upTo, run.Text(1), std::move(value)});
    }
  }
}

SWatchedFiles CDomainStore::GetWatchedFiles() const
{
  const std::string leaf = LeafOf(mPath);
  return {DirectoryOf(mPath), {leaf, leaf + "-wal"}};
}

std::vector<std::string> CDomainStore::TakeProblems()
{
  CLock lock(mMutex);
  return std::move(mProblems);
}

}  // namespace IcConfig
