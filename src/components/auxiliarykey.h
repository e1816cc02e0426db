#pragma once

#include <string>

// The password, in hexadecimal digits, with which a station that was never given one of its own logs in at the maker's
// central system. It is assembled at run time, so that it does not stand in the program as text.
std::string BuildDefaultAuxiliaryKey();
