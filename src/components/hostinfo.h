#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/toolbox/mdns.h"
#include "src/components/ihostinfo.h"

class CHostInfo : public IHostInfo {
 public:
  // Toolbox::QueryMdnsDevicesFiltered.
  using CMdnsQuery = std::function<std::vector<Toolbox::SMdnsDevice>(
      const std::string& service, const std::vector<std::string>& names, unsigned sends, unsigned interfaceIndex,
      unsigned deadlineSeconds, size_t maxDevices, const Toolbox::SMdnsTransport& transport)>;

  CHostInfo(SHostSettings settings, CMdnsQuery query);

  std::string ResolveAddress(const std::function<bool()>& isAborted) override;
  bool IsLocalHostname() const override;
  void ClearResolvedAddress() override;
  std::string GetConnectionUrl() const override;
  std::string GetHostname() const override;
  std::string GetResolvedAddress() const override;
  SHostSettings GetSettings() const override;
  void SetPassword(const std::string& password) override;
  void SetChargePointId(const std::string& chargePointId) override;
  void SetHostname(const std::string& uri) override;
  void SetResolvedAddress(const std::string& address) override;

 private:
  void Compose() REQUIRES(mMutex);

  // Constant after construction.
  const CMdnsQuery mQuery;

  mutable CMutex mMutex;
  SHostSettings mSettings GUARDED_BY(mMutex);
  std::string mHostname GUARDED_BY(mMutex);
  std::string mResolvedAddress GUARDED_BY(mMutex);
  std::string mConnectionUrl GUARDED_BY(mMutex);
};
