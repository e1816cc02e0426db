#include "platform/icconfig/icconfig.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include "platform/clock/mutex.h"
#include "platform/icconfig/config.h"
#include "platform/icconfig/defaults.h"
#include "platform/icconfig/documentstore.h"
#include "platform/icconfig/domainstore.h"
#include "platform/icconfig/filetools.h"
#include "platform/icconfig/snapshotstore.h"
#include "platform/iclogger/log.h"

namespace IcConfig {

namespace {

constexpr std::string_view kDocumentSuffix = ".json";

// Domains that lie in a file of another name.
struct SAlias {
  std::string_view domain;
  std::string_view file;
};
constexpr std::array<SAlias, 1> kAliases = {{{"ocppmeta", "ocpp_meta.json"}}};

CMutex gMutex;
SPaths gPaths GUARDED_BY(gMutex);

SPaths GetPaths()
{
  CLock lock(gMutex);
  return gPaths;
}

std::string WithSlash(std::string directory)
{
  if (directory.empty() || directory.back() != '/') directory += '/';
  return directory;
}

bool IsDocument(std::string_view name)
{
  return name.size() > kDocumentSuffix.size() && name.substr(name.size() - kDocumentSuffix.size()) == kDocumentSuffix;
}

// A name is a path below the data directory: parts between single slashes, none of which leads elsewhere.
void CheckName(const std::string& domain)
{
  bool isGood = domain.find('\0') == std::string::npos;
  for (size_t begin = 0; isGood && begin <= domain.size();) {
    const size_t end = std::min(domain.find('/', begin), domain.size());
    const auto part = std::string_view(domain).substr(begin, end - begin);
    isGood = !part.empty() && part != "." && part != "..";
    begin = end + 1;
  }
  if (!isGood) throw std::invalid_argument("Configuration domain name is not valid: " + domain);
}

std::string FileOf(const std::string& domain)
{
  for (const auto& alias : kAliases) {
    if (alias.domain == domain) return std::string(alias.file);
  }
  return domain;
}

std::shared_ptr<const CDefaults> ReadDefaults(const std::string& file, const CErrorCallback& errorCB)
{
  const std::string name = IsDocument(file) ? file : file + std::string(kDocumentSuffix);
  std::string problem;
  auto defaults =
      std::make_shared<const CDefaults>(LoadDefaults(WithSlash(GetPaths().defaultsDirectory) + name, problem));
  if (!problem.empty()) {
    LOG_ERROR("{}", problem);
    if (errorCB) errorCB(problem);
  }
  return defaults;
}

std::shared_ptr<IStore> OpenStore(const std::string& file, EAccess access, std::shared_ptr<const CDefaults> defaults)
{
  const std::string path = WithSlash(GetPaths().dataDirectory) + file;
  if (IsDocument(file)) return std::make_shared<CDocumentStore>(path, access, std::move(defaults));
  return std::make_shared<CDomainStore>(path + ".db", access, std::move(defaults));
}

// A folder can be watched for a file that nobody has made yet, but only if it is there itself.
void PrepareWatch(const IStore& store)
{
  const std::string directory = store.GetWatchedFiles().directory;
  if (const auto error = MakeDirectories(directory)) LOG_WARNING("Configuration folder {}: {}", directory, *error);
}

}  // namespace

SPaths PathsBelow(const std::string& root)
{
  const SPaths station;
  return {root + station.dataDirectory.substr(1), root + station.defaultsDirectory.substr(1)};
}

void SetPaths(SPaths paths)
{
  CLock lock(gMutex);
  gPaths = std::move(paths);
}

std::shared_ptr<IConfig> Create(const std::string& domain, CErrorCallback errorCallback, CChangeCallback changeCallback)
{
  CheckName(domain);
  const std::string file = FileOf(domain);
  CConfig::SOptions options;
  options.domain = domain;
  options.defaults = ReadDefaults(file, errorCallback);
  options.store = OpenStore(file, EAccess::EWrite, options.defaults);
  options.errorCB = std::move(errorCallback);
  options.changeCB = std::move(changeCallback);
  PrepareWatch(*options.store);
  return std::make_shared<CConfig>(std::move(options));
}

std::shared_ptr<IReadOnlyConfig> CreateReadOnly(const std::string& domain, CErrorCallback errorCallback, bool watch)
{
  CheckName(domain);
  const std::string file = FileOf(domain);
  CConfig::SOptions options;
  options.domain = domain;
  options.defaults = ReadDefaults(file, errorCallback);
  options.store = OpenStore(file, EAccess::ERead, options.defaults);
  options.errorCB = std::move(errorCallback);
  options.isWatched = watch;
  if (watch) {
    PrepareWatch(*options.store);
  } else {
    const auto source = options.store;
    options.store = std::make_shared<CSnapshotStore>(*source);
    for (const auto& problem : source->TakeProblems()) {
      if (options.errorCB) options.errorCB(problem);
    }
  }
  return std::make_shared<CConfig>(std::move(options));
}

}  // namespace IcConfig
