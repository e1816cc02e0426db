#pragma once

#include <string>

// The step between a payload record and its JSON text.
//
// Both are instantiated once per message record, beside the record's own source (see recordcodec.h); here they are
// only declared, so that operations do not compile the JSON library.
namespace OcppJson {

// Parses `text` (no comments) and reads a TRecord from it. Members that the record does not know are skipped. Throws
//  - nlohmann::json::parse_error: not JSON
//  - nlohmann::json::out_of_range: a required member is missing
//  - nlohmann::json::type_error: a member has another type, null included; an integer member holds a fraction or a
//    number beyond 64 bits
//  - OcppConstraints::classMemberConstraintException: a text is too short, too long or does not match its pattern
//  - kNotConforming, a const char*: an enumeration holds none of its names
template <typename TRecord>
TRecord Read(const std::string& text);

// Compact JSON text: no blanks, non-ASCII as it is. Throws nlohmann::json::type_error on invalid UTF-8.
template <typename TRecord>
std::string Write(const TRecord& record);

// Thrown as it is, a pointer, for an enumeration text that is none of its names.
inline constexpr const char* kNotConforming = "Input JSON does not conform to schema";

}  // namespace OcppJson
