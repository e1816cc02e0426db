#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

// Files and folders as the configuration stores need them. Texts of failures are the operating system's.
namespace IcConfig {

// An open file descriptor, closed with the object; -1 when there is none.
class CDescriptor {
 public:
  explicit CDescriptor(int descriptor = -1) : mDescriptor(descriptor) {}
  ~CDescriptor();
  CDescriptor(CDescriptor&& other) noexcept : mDescriptor(other.mDescriptor) { other.mDescriptor = -1; }
  CDescriptor& operator=(CDescriptor&& other) noexcept;
  CDescriptor(const CDescriptor&) = delete;
  CDescriptor& operator=(const CDescriptor&) = delete;

  int Get() const { return mDescriptor; }
  bool IsOpen() const { return mDescriptor >= 0; }

 private:
  int mDescriptor;
};

// Folder of a path, with its slash; "./" when the path names none.
std::string DirectoryOf(const std::string& path);
std::string LeafOf(const std::string& path);
bool Exists(const std::string& path);

// Makes `directory` and what lacks above it, durably. Empty on success, else the text of the failure.
std::optional<std::string> MakeDirectories(const std::string& directory);

// Exclusive right over the files of a folder against all other processes and threads that ask for it. It ends with the
// object or with the process, whichever comes first. Blocks; not recursive. A folder that cannot be opened is not
// locked.
class CDirectoryLock {
 public:
  explicit CDirectoryLock(const std::string& directory);

 private:
  CDescriptor mDirectory;
};

// Renames `path`, with each companion `path` + suffix that exists, to a name that is free: "<path>.damaged-<n>". The
// caller holds the folder's lock. Gives the new name of `path`; empty when it could not be renamed.
std::optional<std::string> SetAside(const std::string& path, const std::vector<std::string>& suffixes = {});

// Makes `text` the content of `path`: after a power cut the old or the new content is there, whole. The caller holds
// the folder's lock. Empty on success; else the text of the failure, and the old content stays.
std::optional<std::string> ReplaceFile(const std::string& path, const std::string& text);

// Reads all of an open file; false with errno set on failure.
bool ReadFileText(int descriptor, std::string& text);

// Text of an errno value.
std::string ErrorText(int error);

}  // namespace IcConfig
