#pragma once

// Output for people: error messages, and text that may go to a terminal.

#include <cstddef>
#include <string>
#include <string_view>

// The exit status of a command that could not do what it was asked to do.
inline constexpr int kFailure = 2;

// Prints the message to standard error, its lines and tabs as they are, and the rest as printable() does.
void report(const std::string& message);

// The same. Returns kFailure.
int fail(const std::string& message);

// The message, as printable() returns it, followed by the meaning of errno: "network.json: Permission
// denied".
std::string with_errno(const std::string& message);

bool is_terminal(int descriptor);

// Whether a person can be asked: standard input and output are terminals.
bool is_interactive();

// How many columns the terminal has; 80 if it does not tell, and at least 40.
std::size_t terminal_columns(int descriptor);

// Whether output to a terminal is colored: unless NO_COLOR is set and not empty.
bool wants_color(bool is_terminal);

// The text in the color of an SGR code such as "1;31", if wanted. Unchanged without a code.
std::string styled(const std::string& text, const char* code, bool color);

// Every string that others wrote goes through this function before it is printed for people: names of files,
// keys and values of a configuration, and what other programs print. It replaces with question marks what a
// terminal would execute, hide or show in another order: control characters of ASCII (but those in `kept`)
// and of Unicode, characters that set the direction of text, that separate lines or that have no width, and
// bytes that are not UTF-8.
std::string printable(std::string_view text, std::string_view kept = "");

// A character of a text, which takes `size` bytes of it. A byte that is not part of a character in UTF-8
// counts as a NUL character.
struct Utf8Character {
  char32_t code;
  std::size_t size;
};

// The first character of a text that is not empty.
Utf8Character first_character(std::string_view text);

// How many columns a terminal uses for a character: 2 for a wide one, 0 for one that is combined with the
// character before it, below 0 for an unknown one. The user's locale does not matter.
int columns_of(char32_t code);

// "1 file", "2 files".
std::string counted(std::size_t number, const char* noun);
