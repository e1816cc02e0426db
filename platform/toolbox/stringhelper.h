#pragma once

#include <cstddef>
#include <string>
#include <vector>

class CStringHelper {
 public:
  // `names` in order with `separator` between them, as many whole names as fit into `maxLength` characters. A first
  // name that is longer by itself is cut.
  static std::string TrimVectorString(const std::vector<std::string>& names, size_t maxLength,
                                      const std::string& separator);
};
