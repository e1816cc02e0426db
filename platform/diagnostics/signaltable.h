#pragma once

#include <cstdint>

// Every diagnostics signal of the station, shared by all of its processes, as data.

enum class ESignalType : uint8_t {
  EBool,
  EInt,       // 32 bits
  EUnsigned,  // 32 bits
  ELong,      // 64 bits
  EFloat,
  EText,
  EIntList,
  EUnsignedList,
  EFloatList,
  ETextList,
};

struct SSignalInfo {
  int32_t identifier;  // ipc::ESignalIdentifier
  ESignalType type;
  const char* description;  // the signal's name towards people
  const char* unit;         // empty: none
  int signalClass;          // the station's grouping of signals: 0, 1 or 2
};

// Stands for the whole table, for range loops: for (const SSignalInfo& info : SSignalTable()).
struct SSignalTable {};
const SSignalInfo* begin(SSignalTable table);
const SSignalInfo* end(SSignalTable table);

// Throws std::out_of_range for an identifier that is not in the table.
const SSignalInfo& GetSignalInfo(int32_t identifier);
