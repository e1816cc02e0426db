#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

// Every message record of the station as one row, for tests and fuzz targets that walk all of them.

enum class EOcppVersion { E16, E201 };

struct SPayload {
  EOcppVersion version;
  std::string name;  // as the published schemas call it: "BootNotification.req", "BootNotification.conf"
  // Reads the record from JSON text and writes it again; throws what OcppJson::Read and Write throw.
  std::string (*reread)(const std::string& text);
  // The JSON schema that follows from the record's declaration: type, properties, required, items, enum (both lists
  // sorted), maxLength and minLength.
  nlohmann::json (*describe)();
};

const std::vector<SPayload>& Payloads();

// Reads `text` as the message `name` and writes it again.
std::string ReadPayload(const std::string& name, const std::string& text);

// Feeds foreign bytes to every reader: whatever they are, each reads them or throws one of the exceptions that the
// callers of OcppJson::Read catch, and what it read is written in a form that reads the same. False when one does not.
bool CheckForeignPayload(std::string_view bytes);
