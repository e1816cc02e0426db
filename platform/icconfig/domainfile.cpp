#include "platform/icconfig/domainfile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/icconfig/filetools.h"
#include "platform/iclogger/log.h"

namespace IcConfig {

namespace {

constexpr int kFormatVersion = 1;
const std::vector<std::string> kCompanions = {"-wal", "-shm"};

constexpr const char* kCreateTables = R"sql(
  CREATE TABLE entries(key TEXT PRIMARY KEY, value TEXT NOT NULL, revision INTEGER NOT NULL) WITHOUT ROWID;
  CREATE TABLE changes(revision INTEGER PRIMARY KEY, key TEXT, kind INTEGER NOT NULL, value TEXT,
                       usedBytes INTEGER NOT NULL);
  INSERT INTO changes VALUES(1, NULL, 0, NULL, 0);
  PRAGMA user_version = 1;
)sql";

void Report(std::vector<std::string>& problems, std::string text)
{
  LOG_ERROR("{}", text);
  problems.push_back(std::move(text));
}

enum class EFormat { EEmpty, EOurs };

// Changes nothing, so that somebody else's file is set aside as it was. A zero-length file is empty too: whoever made
// it was stopped before the tables were there.
EFormat ReadFormat(CSqliteFile& file)
{
  const std::string version = file.Query("PRAGMA user_version");
  if (version == std::to_string(kFormatVersion)) return EFormat::EOurs;
  if (version == "0" && file.Query("SELECT count(*) FROM sqlite_schema") == "0") return EFormat::EEmpty;
  throw CSqliteError(SQLITE_FORMAT, "unknown format version " + version);
}

void CheckPages(CSqliteFile& file)
{
  const std::string verdict = file.Query("PRAGMA quick_check(1)");
  if (verdict != "ok") throw CSqliteError(SQLITE_CORRUPT, verdict);
}

void CreateTables(CSqliteFile& file)
{
  CWriteTransaction transaction(file);
  file.Execute(kCreateTables);
  transaction.Commit();
}

void Configure(CSqliteFile& file)
{
  file.Execute(
      "PRAGMA synchronous = FULL; PRAGMA cache_size = -256; PRAGMA wal_autocheckpoint = 256;"
      "PRAGMA temp_store = MEMORY; PRAGMA trusted_schema = OFF");
}

// Takes the connection over once nothing can fail any more.
std::unique_ptr<SDomainFile> Complete(std::unique_ptr<CSqliteFile>& file, bool isWritable)
{
  auto result = std::make_unique<SDomainFile>();
  try {
    result->statements = std::make_unique<SDomainStatements>(*file);
  } catch (const CSqliteError& error) {
    if (error.GetCode() != SQLITE_ERROR) throw;
    throw CSqliteError(SQLITE_FORMAT, error.what());  // a table or column is missing
  }
  result->file = std::move(file);
  result->isWritable = isWritable;
  return result;
}

// Throws CSqliteError; a connection that failed on the way leaves the files as they are.
std::unique_ptr<SDomainFile> TryWritable(const std::string& path)
{
  auto file = std::make_unique<CSqliteFile>(path, CSqliteFile::EOpen::ECreate);
  try {
    if (sqlite3_db_readonly(file->Get(), "main") == 1) throw CSqliteError(SQLITE_READONLY, "file is read-only");
    const EFormat format = ReadFormat(*file);
    if (file->Query("PRAGMA journal_mode = WAL") != "wal") throw CSqliteError(SQLITE_IOERR, "no write-ahead log");
    Configure(*file);
    if (format == EFormat::EEmpty) CreateTables(*file);
    CheckPages(*file);
    return Complete(file, true);
  } catch (const CSqliteError&) {
    file->Abandon();
    throw;
  }
}

std::unique_ptr<SDomainFile> TryReadable(const std::string& path, CSqliteFile::EOpen how)
{
  auto file = std::make_unique<CSqliteFile>(path, how);
  Configure(*file);
  file->Execute("PRAGMA query_only = ON");
  if (ReadFormat(*file) == EFormat::EEmpty) return nullptr;  // its owner is about to make the tables
  CheckPages(*file);
  return Complete(file, false);
}

bool HasLog(const std::string& path)
{
  struct stat status = {};
  return stat((path + "-wal").c_str(), &status) == 0 && status.st_size > 0;
}

// Every way to read that needs less of the medium than the one before. Throws what the last one threw.
std::unique_ptr<SDomainFile> TryReadableSomehow(const std::string& path)
{
  for (const auto how : {CSqliteFile::EOpen::EExisting, CSqliteFile::EOpen::EReadOnly}) {
    try {
      return TryReadable(path, how);
    } catch (const CSqliteError& error) {
      // Without its companion files a file can be read only if nothing lies in its log.
      const bool isLast = how == CSqliteFile::EOpen::EReadOnly;
      if (error.IsDamage() || (isLast && HasLog(path))) throw;
    }
  }
  return TryReadable(path, CSqliteFile::EOpen::EImmutable);
}

std::unique_ptr<SDomainFile> OpenForReading(const std::string& path, std::vector<std::string>& problems)
{
  if (!Exists(path)) return nullptr;
  try {
    return TryReadableSomehow(path);
  } catch (const CSqliteError& error) {
    Report(problems, fmt::format("Configuration file {} cannot be read: {}", path, error.what()));
    return nullptr;
  }
}

// What lies under the name is no file that this process may read.
bool IsForbidden(const std::string& path)
{
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return errno == ELOOP;
  return !S_ISREG(status.st_mode) || (access(path.c_str(), R_OK) != 0 && errno == EACCES);
}

void SetAsideOrReport(const std::string& path, const std::string& reason, std::vector<std::string>& problems)
{
  if (const auto target = SetAside(path, kCompanions)) {
    // The defaults serve from here on, as after a factory reset: no reason to refuse to work.
    LOG_ERROR("Configuration file {} cannot be read: {}. Set aside as {}", path, reason, *target);
    return;
  }
  Report(problems, fmt::format("Configuration file {} cannot be read: {}. It cannot be set aside: {}", path, reason,
                               ErrorText(errno)));
}

std::unique_ptr<SDomainFile> OpenForWriting(const std::string& path, std::vector<std::string>& problems)
{
  const std::string directory = DirectoryOf(path);
  if (const auto error = MakeDirectories(directory)) {
    LOG_ERROR("Configuration folder {} cannot be made: {}", directory, *error);
    return nullptr;
  }
  const CDirectoryLock lock(directory);
  // A log without its file belongs to a file that was taken away; SQLite would empty it or take it for the new file's.
  if (!Exists(path) && (Exists(path + "-wal") || Exists(path + "-shm"))) SetAside(path, kCompanions);
  for (const bool isFirst : {true, false}) {
    try {
      return TryWritable(path);
    } catch (const CSqliteError& error) {
      if (isFirst && (error.IsDamage() || IsForbidden(path))) {
        SetAsideOrReport(path, error.what(), problems);
        continue;
      }
      LOG_ERROR("Configuration file {} cannot be opened for writing: {}", path, error.what());
    }
  }
  return OpenForReading(path, problems);
}

}  // namespace

