#pragma once

#include <string>
#include <vector>

namespace Toolbox {

// All certificates of the regular files in `directories`, in PEM form one after another. Blocks that cannot be a
// certificate are left out and logged at warning level, because a TLS library drops a whole list for one bad entry.
std::string ReadTrustedCertificates(const std::vector<std::string>& directories);

}  // namespace Toolbox
