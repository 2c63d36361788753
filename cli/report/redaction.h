#pragma once

// What a report must not hold: keys, passwords, tokens. They are hidden in several ways, of which each finds
// what the others do not: by the name before a value; wherever a value stands that has such a name elsewhere;
// as an argument after such an option; as the password of a URL; and by the form that a key of WireGuard has,
// unless it is known to be a public one.

#include <json/json.h>

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "cli/base/secrets.h"

// Whether a value of this name is a secret: "PrivateKey", "API_TOKEN", "wifi-password". More than
// is_secret_name() says: what other programs write has other names.
bool is_sensitive_name(std::string_view name);

class Redaction {
 public:
  // Takes note of the secrets in a configuration, in another text, and of a file that is a private key. All
  // of them have to be known before the first text is masked.
  void learn_configuration(const std::string& text);
  void learn_text(const std::string& text);
  void learn_private_key(const std::string& key);

  // The text with "(hidden key 1)" in place of every secret.
  std::string masked_configuration(const std::string& text);
  std::string masked(const std::string& text);

  // A line for each hidden private key of WireGuard with its public one, which others may know.
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
  std::set<std::string> secret_keys_;  // those of the form of a key
  std::set<std::string> public_keys_;
  std::map<std::string, std::string> private_keys_;  // with their public ones
};
