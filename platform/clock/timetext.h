#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/clock/clock.h"

// Date-time text as OCPP carries it (RFC 3339 profile of ISO 8601), free of the 32-bit time_t.

// UTC in the format "%FT%TZ", whole seconds (truncated towards the past), as "2026-01-15T10:15:00Z".
std::string ToTimeText(IClock::SystemTime time);

// Reads "%FT%T", with optional fraction of a second, followed by "Z", "+hh:mm", "-hh:mm" or nothing (UTC).
// Empty when the text is anything else.
std::optional<IClock::SystemTime> ParseTimeText(std::string_view text);
