#pragma once

#include <cstdint>
#include <functional>
#include <string>

// Where one backoffice is, and how to log in there.
struct SHostSettings {
  std::string chargePointId;      // user name of the basic authentication and last element of the URL's path
  std::string basicAuthPassword;  // hexadecimal digits, two for each byte
  std::string uri;                // host[:port][/path], without a scheme
  int64_t pongTimeout = 20;       // seconds; 0: a missing pong is not noticed
  int64_t pingInterval = 30;      // seconds; 0: no pings
};

// Where one backoffice is: composes the URL of the connection and resolves names of the local network. Safe from any
// thread.
class IHostInfo {
 public:
  virtual ~IHostInfo() = default;

  // Asks the local network for the address of the configured host by multicast DNS (RFC 6762), keeps it and returns it;
  // empty when nobody answered. Blocks for some seconds; it ends early, with the empty answer, once `isAborted` (may be
  // empty) gives true.
  virtual std::string ResolveAddress(const std::function<bool()>& isAborted) = 0;
  // True when the name of the host ends in ".local".
  virtual bool IsLocalHostname() const = 0;
  // The URL keeps the address that it was composed with.
  virtual void ClearResolvedAddress() = 0;
  virtual std::string GetConnectionUrl() const = 0;
  // The configured name, never the resolved address.
  virtual std::string GetHostname() const = 0;
  virtual std::string GetResolvedAddress() const = 0;
  virtual SHostSettings GetSettings() const = 0;
  virtual void SetPassword(const std::string& password) = 0;
  virtual void SetChargePointId(const std::string& chargePointId) = 0;
  // Takes a whole new location in the form of SHostSettings::uri. An address resolved for another host is forgotten.
  virtual void SetHostname(const std::string& uri) = 0;
  virtual void SetResolvedAddress(const std::string& address) = 0;
};
