#include "platform/icconfig/sqlitefile.h"

#include <fmt/format.h>

namespace IcConfig {

namespace {

// Another process holds the file for one transaction at most; longer means that it hangs.
constexpr int kBusyTimeoutMs = 5000;

std::string MessageOf(sqlite3* connection, int code)
{
  const char* text = connection ? sqlite3_errmsg(connection) : sqlite3_errstr(code);
  return fmt::format("{} ({})", text, code);
}

void Check(sqlite3* connection, int code)
{
  if (code == SQLITE_OK) return;
  const int extended = connection ? sqlite3_extended_errcode(connection) : code;
  throw CSqliteError(extended, MessageOf(connection, extended));
}

// The path as the path part of a URI (RFC 3986): SQLite takes the immutable option only from there.
std::string ToImmutableUri(const std::string& path)
{
  std::string uri = "file:";
  for (const char character : path) {
    if (character == '%' || character == '?' || character == '#') {
      uri += fmt::format("%{:02X}", static_cast<unsigned char>(character));
    } else {
      uri += character;
    }
  }
  return uri + "?immutable=1";
}

int FlagsOf(CSqliteFile::EOpen how)
{
  switch (how) {
    case CSqliteFile::EOpen::ECreate:
      return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    case CSqliteFile::EOpen::EExisting:
      return SQLITE_OPEN_READWRITE;
    case CSqliteFile::EOpen::EReadOnly:
      return SQLITE_OPEN_READONLY;
    case CSqliteFile::EOpen::EImmutable:
      return SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
  }
  return 0;
}

}  // namespace

bool CSqliteError::IsDamage() const
{
  switch (mCode) {
    case SQLITE_IOERR_READ:
    case SQLITE_IOERR_SHORT_READ:
    case SQLITE_IOERR_CORRUPTFS:
      return true;
  }
  const int primary = mCode & 0xFF;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || primary == SQLITE_FORMAT;
}

CSqliteFile::CSqliteFile(const std::string& path, EOpen how)
{
  const std::string name = how == EOpen::EImmutable ? ToImmutableUri(path) : path;
  sqlite3* connection = nullptr;
  const int code = sqlite3_open_v2(name.c_str(), &connection, FlagsOf(how) | SQLITE_OPEN_NOMUTEX, nullptr);
  mConnection.reset(connection);
  if (code != SQLITE_OK) Check(connection, code);
  sqlite3_extended_result_codes(connection, 1);
  sqlite3_busy_timeout(connection, kBusyTimeoutMs);
}

CSqliteFile::~CSqliteFile() = default;

void CSqliteFile::Execute(const char* sql) { Check(Get(), sqlite3_exec(Get(), sql, nullptr, nullptr, nullptr)); }

std::string CSqliteFile::Query(const char* sql)
{
  CStatement statement(*this, sql);
  CRun run(statement);
  return run.Step() ? run.Text(0) : "";
}

bool CSqliteFile::HasMoved() const
{
  int moved = 0;
  sqlite3_file_control(Get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved != 0;
}

void CSqliteFile::Abandon()
{
  // Without these, closing merges the log into the file and removes whatever log lies under the name by now.
  int keepLog = 1;
  sqlite3_file_control(Get(), "main", SQLITE_FCNTL_PERSIST_WAL, &keepLog);
  sqlite3_db_config(Get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

CStatement::CStatement(const CSqliteFile& file, const char* sql)
{
  sqlite3_stmt* statement = nullptr;
  Check(file.Get(), sqlite3_prepare_v3(file.Get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  mStatement.reset(statement);
}

CRun::~CRun()
{
  sqlite3_reset(mStatement);
  sqlite3_clear_bindings(mStatement);
}

void CRun::Check(int code) const { IcConfig::Check(sqlite3_db_handle(mStatement), code); }

CRun& CRun::Bind(int parameter, int64_t value)
{
  Check(sqlite3_bind_int64(mStatement, parameter, value));
  return *this;
}

CRun& CRun::Bind(int parameter, std::string_view text)
{
  // A null pointer would bind NULL instead of an empty text.
  const char* data = text.data() ? text.data() : "";
  Check(sqlite3_bind_text64(mStatement, parameter, data, text.size(), nullptr, SQLITE_UTF8));
  return *this;
}

CRun& CRun::BindNull(int parameter)
{
  Check(sqlite3_bind_null(mStatement, parameter));
  return *this;
}

bool CRun::Step()
{
  const int code = sqlite3_step(mStatement);
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) Check(code);
  return false;
}

void CRun::Finish()
{
  while (Step()) {
  }
}

int64_t CRun::Int(int column) const { return sqlite3_column_int64(mStatement, column); }

bool CRun::IsNull(int column) const { return sqlite3_column_type(mStatement, column) == SQLITE_NULL; }

std::string CRun::Text(int column) const
{
  const void* data = sqlite3_column_blob(mStatement, column);
  const auto size = static_cast<size_t>(sqlite3_column_bytes(mStatement, column));
  return data ? std::string(static_cast<const char*>(data), size) : std::string();
}

CWriteTransaction::CWriteTransaction(CSqliteFile& file) : mFile(file) { mFile.Execute("BEGIN IMMEDIATE"); }

CWriteTransaction::~CWriteTransaction()
{
  // Some failures end the transaction by themselves.
  if (mOpen && sqlite3_get_autocommit(mFile.Get()) == 0)
    sqlite3_exec(mFile.Get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void CWriteTransaction::Commit()
{
  mFile.Execute("COMMIT");
  mOpen = false;
}

CReadTransaction::CReadTransaction(CSqliteFile& file) : mFile(file) { mFile.Execute("BEGIN"); }

CReadTransaction::~CReadTransaction()
{
  if (sqlite3_get_autocommit(mFile.Get()) == 0) sqlite3_exec(mFile.Get(), "COMMIT", nullptr, nullptr, nullptr);
}

}  // namespace IcConfig
