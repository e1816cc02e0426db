#pragma once

#include <optional>
#include <string>

namespace Toolbox {

struct SCredentials {
  std::string user;
  std::string password;
};

struct SLocation {
  std::string url;  // without the credentials
  std::optional<SCredentials> credentials;
};

// Takes user name and password out of a location, as the expression "^(.*\:\/\/)?((.*?):(.*?)@)?(.*)" matches it:
// groups 3 and 4 are user name and password, the URL keeps groups 1 and 5. Empty when the expression does not match,
// which means a line break in the location. Linear in the length, which a remote side chooses.
std::optional<SLocation> SplitCredentials(const std::string& location);

// The location as it may be shown: with "****" in place of a password.
std::string MaskCredentials(const std::string& location);

}  // namespace Toolbox
