#pragma once

// Hides keys, passwords and tokens in a report. Finds them in several ways, since each finds secrets that
// the others miss: by the name before a value; by a value that has such a name elsewhere; as the argument
// of an option with such a name; as the password in a URL; and by the form of a WireGuard key, unless it is
// known to be a public key.

#include <json/json.h>

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "cli/base/secrets.h"

// Whether a value of this name is a secret: "PrivateKey", "API_TOKEN", "wifi-password". Accepts more names
// than is_secret_name(), since other programs use other names.
bool is_sensitive_name(std::string_view name);

class Redaction {
 public:
  // Learn the secrets in a configuration and in any other text, and a private key from its file. All
  // secrets must be known before the first text is masked.
  void learn_configuration(const std::string& text);
  void learn_text(const std::string& text);
  void learn_private_key(const std::string& key);

  // The text with "(hidden key 1)" in place of every secret.
  std::string masked_configuration(const std::string& text);
  std::string masked(const std::string& text);

  // A line for each hidden WireGuard private key, with its public key, which is not secret.
  std::string public_keys();

 private:
  void learn_value(const Json::Value& value, bool is_secret, bool is_public);
  void learn_secret(const std::string& secret);
  std::string without_leftovers(const std::string& text);
  std::string without_values(const std::string& text);
  std::string without_key_forms(const std::string& text);
  std::string without_words(const std::string& text);
  bool is_public(const std::string& key) const;

  SecretMask mask_;
  std::set<std::string> secrets_;
  std::set<std::string> secret_keys_;  // secrets in the form of a WireGuard key
  std::set<std::string> public_keys_;
  std::map<std::string, std::string> private_keys_;  // with their public keys
};
