#include "platform/icconfig/filetools.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace IcConfig {

namespace {

constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0644;

bool SyncDirectory(const std::string& directory)
{
  const CDescriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return descriptor.IsOpen() && fsync(descriptor.Get()) == 0;
}

bool WriteAll(int descriptor, const std::string& text)
{
  for (size_t position = 0; position < text.size();) {
    const ssize_t written = write(descriptor, text.data() + position, text.size() - position);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    position += static_cast<size_t>(written);
  }
  return true;
}

bool WriteDurably(const std::string& path, const std::string& text)
{
  const CDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode));
  return file.IsOpen() && WriteAll(file.Get(), text) && fsync(file.Get()) == 0;
}

}  // namespace

CDescriptor::~CDescriptor()
{
  if (mDescriptor >= 0) close(mDescriptor);
}

CDescriptor& CDescriptor::operator=(CDescriptor&& other) noexcept
{
  std::swap(mDescriptor, other.mDescriptor);
  return *this;
}

std::string DirectoryOf(const std::string& path)
{
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

std::string LeafOf(const std::string& path)
{
  const auto slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool Exists(const std::string& path)
{
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

std::string ErrorText(int error) { return std::generic_category().message(error); }

std::optional<std::string> MakeDirectories(const std::string& directory)
{
  for (size_t end = directory.find('/', 1); end != std::string::npos; end = directory.find('/', end + 1)) {
    const std::string part = directory.substr(0, end);
    if (mkdir(part.c_str(), kDirectoryMode) == 0) {
      SyncDirectory(DirectoryOf(part));
      continue;
    }
    const int error = errno;
    struct stat status = {};
    if (stat(part.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) continue;
    return part + ": " + ErrorText(error);
  }
  return std::nullopt;
}

CDirectoryLock::CDirectoryLock(const std::string& directory)
    : mDirectory(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{
  if (!mDirectory.IsOpen()) return;
  while (flock(mDirectory.Get(), LOCK_EX) != 0 && errno == EINTR) {
  }
}

std::optional<std::string> SetAside(const std::string& path, const std::vector<std::string>& suffixes)
{
  std::string target;
  for (unsigned number = 1;; ++number) {
    target = path + ".damaged-" + std::to_string(number);
    bool isFree = !Exists(target);
    for (const auto& suffix : suffixes) isFree = isFree && !Exists(target + suffix);
    if (isFree) break;
  }
  if (Exists(path) && rename(path.c_str(), target.c_str()) != 0) return std::nullopt;
  for (const auto& suffix : suffixes) {
    if (Exists(path + suffix)) rename((path + suffix).c_str(), (target + suffix).c_str());
  }
  SyncDirectory(DirectoryOf(path));
  return target;
}

std::optional<std::string> ReplaceFile(const std::string& path, const std::string& text)
{
  const std::string temporary = path + ".new";
  if (!WriteDurably(temporary, text) || rename(temporary.c_str(), path.c_str()) != 0) {
    const int error = errno;
    unlink(temporary.c_str());
    return ErrorText(error);
  }
  // From here on the new content is what everybody reads; a failure to make it durable is still a failed write.
  if (!SyncDirectory(DirectoryOf(path))) return ErrorText(errno);
  return std::nullopt;
}

bool ReadFileText(int descriptor, std::string& text)
{
  std::array<char, 65536> buffer = {};
  for (;;) {
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) return true;
    text.append(buffer.data(), static_cast<size_t>(count));
  }
}

}  // namespace IcConfig
