#include "platform/toolbox/mdns.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <set>
#include <utility>

#include "platform/clock/realclock.h"
#include "platform/iclogger/log.h"
#include "platform/toolbox/mdnsrecords.h"

namespace Toolbox {
namespace {

constexpr std::chrono::seconds kResendAfter{1};  // RFC 6762 section 5.2
constexpr std::chrono::milliseconds kAbortCheck{100};
constexpr size_t kMaxMessage = 9000;  // section 17

std::set<unsigned> FindMulticastInterfaces()
{
  std::set<unsigned> indexes;
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return indexes;
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    constexpr unsigned kNeeded = IFF_UP | IFF_MULTICAST;
    const bool isUsable = (entry->ifa_flags & kNeeded) == kNeeded && (entry->ifa_flags & IFF_LOOPBACK) == 0;
    if (isUsable && entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET) {
      indexes.insert(if_nametoindex(entry->ifa_name));
    }
  }
  freeifaddrs(list);
  return indexes;
}

// One ephemeral UDP socket, which sends on one interface.
class CSocket {
 public:
  // Interface 0 leaves the choice to the routing table.
  explicit CSocket(unsigned interfaceIndex) : mHandle(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
  {
    if (mHandle < 0 || interfaceIndex == 0) return;
    ip_mreqn request{};
    request.imr_ifindex = static_cast<int>(interfaceIndex);
    constexpr int kTtl = 255;  // RFC 6762 section 11
    setsockopt(mHandle, IPPROTO_IP, IP_MULTICAST_IF, &request, sizeof(request));
    setsockopt(mHandle, IPPROTO_IP, IP_MULTICAST_TTL, &kTtl, sizeof(kTtl));
  }
  ~CSocket()
  {
    if (mHandle >= 0) close(mHandle);
  }
  CSocket(CSocket&& other) noexcept : mHandle(std::exchange(other.mHandle, -1)) {}
  CSocket(const CSocket&) = delete;
  CSocket& operator=(const CSocket&) = delete;
  CSocket& operator=(CSocket&&) = delete;

  int GetHandle() const { return mHandle; }

 private:
  int mHandle;
};

class CBrowse {
 public:
  CBrowse(std::string service, const SMdnsTransport& transport, unsigned interfaceIndex)
      : mService(std::move(service)), mRecords(mService), mTransport(transport)
  {
    mDestination.sin_family = AF_INET;
    mDestination.sin_port = htons(transport.port);
    if (inet_pton(AF_INET, transport.destination.c_str(), &mDestination.sin_addr) != 1) return;
    if (!IN_MULTICAST(ntohl(mDestination.sin_addr.s_addr))) {
      mSockets.emplace_back(0);
    } else if (interfaceIndex != 0) {
      mSockets.emplace_back(interfaceIndex);
    } else {
      for (const unsigned index : FindMulticastInterfaces()) mSockets.emplace_back(index);
    }
  }

  bool HasSockets() const { return !mSockets.empty(); }

  // Sends the browse and what is missing of the answers so far; false when it went out nowhere.
  bool SendAll()
  {
    bool isSent = Send({mService, EMdnsType::EPtr});
    for (const SMdnsQuestion& question : mRecords.GetOpenQuestions()) isSent = Send(question) || isSent;
    return isSent;
  }

  // Waits for `timeout` at most, until something has arrived, which is then taken in.
  void Receive(std::chrono::nanoseconds timeout)
  {
    std::vector<pollfd> handles;
    for (const CSocket& socket : mSockets) handles.push_back({socket.GetHandle(), POLLIN, 0});
    // Rounded up, so that the wait never ends just before its time and spins.
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(timeout).count();
    if (poll(handles.data(), handles.size(), static_cast<int>(milliseconds)) <= 0) return;
    for (const pollfd& handle : handles) {
      if (handle.revents != 0) Drain(handle.fd);
    }
    // A responder need not send along what it was not asked for.
    for (const SMdnsQuestion& question : mRecords.GetOpenQuestions()) {
      if (mAsked.insert(question).second) Send(question);
    }
  }

  std::vector<SMdnsDevice> GetDevices(const std::vector<std::string>& names) const
  {
    std::vector<SMdnsDevice> devices = mRecords.GetDevices();
    devices.erase(std::remove_if(devices.begin(), devices.end(),
                                 [&](const SMdnsDevice& device) { return !IsWanted(device, names); }),
                  devices.end());
    return devices;
  }

 private:
  bool Send(const SMdnsQuestion& question)
  {
    const std::vector<uint8_t> message = MakeMdnsQuery(question);
    if (message.empty()) return false;
    bool isSent = false;
    for (const CSocket& socket : mSockets) {
      const ssize_t size = sendto(socket.GetHandle(), message.data(), message.size(), 0,
                                  reinterpret_cast<const sockaddr*>(&mDestination), sizeof(mDestination));
      isSent = isSent || size == static_cast<ssize_t>(message.size());
    }
    return isSent;
  }

  void Drain(int handle)
  {
    std::array<uint8_t, kMaxMessage> message{};
    for (;;) {
      sockaddr_in source{};
      socklen_t sourceSize = sizeof(source);
      const ssize_t size =
          recvfrom(handle, message.data(), message.size(), 0, reinterpret_cast<sockaddr*>(&source), &sourceSize);
      if (size < 0) return;
      // RFC 6762 section 6: responses from any other port are to be ignored.
      if (ntohs(source.sin_port) == mTransport.port) mRecords.Add(message.data(), static_cast<size_t>(size));
    }
  }

  const std::string mService;
  CMdnsRecords mRecords;
  const SMdnsTransport& mTransport;
  sockaddr_in mDestination{};
  std::vector<CSocket> mSockets;
  std::set<SMdnsQuestion> mAsked;
};

}  // namespace

std::vector<SMdnsDevice> QueryMdnsDevicesFiltered(const std::string& service, const std::vector<std::string>& names,
                                                  unsigned sends, unsigned interfaceIndex, unsigned deadlineSeconds,
                                                  size_t maxDevices, const SMdnsTransport& transport)
{
  static const std::string kLocal = ".local";
  const bool hasLocal =
      service.size() > kLocal.size() && service.compare(service.size() - kLocal.size(), kLocal.size(), kLocal) == 0;
  CBrowse browse(hasLocal ? service : service + kLocal, transport, interfaceIndex);
  const CRealClock clock;
  const auto start = clock.SteadyNow();
  const auto deadline = start + std::chrono::seconds(deadlineSeconds);
  auto nextSend = start;
  bool isSent = false;
  std::vector<SMdnsDevice> devices;

  for (unsigned sent = 0; browse.HasSockets();) {
    const auto now = clock.SteadyNow();
    if (now >= deadline || (transport.isAborted && transport.isAborted())) break;
    if (sent < std::max(sends, 1U) && now >= nextSend) {
      isSent = browse.SendAll() || isSent;
      ++sent;
      nextSend = now + kResendAfter;
    }
    browse.Receive(std::min<std::chrono::nanoseconds>(deadline - now, kAbortCheck));
    devices = browse.GetDevices(names);
    if (maxDevices > 0 && devices.size() >= maxDevices) {
      devices.resize(maxDevices);
      break;
    }
  }
  if (!isSent) LOG_ERROR("mDNS query for {} could not be sent on any interface", service);
  return devices;
}

}  // namespace Toolbox