SDomainStatements::SDomainStatements(const CSqliteFile& file)
    : read(file, "SELECT value, revision FROM entries WHERE key = ?1"),
      readAll(file, "SELECT key, value, revision FROM entries"),
      list(file, "SELECT key FROM entries ORDER BY key"),
      head(file, "SELECT revision, usedBytes FROM changes ORDER BY revision DESC LIMIT 1"),
      upsert(file, "INSERT OR REPLACE INTO entries(key, value, revision) VALUES(?1, ?2, ?3)"),
      remove(file, "DELETE FROM entries WHERE key = ?1"),
      addChange(file, "INSERT INTO changes(revision, key, kind, value, usedBytes) VALUES(?1, ?2, ?3, ?4, ?5)"),
      prune(file, "DELETE FROM changes WHERE revision <= ?1"),
      firstChange(file, "SELECT revision FROM changes ORDER BY revision LIMIT 1"),
      changes(
          file,
          "SELECT revision, key, kind, CASE kind WHEN 2 THEN (SELECT e.value FROM entries e WHERE e.key = changes.key "
          "AND e.revision = changes.revision) ELSE value END FROM changes WHERE revision > ?1 ORDER BY revision LIMIT "
          "?2"),
      changedEntries(file,
                     "SELECT revision, key, value FROM entries WHERE revision > ?1 AND revision < ?2 ORDER BY revision")
{}

std::unique_ptr<SDomainFile> OpenDomainFile(const std::string& path, EAccess access, std::vector<std::string>& problems)
{
  switch (access) {
    case EAccess::EWrite:
      return OpenForWriting(path, problems);
    case EAccess::ERead:
      return OpenForReading(path, problems);
  }
  return nullptr;
}

void SetAsideDomainFile(const std::string& path, std::unique_ptr<SDomainFile> file, const std::string& reason,
                        std::vector<std::string>& problems)
{
  const CDirectoryLock lock(DirectoryOf(path));
  file->file->Abandon();
  if (!file->file->HasMoved()) SetAsideOrReport(path, reason, problems);
}

}  // namespace IcConfig
