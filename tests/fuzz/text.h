#pragma once

#include <optional>
#include <string>
#include <vector>

// Returns the characters of a text in UTF-8, decoded by the C library. Nothing if it is not UTF-8.
std::optional<std::u32string> decode_utf8(const std::string& text);

// Whether the text is UTF-8 without control characters except tabs.
bool is_clean(const std::string& text);

// Whether the text also has no invisible or bidirectional character.
bool is_safe_on_terminal(const std::string& text);

// Returns the lines of a text, without their line ends.
std::vector<std::string> lines_of(const std::string& text);

// Returns the text without color escape sequences.
std::string without_color(const std::string& text);
