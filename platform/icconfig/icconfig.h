#pragma once

#include <json/value.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/clock/clock.h"

// Named configuration domains: keyed JSON values over packaged defaults, with change notification across processes.
//
// A domain is one SQLite file, `<root>data/config/<domain>.db` (while it is open with "-wal" and "-shm" beside it); a
// name that ends in ".json" is one JSON document, read whole and replaced whole. Beneath it lies the packaged default
// document, which is never written.
namespace IcConfig {

// Takes the text of what is wrong. Runs on the library's own thread or on the thread that made the call.
using CErrorCallback = std::function<void(const std::string& text)>;
// Takes the key and its new value (the default, or null, after a deletion). Runs on the library's own thread.
using CChangeCallback = std::function<void(const std::string& key, const Json::Value& value)>;

// A registered change callback; dropping it ends the registration. A run in flight has ended when the destructor
// returns, unless it is called from that very run.
class IRegistration {
 public:
  virtual ~IRegistration() = default;
};

class IReadOnlyConfig {
 public:
  virtual ~IReadOnlyConfig() = default;

  // Typed reads: the stored value, else the packaged default, else `defaultValue`. A value of the wrong type is
  // reported through the error callback and reads as `defaultValue`.
  virtual bool GetBool(const std::string& key, bool defaultValue) const = 0;
  virtual int64_t GetInt(const std::string& key, int64_t defaultValue) const = 0;
  virtual std::string GetString(const std::string& key, const std::string& defaultValue) const = 0;
  virtual Json::Value GetJson(const std::string& key, const Json::Value& defaultValue) const = 0;
  virtual bool HasKey(const std::string& key) const = 0;
  // Stored keys and those of the packaged default, each once, ascending.
  virtual std::vector<std::string> ListKeys() const = 0;
  // Bytes of all stored keys and values (not of the packaged default). Constant time.
  virtual uint64_t GetUsedBytes() const = 0;

  // Calls `callback` with each later change of `key`, made by any process, once each and within 200 ms.
  // `defaultValue` is the value reported when the key is deleted and has no packaged default.
  [[nodiscard]] virtual std::shared_ptr<IRegistration> RegisterChangeCallback(const std::string& key,
                                                                              const Json::Value& defaultValue,
                                                                              CChangeCallback callback) = 0;
};

class IConfig : public IReadOnlyConfig {
 public:
  // Durable writes: true means the value survives a power cut from here on. False (disk full, read-only folder) has
  // been logged and left the previous value in place. Writing the present value again notifies nobody.
  virtual bool SetBool(const std::string& key, bool value) = 0;
  virtual bool SetInt(const std::string& key, int64_t value) = 0;
  virtual bool SetString(const std::string& key, const std::string& value) = 0;
  virtual bool SetJson(const std::string& key, const Json::Value& value) = 0;
  // True when the key was stored and has gone.
  virtual bool DeleteKey(const std::string& key) = 0;
  // Removes `remove` and writes `write` in one step: after a power cut either all of it is there or none.
  virtual bool Apply(const std::vector<std::string>& remove,
                     const std::vector<std::pair<std::string, Json::Value>>& write) = 0;
};

// Where domains live. Set once, before the first Create; the defaults serve a station.
struct SPaths {
  std::string dataDirectory{"/data/config/"};                // stored domains; created when missing
  std::string defaultsDirectory{"/usr/share/secc/config/"};  // packaged default documents, `<domain>.json`
};
// The two directories below a filesystem root, which is joined without a separator.
SPaths PathsBelow(const std::string& root);
void SetPaths(SPaths paths);

// Opens a domain, whose name is a path below the data directory ("connector1/secc_persistentdata"); a name that leads
// out of it throws std::invalid_argument. Either callback may be empty. The change callback hears every key of the
// domain. Never throws for what is on disk: a damaged file is set aside under a new name and logged at error level, and
// the domain starts from its defaults; `errorCallback` hears of a file that can neither be read nor set aside.
std::shared_ptr<IConfig> Create(const std::string& domain, CErrorCallback errorCallback,
                                CChangeCallback changeCallback);
// As Create, without the right to write: a damaged file is left for its owner to set aside. With `watch` true changes
// made by other processes are followed; otherwise the domain is read once.
std::shared_ptr<IReadOnlyConfig> CreateReadOnly(const std::string& domain, CErrorCallback errorCallback, bool watch);

}  // namespace IcConfig
