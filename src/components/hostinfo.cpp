#include "src/components/hostinfo.h"

#include <string_view>
#include <utility>

#include "platform/iclogger/log.h"

namespace {

constexpr std::string_view kLocalDomain = ".local";
constexpr const char* kService = "_ocpp._tcp";
// Two questions, on every interface, answered within five seconds, by one device.
constexpr unsigned kSends = 2;
constexpr unsigned kAnyInterface = 0;
constexpr unsigned kDeadlineSeconds = 5;
constexpr size_t kMaxDevices = 1;

// Where the host ends in a location without a scheme.
size_t HostLength(const std::string& uri)
{
  const size_t end = uri.find_first_of(":/");
  return end == std::string::npos ? uri.size() : end;
}

bool IsLocal(const std::string& hostname)
{
  return hostname.size() >= kLocalDomain.size() &&
         hostname.compare(hostname.size() - kLocalDomain.size(), kLocalDomain.size(), kLocalDomain) == 0;
}

}  // namespace

CHostInfo::CHostInfo(SHostSettings settings, CMdnsQuery query)
    : mQuery(std::move(query)),
      mSettings(std::move(settings)),
      mHostname(mSettings.uri.substr(0, HostLength(mSettings.uri)))
{
  CLock lock(mMutex);
  Compose();
}

std::string CHostInfo::ResolveAddress(const std::function<bool()>& isAborted)
{
  LOG_ENTRY("CHostInfo");
  const std::string hostname = GetHostname();
  std::string name = hostname;
  const size_t local = name.find(kLocalDomain);
  if (local != std::string::npos) name.erase(local, kLocalDomain.size());

  LOG_INFO("Performing mDnsQuery on hostname {}...", name);
  Toolbox::SMdnsTransport transport;
  transport.isAborted = isAborted;
  const auto devices = mQuery(kService, {name}, kSends, kAnyInterface, kDeadlineSeconds, kMaxDevices, transport);
  if (devices.empty()) {
    LOG_ERROR("No local hostname with {} found via mDNS", name);
    return {};
  }
  std::string address = devices.front().address;
  LOG_INFO("Local hostname found via mDNS with ip address: {}", address);
  CLock lock(mMutex);
  // The location may have been changed while the network was asked.
  if (mHostname != hostname) return {};
  mResolvedAddress = address;
  Compose();
  return address;
}

bool CHostInfo::IsLocalHostname() const
{
  CLock lock(mMutex);
  return IsLocal(mHostname);
}

void CHostInfo::ClearResolvedAddress()
{
  LOG_ENTRY("CHostInfo");
  CLock lock(mMutex);
  mResolvedAddress.clear();
}

std::string CHostInfo::GetConnectionUrl() const
{
  CLock lock(mMutex);
  return mConnectionUrl;
}

std::string CHostInfo::GetHostname() const
{
  CLock lock(mMutex);
  return mHostname;
}

std::string CHostInfo::GetResolvedAddress() const
{
  CLock lock(mMutex);
  return mResolvedAddress;
}

SHostSettings CHostInfo::GetSettings() const
{
  CLock lock(mMutex);
  return mSettings;
}

void CHostInfo::SetPassword(const std::string& password)
{
  LOG_ENTRY("CHostInfo");
  CLock lock(mMutex);
  mSettings.basicAuthPassword = password;
}

void CHostInfo::SetChargePointId(const std::string& chargePointId)
{
  LOG_ENTRY("CHostInfo");
  CLock lock(mMutex);
  mSettings.chargePointId = chargePointId;
  Compose();
}

void CHostInfo::SetHostname(const std::string& uri)
{
  LOG_ENTRY("CHostInfo");
  CLock lock(mMutex);
  const std::string hostname = uri.substr(0, HostLength(uri));
  if (hostname != mHostname) mResolvedAddress.clear();
  mSettings.uri = uri;
  mHostname = hostname;
  Compose();
}

void CHostInfo::SetResolvedAddress(const std::string& address)
{
  LOG_ENTRY("CHostInfo");
  CLock lock(mMutex);
  mResolvedAddress = address;
  Compose();
}

void CHostInfo::Compose()
{
  const std::string suffix = mSettings.uri.substr(HostLength(mSettings.uri));
  const std::string& host = mResolvedAddress.empty() ? mHostname : mResolvedAddress;
  mConnectionUrl = "wss://" + host + suffix + "/" + mSettings.chargePointId;
}
