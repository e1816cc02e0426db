#pragma once

#include <filesystem>
#include <string>

// A filesystem root of its own for one test: a short path (sockets need it), removed with everything in it.
class CTemporaryRoot {
 public:
  CTemporaryRoot();
  ~CTemporaryRoot();
  CTemporaryRoot(const CTemporaryRoot&) = delete;
  CTemporaryRoot& operator=(const CTemporaryRoot&) = delete;

  const std::filesystem::path& GetPath() const { return mPath; }
  // Path of etc/iipc.json, with `content` in it.
  std::string WriteConfiguration(const std::string& content) const;
  // Where a service is by default.
  std::string SocketPath(const std::string& service) const;

 private:
  std::filesystem::path mPath;
};
