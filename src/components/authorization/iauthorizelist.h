#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "src/components/authorization/authorizationlistentry.h"

// A store of id tags: a table in memory, and one document behind it that WriteToStorage brings up to date. Ids are
// compared as they are, case included. Safe from any thread.
class IAuthorizeList {
 public:
  virtual ~IAuthorizeList() = default;

  // Inserts an entry that is new; of a known one parent, status and expiry are replaced, and its entry date stays.
  // In memory, as are all changes but Clear.
  virtual void Update(const CAuthorizationListEntry& entry) = 0;
  virtual void Delete(const std::string& id) = 0;
  virtual bool Contains(const std::string& id) const = 0;
  // A copy, empty when the id is not known.
  virtual std::optional<CAuthorizationListEntry> Find(const std::string& id) const = 0;
  // Removes all entries.
  virtual void Clear() = 0;
  // Stores the table as it is now, in one step: after a kill or a power cut the former or the new content is found. A
  // failure has been logged by the store and leaves the former content there. May take as long as the disk does.
  virtual void WriteToStorage() = 0;
  virtual size_t GetSize() const = 0;
  // An id that is known already is logged and changes nothing.
  virtual void Insert(const CAuthorizationListEntry& entry) = 0;
};
