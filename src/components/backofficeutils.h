#pragma once

#include <string>

#include "src/components/backofficeid.h"

// The form of a configuration key that exists once for each backoffice: the key itself for the primary, prefixed with
// "Sbo" for any other. A key outside that set is logged and comes back unchanged.
std::string GetMutualKey(const std::string& key, EBackofficeId id);
