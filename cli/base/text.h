#pragma once

#include <string>
#include <string_view>
#include <vector>

bool begins_with(std::string_view text, std::string_view beginning);
bool ends_with(std::string_view text, std::string_view end);

// The string without these characters at its beginning and end.
std::string trimmed(const std::string& text, const char* blanks = " \t");

// The words, separated by spaces.
std::string joined(const std::vector<std::string>& words);
