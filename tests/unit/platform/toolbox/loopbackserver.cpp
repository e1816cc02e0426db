#include "tests/unit/platform/toolbox/loopbackserver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

bool CServerConnection::Fill()
{
  std::array<char, 4096> block{};
  const ssize_t size = recv(mHandle, block.data(), block.size(), 0);
  if (size <= 0) return false;
  mBuffer.append(block.data(), static_cast<size_t>(size));
  return true;
}

std::string CServerConnection::ReadLine()
{
  size_t end = mBuffer.find("\r\n");
  while (end == std::string::npos) {
    if (!Fill()) return {};
    end = mBuffer.find("\r\n");
  }
  std::string line = mBuffer.substr(0, end);
  mBuffer.erase(0, end + 2);
  return line;
}

std::string CServerConnection::ReadBytes(size_t count)
{
  while (mBuffer.size() < count && Fill()) {
  }
  std::string bytes = mBuffer.substr(0, count);
  mBuffer.erase(0, bytes.size());
  return bytes;
}

std::string CServerConnection::ReadToEnd()
{
  while (Fill()) {
  }
  return std::exchange(mBuffer, {});
}

bool CServerConnection::Write(const std::string& text)
{
  for (size_t sent = 0; sent < text.size();) {
    const ssize_t size = send(mHandle, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (size <= 0) return false;
    sent += static_cast<size_t>(size);
  }
  return true;
}

CLoopbackServer::CLoopbackServer(CHandler handler)
    : mHandler(std::move(handler)), mListener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), mPort(0)
{
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  bind(mListener, reinterpret_cast<const sockaddr*>(&address), size);
  listen(mListener, SOMAXCONN);
  getsockname(mListener, reinterpret_cast<sockaddr*>(&address), &size);
  mPort = ntohs(address.sin_port);
  mAcceptor = std::thread([this] { Accept(); });
}

CLoopbackServer::~CLoopbackServer()
{
  shutdown(mListener, SHUT_RDWR);
  mAcceptor.join();
  std::vector<std::thread> threads;
  {
    CLock lock(mMutex);
    for (const int connection : mConnections) shutdown(connection, SHUT_RDWR);
    threads.swap(mThreads);
  }
  for (std::thread& thread : threads) thread.join();
  close(mListener);
}

std::string CLoopbackServer::GetUrl(const std::string& scheme) const
{
  return scheme + "://127.0.0.1:" + std::to_string(mPort);
}

void CLoopbackServer::Accept()
{
  for (;;) {
    const int handle = accept4(mListener, nullptr, nullptr, SOCK_CLOEXEC);
    if (handle < 0) return;
    CLock lock(mMutex);
    mConnections.push_back(handle);
    mThreads.emplace_back([this, handle] {
      CServerConnection connection(handle);
      mHandler(connection);
      CLock closing(mMutex);
      mConnections.erase(std::find(mConnections.begin(), mConnections.end(), handle));
      close(handle);
    });
  }
}

SHttpRequest ReadHttpRequest(CServerConnection& connection)
{
  SHttpRequest request;
  const std::string start = connection.ReadLine();
  request.method = start.substr(0, start.find(' '));
  const size_t pathBegin = std::min(start.size(), request.method.size() + 1);
  request.path = start.substr(pathBegin, start.find(' ', pathBegin) - pathBegin);
  for (std::string line = connection.ReadLine(); !line.empty(); line = connection.ReadLine()) {
    const size_t colon = line.find(':');
    std::string name = line.substr(0, colon);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    request.headers[name] = line.substr(std::min(line.size(), colon + 2));
  }
  if (request.headers.count("expect") > 0) connection.Write("HTTP/1.1 100 Continue\r\n\r\n");
  const auto length = request.headers.find("content-length");
  if (length != request.headers.end()) request.body = connection.ReadBytes(std::stoul(length->second));
  return request;
}

std::string MakeHttpResponse(const std::string& status, const std::string& body, const std::string& headers)
{
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n" +
         headers + "\r\n" + body;
}
