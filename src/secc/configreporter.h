#pragma once

#include <json/value.h>

#include <functional>
#include <string>

// Reports changes of configuration values as diagnostics signals: every key by one, security parameters by a second
// one, and credentials always masked.
class CConfigReporter {
 public:
  using CReport = std::function<void(const std::string& text)>;

  CConfigReporter(CReport reportSecurityParameter, CReport reportParameter);

  // Safe from any thread.
  void HandleChange(const std::string& key, const Json::Value& value) const;

 private:
  const CReport mReportSecurityParameter;
  const CReport mReportParameter;
};
