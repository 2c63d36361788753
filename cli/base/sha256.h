#pragma once

#include <string>

// The SHA-256 checksum of the string: 64 hexadecimal digits in lower case.
std::string sha256(const std::string& text);
