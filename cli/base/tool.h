#pragma once

// Other programs, for what they print.

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

// Runs a program, which is looked for as find_in_path does, and waits for it. Returns nothing and fills
// `output` with what it printed, or why there is nothing: "ip: No such file or directory".
std::optional<std::string> ask(const std::vector<std::string>& command, std::string& output);

// The same for a program that prints one JSON value; nothing at all counts as null.
std::optional<std::string> ask_json(const std::vector<std::string>& command, Json::Value& answer);

// Reads one JSON value. False when the text is none.
bool parse_json(const std::string& text, Json::Value& value);
