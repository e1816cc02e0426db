#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/clock/clock.h"

// Date-time text as OCPP carries it (RFC 3339 profile of ISO 8601), free of the 32-bit time_t.

// UTC in the format "%FT%TZ", whole seconds (truncated towards the past), as "2026-01-15T10:15:00Z".
std::string ToTimeText(IClock::SystemTime time);

// Reads "%FT%T", with optional fraction of a second, followed by "Z", "+hh:mm", "-hh:mm" or nothing (UTC). Digits
// beyond nanoseconds are cut off; second 60 is the first one of the next minute. Empty when the text is anything else.
// SystemTime reaches from 1677 to 2262: a date beyond, as the year 9999 for "never", becomes the end of that range.
std::optional<IClock::SystemTime> ParseTimeText(std::string_view text);
