#pragma once

#include <optional>
#include <string>
#include <vector>

// Returns the characters of a UTF-8 string, decoded by the C library; nullopt if it is not valid UTF-8.
std::optional<std::u32string> decode_utf8(const std::string& text);

// Whether the text is valid UTF-8 without control characters except tabs.
bool is_clean(const std::string& text);

// Whether the text is clean and has neither line separators nor invisible or bidirectional characters.
bool is_safe_on_terminal(const std::string& text);

// Returns the lines of a text, without their line ends.
std::vector<std::string> lines_of(const std::string& text);

// Returns the text without color escape sequences.
std::string without_color(const std::string& text);
