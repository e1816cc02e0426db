#pragma once

#include <string>

// Makes `password`, hexadecimal digits, ready for BuildBasicAuthHeader: an odd number of digits gets a zero in front.
// False when there is anything else than digits in it; the empty password is fine. A password of more than 41 digits
// (OCPP 1.6 allows 20 bytes) passes with a warning. `name` goes into the log lines.
bool CheckBasicAuthPassword(std::string& password, const std::string& name);

// The credentials of HTTP's basic authentication (RFC 7617): `user`, a colon and the bytes of `password`, in base64.
// `password` has passed CheckBasicAuthPassword.
std::string BuildBasicAuthHeader(const std::string& user, const std::string& password, const std::string& name);
