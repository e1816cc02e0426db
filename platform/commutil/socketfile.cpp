#include "platform/commutil/socketfile.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace Rpc {

namespace {

constexpr mode_t kFolderMode = 0750;

std::string TextOf(int error) { return std::generic_category().message(error); }

std::string CreateFolder(const std::filesystem::path& folder)
{
  std::error_code error;
  if (folder.empty() || std::filesystem::is_directory(folder, error)) return "";
  std::string fault = CreateFolder(folder.parent_path());
  if (!fault.empty()) return fault;
  if (mkdir(folder.c_str(), kFolderMode) != 0 && errno != EEXIST) return folder.string() + ": " + TextOf(errno);
  return "";
}

// Whether somebody listens on the socket: 0, or the error of the attempt to connect.
int Probe(const std::string& path)
{
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof(address.sun_path) - 1);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return errno;
  const int error = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ? 0 : errno;
  close(descriptor);
  return error;
}

}  // namespace

std::string PrepareSocketFile(const std::string& path)
{
  if (path.size() >= sizeof(sockaddr_un::sun_path)) return "the path is too long for a socket";
  std::string fault = CreateFolder(std::filesystem::path(path).parent_path());
  if (!fault.empty()) return fault;

  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return errno == ENOENT ? "" : TextOf(errno);
  if (!S_ISSOCK(status.st_mode)) return "there is a file that is no socket";
  // A listener whose backlog is full (EAGAIN) is alive as well.
  if (Probe(path) != ECONNREFUSED) return "another process offers a service there";
  return unlink(path.c_str()) == 0 || errno == ENOENT ? "" : TextOf(errno);
}

}  // namespace Rpc
