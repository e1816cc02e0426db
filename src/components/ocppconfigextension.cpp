#include "src/components/ocppconfigextension.h"

#include <fstream>
#include <sstream>
#include <utility>

#include "platform/iclogger/log.h"

COcppConfigExtension::COcppConfigExtension(std::shared_ptr<const IcConfig::IReadOnlyConfig> fwUpdate,
                                           std::shared_ptr<const IcConfig::IReadOnlyConfig> hwInfo,
                                           std::string keyDirectory)
    : mFwUpdate(std::move(fwUpdate)), mHwInfo(std::move(hwInfo)), mKeyDirectory(std::move(keyDirectory))
{}

bool COcppConfigExtension::GetPublicKey(const std::string& keyName, std::string& output) const
{
  LOG_ENTRY("COcppConfigExtension");
  output.clear();
  if (!mHwInfo->GetBool("HwHasTpm", false) || !mHwInfo->GetBool("HwHasEichrechtLaserMarking", false)) return false;
  const std::string path = fmt::format(FMT_STRING("{}{}.pub.pem"), mKeyDirectory, keyName);
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    LOG_ERROR("Failed to open {}", path);
    return false;
  }
  std::ostringstream content;
  content << file.rdbuf();
  output = content.str();
  return true;
}

int64_t COcppConfigExtension::GetFwUpdateState() const { return mFwUpdate->GetInt("FwUpdateState", 0); }
