#include "platform/icconfig/defaults.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

#include "platform/icconfig/filetools.h"
#include "platform/icconfig/jsontext.h"

namespace IcConfig {

CDefaults LoadDefaults(const std::string& path, std::string& problem)
{
  CDefaults defaults;
  const CDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.IsOpen() && errno == ENOENT) return defaults;
  std::string text;
  std::string error;
  if (!file.IsOpen() || !ReadFileText(file.Get(), text)) {
    error = ErrorText(errno);
  } else if (const auto document = ParseJsonText(text, &error); document && document->isObject()) {
    for (const auto& key : document->getMemberNames()) defaults[key] = (*document)[key];
    return defaults;
  } else if (document) {
    error = "not a JSON object";
  }
  std::replace(error.begin(), error.end(), '\n', ' ');
  problem = fmt::format("Default document {} cannot be read: {}", path, error);
  return defaults;
}

}  // namespace IcConfig
