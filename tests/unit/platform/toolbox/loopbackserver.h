#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "platform/clock/mutex.h"

// One accepted connection, seen from the server.
class CServerConnection {
 public:
  explicit CServerConnection(int handle) : mHandle(handle) {}

  // A line without its line end; empty when the peer has closed.
  std::string ReadLine();
  std::string ReadBytes(size_t count);
  std::string ReadToEnd();
  // False when the peer has gone.
  bool Write(const std::string& text);
  // Blocks until the peer closes or the server is destroyed.
  void WaitClosed() { ReadToEnd(); }

 private:
  bool Fill();

  const int mHandle;
  std::string mBuffer;
};

// A TCP server on a free port of the loopback interface; one thread per connection, which runs `handler`.
class CLoopbackServer {
 public:
  using CHandler = std::function<void(CServerConnection&)>;

  explicit CLoopbackServer(CHandler handler);
  ~CLoopbackServer();
  CLoopbackServer(const CLoopbackServer&) = delete;
  CLoopbackServer& operator=(const CLoopbackServer&) = delete;

  uint16_t GetPort() const { return mPort; }
  // "<scheme>://127.0.0.1:<port>"
  std::string GetUrl(const std::string& scheme) const;

 private:
  void Accept();

  const CHandler mHandler;
  int mListener;
  uint16_t mPort;
  CMutex mMutex;
  std::vector<int> mConnections GUARDED_BY(mMutex);
  std::vector<std::thread> mThreads GUARDED_BY(mMutex);
  std::thread mAcceptor;
};

struct SHttpRequest {
  std::string method;
  std::string path;
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;
};

// Reads one request with its body (by content length).
SHttpRequest ReadHttpRequest(CServerConnection& connection);
// A whole response with a content length and "Connection: close".
std::string MakeHttpResponse(const std::string& status, const std::string& body, const std::string& headers = "");
