#include "tests/unit/platform/commutil/temporaryroot.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

CTemporaryRoot::CTemporaryRoot()
{
  std::string name = (std::filesystem::temp_directory_path() / "secc-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
  mPath = name;
}

CTemporaryRoot::~CTemporaryRoot()
{
  std::error_code ignored;
  std::filesystem::remove_all(mPath, ignored);
}

std::string CTemporaryRoot::WriteConfiguration(const std::string& content) const
{
  const std::filesystem::path path = mPath / "etc" / "iipc.json";
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path) << content;
  return path.string();
}

std::string CTemporaryRoot::SocketPath(const std::string& service) const
{
  return (mPath / "run" / "secc" / (service + ".sock")).string();
}
