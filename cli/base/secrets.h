#pragma once

// Keys of WireGuard, which no command prints.

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "cli/base/file.h"

// Whether a directive or a JSON member of this name holds a key: "PrivateKey", "preshared_key". Case, hyphens
// and underscores do not matter.
bool is_secret_name(std::string_view name);

// Replaces the characters of keys with asterisks in a text that was to be JSON: what follows the name of a
// member that holds a key. Each byte keeps its offset.
void blank_secrets(std::string& text);

// Whether a name may be that of a secret: is_secret_name(), or another predicate.
using NameQuestion = bool (*)(std::string_view name);

struct SecretLocation {
  std::size_t begin;
  std::size_t end;
};

// The value of each directive or JSON member whose name is that of a secret. A value ends with its line, and
// a backslash at the end of a line continues it, as in a systemd unit.
std::vector<SecretLocation> find_secrets(std::string_view text, NameQuestion is_secret = is_secret_name);

// Replaces keys with numbers: the same key gets the same number in every text of one mask, so that a reader
// sees which keys differ.
class SecretMask {
 public:
  // The text with "(hidden key 1)" in place of each value that find_secrets() finds.
  std::string masked(const std::string& text, NameQuestion is_secret = is_secret_name);

  // "(hidden key 1)" for a key; what has only blanks stays.
  std::string masked_key(const std::string& key);

  // Hides the keys in a file, of which the whole content may be one.
  void hide_in(File& file);

 private:
  std::map<std::string, std::size_t> numbers_;
};
