#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "src/components/operation/ocpp_common/constraints.h"

// How payload records and their enumerations are declared: once, as a list. Structure, reading, writing, the check of
// the limits and the comparison with the published schemas all follow from that list.
//
//   #define VALUES(VALUE)              // number inside this program, name, text on the wire
//     VALUE(0, EAccepted, "Accepted")
//     VALUE(1, ERejected, "Rejected")
//   OCPP_ENUMERATION(EResetStatus, VALUES)
//   #undef VALUES
//
//   #define MEMBERS(REQUIRED, OPTIONAL)  // type and name, in schema order
//     REQUIRED(Text<50>, key)            // at most 50 characters
//     REQUIRED(bool, readonly)
//     OPTIONAL(Text<500>, value)         // std::optional; left out when empty
//   OCPP_RECORD(configurationKey, MEMBERS)
//   #undef MEMBERS
//
// Member types are Text<...>, std::string (date-time texts are kept as they are), int64_t, double, bool, enumerations,
// records, and std::vector of these. A type that has its member's name is written with its namespace.
// The record's source adds OCPP_RECORD_CODEC or OCPP_MESSAGE (recordcodec.h).
namespace OcppRecord {

// As a member's type: a text of at most MaxLength characters.
template <int64_t MaxLength, int64_t MinLength = 0>
struct Text;

// The type that a member of the declared type has in the record.
template <typename TType, typename TName>
struct SMember {
  using Type = TType;
};
template <int64_t MaxLength, int64_t MinLength, typename TName>
struct SMember<Text<MaxLength, MinLength>, TName> {
  using Type = OcppConstraints::CConstrainedText<MaxLength, MinLength, TName>;
};
template <typename TType, typename TName>
struct SMember<std::vector<TType>, TName> {
  using Type = std::vector<typename SMember<TType, TName>::Type>;
};

template <typename TEnumeration>
struct SEnumerationText {
  TEnumeration value;
  const char* text;
};

// Thrown as it is, a pointer, for a number that is no value of its enumeration.
inline constexpr const char* kUnknownValue = "This should not happen";

template <typename TEnumeration, size_t Size>
const char* FindText(const SEnumerationText<TEnumeration> (&table)[Size], TEnumeration value)
{
  for (const auto& entry : table) {
    if (entry.value == value) return entry.text;
  }
  throw kUnknownValue;
}

}  // namespace OcppRecord

#define OCPP_ENUMERATION_VALUE(NUMBER, NAME, TEXT) NAME = NUMBER,
#define OCPP_ENUMERATION_ENTRY(NUMBER, NAME, TEXT) {TEnumeration::NAME, TEXT},

// The enumeration, EnumerationTable (its values and texts, in order), and ToText, which throws kUnknownValue.
#define OCPP_ENUMERATION(ENUMERATION, VALUES)                                                                 \
  enum class ENUMERATION : int { VALUES(OCPP_ENUMERATION_VALUE) };                                            \
  inline const auto& EnumerationTable(ENUMERATION /*type*/)                                                   \
  {                                                                                                           \
    using TEnumeration = ENUMERATION;                                                                         \
    static constexpr ::OcppRecord::SEnumerationText<TEnumeration> table[] = {VALUES(OCPP_ENUMERATION_ENTRY)}; \
    return table;                                                                                             \
  }                                                                                                           \
  inline const char* ToText(ENUMERATION value) { return ::OcppRecord::FindText(EnumerationTable(value), value); }

#define OCPP_MEMBER_TYPE(TYPE, NAME)            \
  struct NAME##Member {                         \
    static constexpr const char* kName = #NAME; \
  };                                            \
  using NAME##MemberType = ::OcppRecord::SMember<TYPE, NAME##Member>::Type;
#define OCPP_REQUIRED_MEMBER(TYPE, NAME) OCPP_MEMBER_TYPE(TYPE, NAME) NAME##MemberType NAME{};
#define OCPP_OPTIONAL_MEMBER(TYPE, NAME) OCPP_MEMBER_TYPE(TYPE, NAME) std::optional<NAME##MemberType> NAME;
#define OCPP_VISIT_MEMBER(TYPE, NAME) visitor(NAME##Member::kName, &TRecord::NAME);

// The record, VisitMembers, which calls visitor(JSON name, pointer to member) for each in order, and its JSON binding.
#define OCPP_RECORD(RECORD, MEMBERS)                                   \
  struct RECORD {                                                      \
    using TRecord = RECORD;                                            \
    MEMBERS(OCPP_REQUIRED_MEMBER, OCPP_OPTIONAL_MEMBER)                \
    template <typename TVisitor>                                       \
    static void VisitMembers([[maybe_unused]] const TVisitor& visitor) \
    {                                                                  \
      MEMBERS(OCPP_VISIT_MEMBER, OCPP_VISIT_MEMBER)                    \
    }                                                                  \
  };                                                                   \
  void to_json(nlohmann::json& json, const RECORD& record);            \
  void from_json(const nlohmann::json& json, RECORD& record);

namespace OcppRecord {

template <typename TType, typename = void>
struct SIsRecord : std::false_type {};
template <typename TType>
struct SIsRecord<TType, std::enable_if_t<std::is_same_v<typename TType::TRecord, TType>>> : std::true_type {};

template <typename TType>
struct SIsOptional : std::false_type {};
template <typename TType>
struct SIsOptional<std::optional<TType>> : std::true_type {};

template <typename TType>
struct SIsList : std::false_type {};
template <typename TType>
struct SIsList<std::vector<TType>> : std::true_type {};

template <typename TType>
struct SIsConstrainedText : std::false_type {};
template <int64_t Max, int64_t Min, typename TName>
struct SIsConstrainedText<OcppConstraints::CConstrainedText<Max, Min, TName>> : std::true_type {};

}  // namespace OcppRecord
