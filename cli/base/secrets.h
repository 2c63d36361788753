#pragma once

// Finds and hides WireGuard keys, which no command prints.

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/file.h"

// Whether a directive or a JSON member of this name holds a key: "PrivateKey", "preshared_key". Ignores
// case, hyphens and underscores.
bool is_secret_name(std::string_view name);

// Replaces keys with asterisks in a string that may be invalid JSON: the values that follow the names of
// members that hold keys. Every byte keeps its offset.
void blank_secrets(std::string& text);

// Predicate for the names of secrets, such as is_secret_name().
using NamePredicate = bool (*)(std::string_view name);

struct SecretLocation {
  std::size_t begin;
  std::size_t end;
};

// Locations of the values of all directives and JSON members whose names `is_secret` accepts. A value ends
// at the end of its line, unless a backslash continues the line, as in a systemd unit.
std::vector<SecretLocation> find_secrets(std::string_view text, NamePredicate is_secret = is_secret_name);

// Replaces keys with numbers. The same key gets the same number in every string of one mask, so that a
// reader sees which keys differ.
class SecretMask {
 public:
  // The text with "(hidden key 1)" in place of each value that find_secrets() finds.
  std::string masked(const std::string& text, NamePredicate is_secret = is_secret_name);

  // "(hidden key 1)" for a key; a string of blanks is returned unchanged.
  std::string masked_key(const std::string& key);

  // Hides the keys in a file. The whole content of a private key file is a key.
  void hide_in(File& file);

 private:
  std::map<std::string, std::size_t> numbers_;
};
