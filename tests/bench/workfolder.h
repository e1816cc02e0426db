#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "platform/icconfig/icconfig.h"

// A temporary folder in which the configuration domains of a benchmark lie, from its construction to its end.
class CFolder {
 public:
  CFolder()
  {
    std::string name = (std::filesystem::temp_directory_path() / "secc-bench-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
    mPath = name + "/";
    IcConfig::SetPaths({mPath, mPath + "defaults/"});
  }
  ~CFolder() { std::filesystem::remove_all(mPath); }
  CFolder(const CFolder&) = delete;
  CFolder& operator=(const CFolder&) = delete;
  // Ends with a slash.
  const std::string& GetPath() const { return mPath; }

 private:
  std::string mPath;
};
