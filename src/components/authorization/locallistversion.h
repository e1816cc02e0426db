#pragma once

#include <cstdint>

// What GetLocalListVersion answers where there is no version (OCPP 1.6 section 5.10). A list never has one of these.
namespace LocalListVersion {

constexpr int64_t kNoList = 0;         // the list is empty
constexpr int64_t kNotSupported = -1;  // the station keeps no list

constexpr bool IsVersion(int64_t number) { return number != kNoList && number != kNotSupported; }

}  // namespace LocalListVersion
