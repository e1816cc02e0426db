#pragma once

#include <string>
#include <string_view>

// A frame as a log may show it: the values of configuration keys that are secrets and the passwords in locations are
// replaced by "****".
std::string MaskFrame(std::string_view frame);
