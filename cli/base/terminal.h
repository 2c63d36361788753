#pragma once

// Output for people: error messages, and text that may go to a terminal.

#include <string>

// The exit status of a command that could not do what it was asked to do.
inline constexpr int kFailure = 2;

// Prints the message to standard error. Returns kFailure.
int fail(const std::string& message);

// The message followed by the meaning of errno: "network.json: Permission denied".
std::string with_errno(const std::string& message);

bool is_terminal(int descriptor);

// Whether a person can be asked: standard input and output are terminals.
bool is_interactive();

// Whether output to a terminal is colored: unless NO_COLOR is set and not empty.
bool wants_color(bool is_terminal);

// The text in the color of an SGR code such as "1;31", if wanted. Unchanged without a code.
std::string styled(const std::string& text, const char* code, bool color);

// Replaces control characters, which a terminal would execute or cannot show, with question marks; `kept` is
// not replaced.
std::string printable(std::string text, char kept = '\0');

// "1 file", "2 files".
std::string counted(std::size_t number, const char* noun);
