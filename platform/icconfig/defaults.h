#pragma once

#include <string>

#include "platform/icconfig/store.h"

namespace IcConfig {

// Reads a packaged default document: one JSON object, whose members are the keys. A document that lacks is empty. So is
// one that cannot be read; `problem` then says why.
CDefaults LoadDefaults(const std::string& path, std::string& problem);

}  // namespace IcConfig
