#pragma once

#include <string>

// Puts a text into a file, whole or not at all: a file that is there keeps what it has until the new one is
// complete, and keeps its mode. False, with errno set, when it cannot be written.
bool save(const std::string& text, const std::string& path);
