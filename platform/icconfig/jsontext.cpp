#include "platform/icconfig/jsontext.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <memory>

namespace IcConfig {

namespace {

Json::CharReaderBuilder MakeReaderBuilder()
{
  Json::CharReaderBuilder builder;
  builder["allowComments"] = false;
  builder["allowTrailingCommas"] = false;
  builder["collectComments"] = false;
  builder["failIfExtra"] = true;
  builder["rejectDupKeys"] = true;
  // A value of the deepest nesting, its innermost scalar, and the document whose member it may be.
  builder["stackLimit"] = kMaxNesting + 2;
  return builder;
}

Json::StreamWriterBuilder MakeWriterBuilder()
{
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["commentStyle"] = "None";
  builder["emitUTF8"] = true;
  // Written as words that no reader takes, so that such a number is found by reading back.
  builder["useSpecialFloats"] = true;
  return builder;
}

bool IsNestedWithin(const Json::Value& value, unsigned levels)
{
  if (!value.isArray() && !value.isObject()) return true;
  if (levels == 0) return false;
  return std::all_of(value.begin(), value.end(),
                     [levels](const Json::Value& member) { return IsNestedWithin(member, levels - 1); });
}

// First code point of `text`, its length in bytes and the least value that needs this length; length 0 when malformed.
struct SLead {
  size_t length;
  uint32_t bits;
  uint32_t least;
};

SLead ReadLead(unsigned char byte)
{
  if (byte < 0x80) return {1, byte, 0};
  if ((byte & 0xE0) == 0xC0) return {2, byte & 0x1Fu, 0x80};
  if ((byte & 0xF0) == 0xE0) return {3, byte & 0x0Fu, 0x800};
  if ((byte & 0xF8) == 0xF0) return {4, byte & 0x07u, 0x10000};
  return {0, 0, 0};
}

}  // namespace

bool IsUtf8(std::string_view text)
{
  for (size_t position = 0; position < text.size();) {
    const SLead lead = ReadLead(static_cast<unsigned char>(text[position]));
    if (lead.length == 0 || lead.length > text.size() - position) return false;
    uint32_t codePoint = lead.bits;
    for (size_t index = 1; index < lead.length; ++index) {
      const auto byte = static_cast<unsigned char>(text[position + index]);
      if ((byte & 0xC0) != 0x80) return false;
      codePoint = (codePoint << 6) | (byte & 0x3Fu);
    }
    const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (codePoint < lead.least || codePoint > 0x10FFFF || isSurrogate) return false;
    position += lead.length;
  }
  return true;
}

std::optional<Json::Value> ParseJsonText(std::string_view text, std::string* error)
{
  static const Json::CharReaderBuilder builder = MakeReaderBuilder();
  std::string problem;
  Json::Value value;
  if (!IsUtf8(text)) {
    problem = "not UTF-8";
  } else if (text.find('\0') != std::string_view::npos) {
    problem = "NUL in the text";  // jsoncpp would take it for the end
  } else {
    try {
      const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
      if (reader->parse(text.data(), text.data() + text.size(), &value, &problem)) return value;
    } catch (const Json::Exception& exception) {
      problem = exception.what();
    }
  }
  if (error) *error = problem;
  return std::nullopt;
}

std::string WriteJsonText(const Json::Value& value)
{
  static const Json::StreamWriterBuilder builder = MakeWriterBuilder();
  return Json::writeString(builder, value);
}

std::string GetTextMember(const Json::Value& object, const char* name)
{
  return object.isObject() && object[name].isString() ? object[name].asString() : std::string();
}

std::optional<std::string> ToJsonText(const Json::Value& value)
{
  if (!IsNestedWithin(value, kMaxNesting)) return std::nullopt;
  std::string text = WriteJsonText(value);
  const auto copy = ParseJsonText(text);
  if (!copy || WriteJsonText(*copy) != text) return std::nullopt;
  return text;
}

}  // namespace IcConfig
