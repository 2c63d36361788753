#pragma once

#include <optional>
#include <string>

// The public key of a WireGuard private key, both in base64. Nothing if the string is not a key.
std::optional<std::string> public_key_of(const std::string& private_key);
