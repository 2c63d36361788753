#pragma once

// Input validation: the characters that no string of a configuration may contain. Strings go verbatim into
// unit files, dnsmasq's configuration and shell lines, where a line end would begin another directive, and a
// semicolon another command.

#include <json/json.h>

#include <string>
#include <vector>

struct RefusedText {
  const Json::Value* value;  // never null; for a key, the value that it names
  std::string path;          // "static_routes[2].gateway"
  std::string reason;
};

// Returns the rejected strings and keys of the configuration `root`, in the order of the file:
// - a string or key with a control character other than a tab, or that is not valid UTF-8;
// - a string that reaches a shell line or a script, with a character that is special to the shell.
std::vector<RefusedText> find_refused_texts(const Json::Value& root);
