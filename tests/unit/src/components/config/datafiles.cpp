#include "tests/unit/src/components/config/datafiles.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/unit/src/components/config/jsontext.h"

namespace {

const std::filesystem::path kRoot = SECC_SOURCE_ROOT;

}  // namespace

std::string ReadSourceFile(const std::string& path)
{
  std::ifstream file(kRoot / path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

Json::Value ReadConfigDocument(const std::string& name) { return ParseJson(ReadSourceFile("data/config/" + name)); }

std::map<std::string, std::string> ReadSources(const std::string& folder)
{
  std::map<std::string, std::string> sources;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(kRoot / folder)) {
    const std::string extension = entry.path().extension();
    if (extension != ".cpp" && extension != ".h") continue;
    const std::string path = std::filesystem::relative(entry.path(), kRoot);
    sources[path] = ReadSourceFile(path);
  }
  return sources;
}
