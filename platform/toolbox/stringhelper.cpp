#include "platform/toolbox/stringhelper.h"

std::string CStringHelper::TrimVectorString(const std::vector<std::string>& names, size_t maxLength,
                                            const std::string& separator)
{
  if (names.empty()) return {};
  std::string text = names.front().substr(0, maxLength);
  for (size_t i = 1; i < names.size(); ++i) {
    if (text.size() + separator.size() + names[i].size() > maxLength) break;
    text += separator + names[i];
  }
  return text;
}
