#pragma once

// The known word that a misspelt one was probably to be.

#include <optional>
#include <string>
#include <vector>

// The candidate that the fewest edits make of `word`, the first one among equals. An edit adds, removes or
// replaces a letter, or swaps two neighbors; the case of letters does not count. Nothing when every
// candidate takes more than two edits, or as many as half of the word's letters.
std::optional<std::string> nearest(const std::string& word, const std::vector<std::string>& candidates);

// "unknown rule \"leaze-by-name\": did you mean \"lease-by-name\"?"; where none is near, what lists all.
// Of names with hyphens, the only one that has all parts of `name` is near, too.
std::string unknown_name(const std::string& what, const std::string& name,
                         const std::vector<std::string>& known, const std::string& list);

// The candidate that a misspelt word certainly stands for: the nearest one, if no other is as near and the
// digits of both are the same ("eth2" is not "eth0"), unless the word has none.
std::optional<std::string> certainly_meant(const std::string& word,
                                           const std::vector<std::string>& candidates);
