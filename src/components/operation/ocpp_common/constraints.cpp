#include "src/components/operation/ocpp_common/constraints.h"

#include <algorithm>
#include <cctype>
#include <regex>

namespace OcppConstraints {

namespace {

// Code points of UTF-8 text: every byte but the continuation bytes starts one.
int64_t CountCharacters(const std::string& text)
{
  return std::count_if(text.begin(), text.end(),
                       [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; });
}

}  // namespace

void Check(const std::string& memberName, const classMemberConstraints& constraints, const std::string& value)
{
  if (constraints.minLength || constraints.maxLength) {
    const int64_t length = CountCharacters(value);
    if (constraints.minLength && length < *constraints.minLength) {
      throw valueTooShortException("Value too short for " + memberName + " (" + std::to_string(length) + "<" +
                                   std::to_string(*constraints.minLength) + ")");
    }
    if (constraints.maxLength && length > *constraints.maxLength) {
      throw valueTooLongException("Value too long for " + memberName + " (" + std::to_string(length) + ">" +
                                  std::to_string(*constraints.maxLength) + ")");
    }
  }
  if (constraints.pattern && !constraints.pattern->empty() &&
      !std::regex_search(value, std::regex(*constraints.pattern, std::regex::ECMAScript))) {
    throw invalidPatternException("Value doesn't match pattern for " + memberName + " (" + value +
                                  " != " + *constraints.pattern + ")");
  }
}

std::string MemberName(std::string_view jsonName)
{
  std::string name(jsonName);
  if (!name.empty()) name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
  return name;
}

}  // namespace OcppConstraints
