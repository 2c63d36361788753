#pragma once

// Functions that split and join strings.

#include <string>
#include <vector>

std::string without_blanks(const std::string& text);

// The fields between separators. An empty last field is left out.
std::vector<std::string> split(const std::string& text, char separator);

// The words of a line, which whitespace separates.
std::vector<std::string> words_of(const std::string& line);

// The list with the item appended, after the separator unless the list is empty.
std::string join(const std::string& list, const std::string& item, const char* separator);

// The items as a phrase: "eth0", "eth0 and eth1", "eth0, eth1 and eth2".
std::string enumeration(const std::vector<std::string>& items);
