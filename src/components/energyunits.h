#pragma once

#include <cstdint>

// Registers of the siblings count milliwatt-hours, those of OCPP 1.6 watt-hours.
constexpr int64_t kMilliWhPerWh = 1000;
