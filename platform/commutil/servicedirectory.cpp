#include "platform/commutil/servicedirectory.h"

#include <json/json.h>
#include <sys/un.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <optional>

#include "platform/commutil/rpclogger.h"
#include "platform/iclogger/log.h"

namespace Rpc {

namespace {

constexpr char kUnix[] = "unix:";
constexpr char kDefaultFolder[] = "unix:run/secc/";
constexpr char kDefaultSuffix[] = ".sock";
constexpr int64_t kMinDeadlineMs = 100;
constexpr int64_t kMaxDeadlineMs = 60000;
constexpr uintmax_t kMaxFileSize = 1'048'576;
// The file itself is small and flat; deeper nesting is refused before it costs stack.
constexpr int kMaxNesting = 20;
constexpr size_t kMaxSocketPath = sizeof(sockaddr_un::sun_path) - 1;

void Complain(const std::string& path, const std::string& fault)
{
  Write(&ILogger::Error, fmt::format("IPC configuration {}: {}", path, fault));
}

bool IsPort(const std::string& text)
{
  const bool isNumber =
      !text.empty() && text.size() <= 5 &&
      std::all_of(text.begin(), text.end(), [](unsigned char character) { return std::isdigit(character) != 0; });
  return isNumber && std::stoi(text) > 0 && std::stoi(text) <= 65535;
}

bool IsLoopback(const std::string& address)
{
  const size_t colon = address.rfind(':');
  if (colon == std::string::npos || !IsPort(address.substr(colon + 1))) return false;
  const std::string host = address.substr(0, colon);
  return host == "127.0.0.1" || host == "localhost" || host == "[::1]";
}

std::optional<Json::Value> Parse(const std::string& path)
{
  std::error_code error;
  const uintmax_t size = std::filesystem::file_size(path, error);
  if (error) {
    Complain(path, error.message());
    return std::nullopt;
  }
  if (size > kMaxFileSize) {
    Complain(path, fmt::format("{} bytes are too many", size));
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary);
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = kMaxNesting;
  Json::Value document;
  std::string errors;
  try {
    if (!Json::parseFromStream(builder, file, &document, &errors)) {
      Complain(path, errors);
      return std::nullopt;
    }
  } catch (const std::exception& exception) {
    Complain(path, exception.what());
    return std::nullopt;
  }
  return document;
}

}  // namespace

CServiceDirectory::CServiceDirectory(const std::string& path)
    : mRoot(std::filesystem::absolute(path).parent_path().parent_path().string())
{
  Load(path);
}

std::string CServiceDirectory::Address(const std::string& service) const
{
  const auto found = mAddresses.find(service);
  std::string address = found != mAddresses.end() ? found->second : kDefaultFolder + service + kDefaultSuffix;
  const std::string path = SocketPath(address);
  // An absolute path replaces the root.
  return path.empty() ? address : kUnix + (std::filesystem::path(mRoot) / path).string();
}

std::string CServiceDirectory::SocketPath(const std::string& address)
{
  if (address.rfind(kUnix, 0) != 0) return "";
  const std::string path = address.substr(sizeof(kUnix) - 1);
  // "unix:///run/x" is the other spelling of "unix:/run/x".
  return path.rfind("//", 0) == 0 ? path.substr(2) : path;
}

void CServiceDirectory::Load(const std::string& path)
{
  const std::optional<Json::Value> document = Parse(path);
  if (!document) return;
  if (!document->isObject()) {
    Complain(path, "is not a JSON object");
    return;
  }
  const Json::Value& deadline = (*document)["deadlineMs"];
  if (deadline.isInt64() && deadline.asInt64() >= kMinDeadlineMs && deadline.asInt64() <= kMaxDeadlineMs) {
    mDeadline = std::chrono::milliseconds(deadline.asInt64());
  } else if (!deadline.isNull()) {
    Complain(path, fmt::format("deadlineMs has to be a number from {} to {}", kMinDeadlineMs, kMaxDeadlineMs));
  }
  const Json::Value& services = (*document)["services"];
  if (!services.isObject()) {
    if (!services.isNull()) Complain(path, "services has to be an object");
    return;
  }
  for (const std::string& service : services.getMemberNames()) {
    const Json::Value& address = services[service];
    AddService(service, address.isString() ? address.asString() : "", path);
  }
}

void CServiceDirectory::AddService(const std::string& service, const std::string& address, const std::string& path)
{
  const std::string socket = SocketPath(address);
  if (socket.empty() && !IsLoopback(address)) {
    Complain(path, fmt::format("the address \"{}\" of {} is neither unix:<path> nor <loopback host>:<port>", address,
                               service));
    return;
  }
  if ((std::filesystem::path(mRoot) / socket).string().size() > kMaxSocketPath) {
    Complain(path, fmt::format("the socket path of {} is longer than {} characters", service, kMaxSocketPath));
    return;
  }
  mAddresses[service] = address;
}

}  // namespace Rpc
