#pragma once

// Lines of text, taken apart and put together.

#include <string>
#include <vector>

std::string without_blanks(const std::string& text);

// The fields between separators; the last one only if it is not empty.
std::vector<std::string> split(const std::string& text, char separator);

// The words between blanks.
std::vector<std::string> words_of(const std::string& line);

// The list with one more item.
std::string join(const std::string& list, const std::string& item, const char* separator);

// "eth0", "eth0 and eth1", "eth0, eth1 and eth2".
std::string enumeration(const std::vector<std::string>& items);
