#pragma once

#include <json/reader.h>

#include <memory>
#include <stdexcept>
#include <string>

// The value that `text` is; raises std::runtime_error when it is none.
inline Json::Value ParseJson(const std::string& text)
{
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value value;
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) throw std::runtime_error(errors);
  return value;
}
