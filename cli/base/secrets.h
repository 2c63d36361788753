#pragma once

// Keys of WireGuard, which no command prints.

#include <map>
#include <string>
#include <string_view>

#include "cli/base/file.h"

// Whether a directive or a JSON member of this name holds a key: "PrivateKey", "preshared_key". Case, hyphens
// and underscores do not matter.
bool is_secret_name(std::string_view name);

// Replaces the characters of keys with asterisks in a text that was to be JSON: what follows the name of a
// member that holds a key. Each byte keeps its offset.
void blank_secrets(std::string& text);

// Replaces keys with numbers: the same key gets the same number in every text of one mask, so that a reader
// sees which keys differ.
class SecretMask {
 public:
  // The text with "(hidden key 1)" in place of the value of each directive or JSON member that holds a key. A
  // value ends with its line, and a backslash at the end of a line continues it, as in a systemd unit.
  std::string masked(const std::string& text);

  // Hides the keys in a file, of which the whole content may be one.
  void hide_in(File& file);

 private:
  std::string masked_key(const std::string& key);

  std::map<std::string, std::size_t> numbers_;
};
