#pragma once

#include <string>

#include "platform/iclogger/log.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/ocppconfigexception.h"

// The value of a boolean key. False, and a line in the log, for a key that the metadata lacks or describes wrongly: a
// decision on a driver that waits must not end half way.
inline bool ReadFlag(const IOcppConfigManager& config, const std::string& key)
{
  try {
    return config.ReadBool(key);
  } catch (const OcppConfigException& error) {
    LOG_ERROR("{}", error.what());
    return false;
  }
}
