#pragma once

#include <string>

// A new OCPP-J message id: the text of a random UUID, 36 characters. No two calls give the same.
std::string NewMessageId();
