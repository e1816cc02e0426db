#pragma once

#include <string>
#include <string_view>

namespace Toolbox {

// True when `host` is an IP address or the system's resolver finds an address for it. May block for the resolver's
// time-out. A failure is written to the log at warning level, or with `isQuiet` at debug level: callers that try again
// and again keep the log readable so.
bool ResolveHost(const std::string& host, bool isQuiet);

// True for a host name as RFC 1123 section 2.1 has it (labels of 1 to 63 letters, digits and inner hyphens, 253
// characters in all, one dot at the end allowed) and for an IPv4 or IPv6 address. A name whose last label is a number
// is taken for an IPv4 address.
bool ValidateDomain(std::string_view domain);

}  // namespace Toolbox
