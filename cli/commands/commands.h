#pragma once

// The commands of `lanfab`. Each command declares its options once, in its own file. The command line
// parser, the help, the options in the manual page and the shell completions come from these declarations.
// To add a command:
//
//   1. Write commands/NAME.cpp with a function NAME_command, and enter the file in cli/CMakeLists.txt.
//   2. Declare the function below, and add it to the table in commands.cpp.
//   3. Describe the command and its exit statuses in docs/man/lanfab.1.
//   4. Run scripts/generate-documents: it writes the options to the manual page, and the completions.

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

struct Number {
  std::int64_t* value;
  std::int64_t smallest;
  std::int64_t largest;
};
using Setter = std::function<void(const std::string&)>;

// The variable that an option sets: a flag has a bool, and an argument with a vector may be repeated.
using Target = std::variant<bool*, std::string*, std::vector<std::string>*, Number, Setter>;

// Completion of a value, in addition to the option's words.
enum class Completion { kNothing, kFile, kDirectory, kRule };

enum class Presence { kOptional, kRequired, kHidden };

// An option or, if its usage does not begin with a hyphen, a positional argument. The target's value is the
// default.
struct Option {
  std::string usage;  // "--format FORMAT", "-v", "FILE"
  std::string help;
  Target target;
  Completion completion = Completion::kNothing;
  std::vector<std::string> words = {};  // the only accepted values, unless there is a completion
  Presence presence = Presence::kOptional;
  std::string excludes = {};  // a conflicting option, declared before this one
};

struct Command {
  std::string name;
  std::string help;
  std::vector<Option> options;
  std::string footer;        // last lines of its help
  std::function<int()> run;  // called after the targets are set; returns the exit status
  bool is_hidden = false;    // run by other programs only; not in the help
};

Command check_command();
Command confirm_command();
Command diff_command();
Command explain_command();
Command graph_command();
Command history_command();
Command lsp_command();
Command preview_command();
Command record_command();
Command report_command();
Command revert_command();
Command schema_command();
Command status_command();
Command try_command();

// Options that several commands share.
Option file_option(std::string& file);
Option json_option(bool& json);
Option action_option(std::string& action);
Option cell_option(std::string& cell);
Option program_option(std::string& program);

// Runs the command given on the command line. Returns the exit status: 2 if the command line is invalid.
int run_command_line(int argc, char* argv[]);
