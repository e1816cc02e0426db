#pragma once

#include "platform/clock/clock.h"
#include "platform/iipc/messages.h"

// System time of a timestamp. Times outside the years 1678 to 2261 become the nearest time that can be held.
IClock::SystemTime ToSystemClock(const ipc::MTimestamp& timestamp);
// Timestamp of a system time; its nanoseconds are never negative.
ipc::MTimestamp ToTimestamp(IClock::SystemTime time);
