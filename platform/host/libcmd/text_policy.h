#pragma once

// What no text of a configuration may hold, whatever it is for. Texts go into unit files, dnsmasq's
// configuration and shell lines as they stand: a line end would begin a directive of its own there, and a
// semicolon a command.

#include <json/json.h>

#include <string>
#include <vector>

struct RefusedText {
  const Json::Value* value;  // never null; for a key, the value that it names
  std::string path;          // "static_routes[2].gateway"
  std::string reason;
};

// The texts and keys of the configuration `root` that are refused, in the order of the file:
// - a text or key with a control character other than a tab, or that is not valid UTF-8;
// - a text that reaches a shell line or a script, with a character that is special to the shell.
std::vector<RefusedText> find_refused_texts(const Json::Value& root);
