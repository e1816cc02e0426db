#pragma once

#include <cstdint>
#include <string>

// Who authorized a session, in words; a number that is not listed is named as such.
std::string AuthorizationSourceToString(int32_t source);
