#pragma once

#include <cstdint>

// What a backoffice answered to the last BootNotification.
enum class EOcppStatus : uint8_t { ENone = 0, EAccepted = 1, EPending = 2, ERejected = 3 };

// How an authorization request is decided, as far as the primary backoffice is concerned.
enum class EAuthorizeMode : uint8_t { EOnline = 0, EOffline = 1, ERefuse = 2 };
