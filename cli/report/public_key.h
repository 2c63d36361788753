#pragma once

#include <optional>
#include <string>

// The public key of a private key of WireGuard, both in base64. Nothing if the text is no key.
std::optional<std::string> public_key_of(const std::string& private_key);
