#pragma once

// Output for people: error messages, and text that may go to a terminal.

#include <cstddef>
#include <string>
#include <string_view>

// Exit status for usage and runtime errors.
inline constexpr int kFailure = 2;

// Prints the message as a line to standard error. It goes through printable(), which keeps newlines and
// tabs.
void report(const std::string& message);

// Prints the message as report() does. Returns kFailure.
int fail(const std::string& message);

// The message, made printable(), followed by the description of errno: "network.json: Permission denied".
std::string with_errno(const std::string& message);

bool is_terminal(int descriptor);

// Whether a user can answer a prompt: standard input and output are terminals.
bool is_interactive();

// Width of the terminal in columns: at least 40, or 80 if it is unknown.
std::size_t terminal_columns(int descriptor);

// Whether to color output: only on a terminal, and not if NO_COLOR is set and not empty.
bool wants_color(bool is_terminal);

// The string in the style of an SGR code such as "1;31"; unchanged if `color` is false or the code is
// empty.
std::string styled(const std::string& text, const char* code, bool color);

// Replaces with question marks everything that a terminal would execute, hide or reorder: control
// characters of ASCII (except those in `kept`) and of Unicode, characters that set the direction of text,
// separate lines or have no width, and bytes that are not UTF-8. Every string from outside goes through
// this function before it is printed for people: file names, keys and values of a configuration, and output
// of other programs.
std::string printable(std::string_view text, std::string_view kept = "");

// A character of a string, and its size in bytes. A byte that is not part of a UTF-8 character is read as a
// NUL character.
struct Utf8Character {
  char32_t code;
  std::size_t size;
};

// The first character of a string that is not empty.
Utf8Character first_character(std::string_view text);

// Width of a character on a terminal, in columns: 2 for a wide one, 0 for one that is combined with the
// character before it, negative for an unknown one. Independent of the user's locale.
int columns_of(char32_t code);

// "1 file", "2 files".
std::string counted(std::size_t number, const char* noun);
