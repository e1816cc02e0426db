#include "src/secc/configreporter.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "platform/iclogger/log.h"

namespace {

constexpr std::array<std::string_view, 13> kSecurityParameters{
    "SeccOcppUri",      "NtpServer1",           "NtpServer2",
    "AuthorizationKey", "FwUpdateAuthPassword", "SboOcppBasicAuthPassword",
    "WlanApPassword",   "WlanStaPassword",      "WlanStaPsk",
    "NetMSmsPassword",  "SeccOcppUri",          "WebIfManagementPassword",
    "LocalRestApiToken"};

// The shared secret of the one-time passwords is no security parameter of its own, but a credential all the same.
constexpr std::array<std::string_view, 10> kMasked{
    "AuthorizationKey", "FwUpdateAuthPassword", "SboOcppBasicAuthPassword", "WlanApPassword",    "WlanStaPassword",
    "WlanStaPsk",       "NetMSmsPassword",      "WebIfManagementPassword",  "LocalRestApiToken", "TOTPSharedSecret"};

template <typename TList>
bool Contains(const TList& list, const std::string& key)
{
  return std::find(list.begin(), list.end(), key) != list.end();
}

}  // namespace

CConfigReporter::CConfigReporter(CReport reportSecurityParameter, CReport reportParameter)
    : mReportSecurityParameter(std::move(reportSecurityParameter)), mReportParameter(std::move(reportParameter))
{}

void CConfigReporter::HandleChange(const std::string& key, const Json::Value& value) const
{
  const bool isMasked = Contains(kMasked, key);
  if (!value.isConvertibleTo(Json::stringValue)) {
    LOG_DEBUG("Skip logging. Key {} is changed with non string-convertible value {}", key,
              isMasked ? std::string("****") : value.toStyledString());
    return;
  }
  const std::string text = isMasked ? "****" : value.asString();
  if (Contains(kSecurityParameters, key)) {
    mReportSecurityParameter(fmt::format("Security parameter {} has been reconfigured to {}", key, text));
  }
  mReportParameter(fmt::format("Parameter {} has been reconfigured to {}", key, text));
}
