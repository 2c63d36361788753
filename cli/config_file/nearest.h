#pragma once

// Suggests the closest known word for a misspelled one.

#include <optional>
#include <string>
#include <vector>

// The candidate with the fewest edits from `word`; the first one if several have as few. An edit adds,
// removes or replaces a letter, or swaps two neighboring letters; case is ignored. Nothing if every
// candidate takes more than two edits, or at least half as many edits as the word has letters.
std::optional<std::string> nearest(const std::string& word, const std::vector<std::string>& candidates);

// Error message: "unknown rule \"leaze-by-name\": did you mean \"lease-by-name\"?". If no known name is
// near, it ends with `list`, which explains how to list the names. A known name is also near if it is the
// only one with all hyphen-separated parts of `name`.
std::string unknown_name(const std::string& what, const std::string& name,
                         const std::vector<std::string>& known, const std::string& list);

// The candidate that a misspelled word certainly means: the nearest one, if no other is as near and it has
// the same digits as the word ("eth2" is not "eth0"), unless the word has no digits. Otherwise nothing.
std::optional<std::string> certainly_meant(const std::string& word,
                                           const std::vector<std::string>& candidates);
