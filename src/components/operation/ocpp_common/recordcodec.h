#pragma once

#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "src/components/operation/ocpp_common/json.h"
#include "src/components/operation/ocpp_common/record.h"

// Reading and writing of records, derived from their declarations (record.h). Only the sources of records include this
// header: each codec is compiled once, there.
namespace OcppRecord {

[[noreturn]] inline void ThrowTypeError(const char* expected, const nlohmann::json& json)
{
  throw nlohmann::json::type_error::create(
      302, std::string("type must be ") + expected + ", but is " + json.type_name(), nullptr);
}

inline int64_t ReadInteger(const nlohmann::json& json)
{
  if (!json.is_number_integer()) ThrowTypeError("integer", json);
  if (json.is_number_unsigned() &&
      json.get_ref<const uint64_t&>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
    ThrowTypeError("integer of 64 bits", json);
  }
  return json.get<int64_t>();
}

template <typename TEnumeration>
TEnumeration ReadEnumeration(const nlohmann::json& json)
{
  const auto& text = json.get_ref<const std::string&>();
  for (const auto& entry : EnumerationTable(TEnumeration{})) {
    if (text == entry.text) return entry.value;
  }
  throw OcppJson::kNotConforming;
}

template <typename TType>
void ReadValue(const nlohmann::json& json, TType& value)
{
  if constexpr (SIsRecord<TType>::value) {
    from_json(json, value);
  } else if constexpr (std::is_enum_v<TType>) {
    value = ReadEnumeration<TType>(json);
  } else if constexpr (SIsList<TType>::value) {
    if (!json.is_array()) ThrowTypeError("array", json);
    value.clear();
    for (const auto& item : json) ReadValue(item, value.emplace_back());
  } else if constexpr (SIsConstrainedText<TType>::value) {
    value = TType(json.get_ref<const std::string&>());
  } else if constexpr (std::is_same_v<TType, int64_t>) {
    value = ReadInteger(json);
  } else {
    static_assert(std::is_same_v<TType, bool> || std::is_same_v<TType, double> || std::is_same_v<TType, std::string>);
    value = json.get<TType>();
  }
}

template <typename TType>
nlohmann::json WriteValue(const TType& value)
{
  if constexpr (std::is_enum_v<TType>) {
    return ToText(value);
  } else if constexpr (SIsList<TType>::value) {
    auto json = nlohmann::json::array();
    for (const auto& item : value) json.push_back(WriteValue(item));
    return json;
  } else if constexpr (SIsConstrainedText<TType>::value) {
    return value.Get();
  } else {
    return value;
  }
}

template <typename TType>
void ReadRecord(const nlohmann::json& json, TType& record)
{
  if (!json.is_object()) ThrowTypeError("object", json);
  TType::VisitMembers([&](const char* name, auto member) {
    auto& value = record.*member;
    if constexpr (SIsOptional<std::decay_t<decltype(value)>>::value) {
      value.reset();
      const auto found = json.find(name);
      if (found != json.end()) ReadValue(*found, value.emplace());
    } else {
      ReadValue(json.at(name), value);
    }
  });
}

template <typename TType>
void WriteRecord(nlohmann::json& json, const TType& record)
{
  json = nlohmann::json::object();
  TType::VisitMembers([&](const char* name, auto member) {
    const auto& value = record.*member;
    if constexpr (SIsOptional<std::decay_t<decltype(value)>>::value) {
      if (value) json[name] = WriteValue(*value);
    } else if constexpr (SIsConstrainedText<std::decay_t<decltype(value)>>::value) {
      if (value.IsAssigned()) json[name] = WriteValue(value);
    } else {
      json[name] = WriteValue(value);
    }
  });
}

}  // namespace OcppRecord

namespace OcppJson {

template <typename TRecord>
TRecord Read(const std::string& text)
{
  const auto json = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/true, /*ignore_comments=*/false);
  TRecord record{};
  from_json(json, record);
  return record;
}

template <typename TRecord>
std::string Write(const TRecord& record)
{
  nlohmann::json json;
  to_json(json, record);
  return json.dump(-1, ' ', /*ensure_ascii=*/false, nlohmann::json::error_handler_t::strict);
}

}  // namespace OcppJson

// In a record's source, outside of any namespace: the JSON binding of NAMESPACE::RECORD.
#define OCPP_RECORD_CODEC(NAMESPACE, RECORD)                                                                     \
  void NAMESPACE::to_json(nlohmann::json& json, const RECORD& record) { OcppRecord::WriteRecord(json, record); } \
  void NAMESPACE::from_json(const nlohmann::json& json, RECORD& record) { OcppRecord::ReadRecord(json, record); }

// The same for a record that is a document of its own: OcppJson::Read and OcppJson::Write serve it, too.
#define OCPP_MESSAGE(NAMESPACE, RECORD)                                                  \
  OCPP_RECORD_CODEC(NAMESPACE, RECORD)                                                   \
  template NAMESPACE::RECORD OcppJson::Read<NAMESPACE::RECORD>(const std::string& text); \
  template std::string OcppJson::Write<NAMESPACE::RECORD>(const NAMESPACE::RECORD& record);
