#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

// SQLite as this library uses it: a connection, prepared statements and transactions that clean up after themselves.
namespace IcConfig {

class CSqliteError : public std::runtime_error {
 public:
  // `code` is an extended result code.
  CSqliteError(int code, const std::string& text) : std::runtime_error(text), mCode(code) {}
  int GetCode() const { return mCode; }
  // The file's content cannot be what was written: as opposed to a medium that is full, read-only or busy.
  bool IsDamage() const;

 private:
  int mCode;
};

// One connection; serves one thread at a time. All operations throw CSqliteError.
class CSqliteFile {
 public:
  enum class EOpen {
    ECreate,     // for writing; made when it lacks
    EExisting,   // with the right to write where the system gives it, as readers of a shared file need it
    EReadOnly,   // without writing anything, not even beside the file
    EImmutable,  // as EReadOnly, and nobody else writes either: needs no companion files
  };

  CSqliteFile(const std::string& path, EOpen how);
  // Closes; the last connection of all processes merges the log into the file.
  ~CSqliteFile();
  CSqliteFile(const CSqliteFile&) = delete;
  CSqliteFile& operator=(const CSqliteFile&) = delete;

  void Execute(const char* sql);
  // First column of the first row as text; empty without a row.
  std::string Query(const char* sql);
  // The path names another file, or none, since this one was opened.
  bool HasMoved() const;
  // From here on closing leaves all files as they are.
  void Abandon();
  sqlite3* Get() const { return mConnection.get(); }

 private:
  struct SClose {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
  };
  std::unique_ptr<sqlite3, SClose> mConnection;
};

// A prepared statement. Run it by a CRun.
class CStatement {
 public:
  CStatement(const CSqliteFile& file, const char* sql);

 private:
  friend class CRun;
  struct SFinalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  std::unique_ptr<sqlite3_stmt, SFinalize> mStatement;
};

// One execution of a statement, from binding to the last row; the statement is free again with its end. Bound texts
// must live as long. Parameters count from 1, columns from 0.
class CRun {
 public:
  explicit CRun(CStatement& statement) : mStatement(statement.mStatement.get()) {}
  ~CRun();
  CRun(const CRun&) = delete;
  CRun& operator=(const CRun&) = delete;

  CRun& Bind(int parameter, int64_t value);
  CRun& Bind(int parameter, std::string_view text);
  CRun& BindNull(int parameter);
  // True when there is a (further) row.
  bool Step();
  void Finish();

  int64_t Int(int column) const;
  bool IsNull(int column) const;
  // Bytes of a text or blob, the text form of a number.
  std::string Text(int column) const;

 private:
  void Check(int code) const;

  sqlite3_stmt* const mStatement;
};

// A transaction for writing, taken back unless committed.
class CWriteTransaction {
 public:
  explicit CWriteTransaction(CSqliteFile& file);
  ~CWriteTransaction();
  CWriteTransaction(const CWriteTransaction&) = delete;
  CWriteTransaction& operator=(const CWriteTransaction&) = delete;

  void Commit();

 private:
  CSqliteFile& mFile;
  bool mOpen = true;
};

// Several reads that see one state.
class CReadTransaction {
 public:
  explicit CReadTransaction(CSqliteFile& file);
  ~CReadTransaction();
  CReadTransaction(const CReadTransaction&) = delete;
  CReadTransaction& operator=(const CReadTransaction&) = delete;

 private:
  CSqliteFile& mFile;
};

}  // namespace IcConfig
