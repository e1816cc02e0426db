#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/icconfig/sqlitefile.h"
#include "platform/icconfig/store.h"

// The SQLite file of a domain: its tables, and what to do with a file that is not as it should be.
//
//   entries: one row per stored key, with its JSON text and the number of the change that wrote it.
//   changes: the last few thousand changes in their order, with the sum of bytes after each. The newest row is never
//            removed: it carries the domain's revision and its used bytes.
namespace IcConfig {

// Kinds of a row in `changes`.
enum class EChangeKind : int {
  ESilent = 0,   // readers get the same value as before
  ESet = 1,      // the new value stands in the row
  ESetLong = 2,  // the new value is long and stands in `entries` only, until a later change replaces it
  EDeleted = 3,
};

// The statements of an open domain file.
struct SDomainStatements {
  explicit SDomainStatements(const CSqliteFile& file);

  CStatement read;
  CStatement readAll;
  CStatement list;
  CStatement head;
  CStatement upsert;
  CStatement remove;
  CStatement addChange;
  CStatement prune;
  CStatement firstChange;
  CStatement changes;
  CStatement changedEntries;
};

struct SDomainFile {
  // The statements go before the connection.
  std::unique_ptr<CSqliteFile> file;
  std::unique_ptr<SDomainStatements> statements;
  bool isWritable = false;
};

// Opens the file, for writing if `access` asks for it and the medium allows it, else for reading. A file that cannot be
// read is set aside when opened for writing, and a new one begun. Without a usable file the result is empty. What is
// lost or unreadable is added to `problems`; all failures are logged.
std::unique_ptr<SDomainFile> OpenDomainFile(const std::string& path, EAccess access,
                                            std::vector<std::string>& problems);

// Sets the damaged file of an open connection aside, unless somebody else has done so, and closes the connection.
void SetAsideDomainFile(const std::string& path, std::unique_ptr<SDomainFile> file, const std::string& reason,
                        std::vector<std::string>& problems);

}  // namespace IcConfig
