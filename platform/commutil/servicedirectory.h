#pragma once

#include <chrono>
#include <map>
#include <string>

namespace Rpc {

// Where the services of the station are, as "etc/iipc.json" says:
//
//   { "deadlineMs": 2000,
//     "services": { "Meter": "unix:run/secc/Meter.sock", "Diagnostics": "127.0.0.1:50051" } }
//
// Both members are optional. An address is "unix:" with a path, relative to the root (the folder above that of the
// file) or absolute, or the loopback interface with a port. A service that is not listed is at
// "unix:run/secc/<service>.sock".
//
// A file that is missing, cannot be read or is wrong in part costs an error line for each fault, and the defaults stand
// in for what is wrong: the process comes up and finds its siblings at their default places.
class CServiceDirectory {
 public:
  explicit CServiceDirectory(const std::string& path);

  // Address in the form that gRPC takes, with an absolute path.
  std::string Address(const std::string& service) const;
  // Path of the socket of an address; empty when it is none.
  static std::string SocketPath(const std::string& address);
  // How long a call may take; 100 ms to 60 s, 2 s by default.
  std::chrono::milliseconds Deadline() const { return mDeadline; }

 private:
  void Load(const std::string& path);
  void AddService(const std::string& service, const std::string& address, const std::string& path);

  std::string mRoot;
  std::map<std::string, std::string> mAddresses;
  std::chrono::milliseconds mDeadline{2000};
};

}  // namespace Rpc
