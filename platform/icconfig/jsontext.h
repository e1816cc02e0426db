#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

// JSON text as stored values carry it. Used by the stores of this folder and by the test double of IConfig.
namespace IcConfig {

// Deepest nesting of a stored value.
constexpr unsigned kMaxNesting = 128;

// Well-formed UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing above U+10FFFF. NUL is a character like
// others.
bool IsUtf8(std::string_view text);

// Reads exactly one JSON value of any type (RFC 8259): no comments, no duplicate members, no trailing text, UTF-8 only.
// Empty when the text is anything else; `error` then says what and where.
std::optional<Json::Value> ParseJsonText(std::string_view text, std::string* error = nullptr);

// The compact form: no white space, members ascending, so that equal values have equal texts. Empty when the value
// could not be read back: a text that is not UTF-8, a number that is not finite, nesting deeper than kMaxNesting.
std::optional<std::string> ToJsonText(const Json::Value& value);

// The same form, unchecked: for values that came from ParseJsonText.
std::string WriteJsonText(const Json::Value& value);

// A member of an object as text; empty for one that lacks or is no text, and for a value that is no object.
std::string GetTextMember(const Json::Value& object, const char* name);

}  // namespace IcConfig
