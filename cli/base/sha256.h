#pragma once

#include <string>

// The SHA-256 checksum of the text: 64 digits, in lower case.
std::string sha256(const std::string& text);
