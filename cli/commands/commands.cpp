#include "cli/commands/commands.h"

#include <json/json.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <optional>

#include "cli/base/terminal.h"
#include "cli/config_file/nearest.h"

Option file_option(std::string& file) {
  return {"FILE", "the configuration; - is standard input", &file, Completion::kFile};
}

Option json_option(bool& json) {
  return {"--format FORMAT",
          "text or json",
          [&json](const std::string& format) { json = format == "json"; },
          Completion::kNothing,
          {"text", "json"}};
}

Option action_option(std::string& action) {
  return {"--action ACTION",
          "apply, wwan_apply or dnsmasq",
          &action,
          Completion::kNothing,
          {"apply", "wwan_apply", "dnsmasq"}};
}

Option cell_option(std::string& cell) {
  return {"--cell STATE",
          "the cellular link: up (example values), down, here (this machine's), or a\n"
          "directory with files wwan_*; default: here on a gateway, up elsewhere",
          &cell,
          Completion::kDirectory,
          {"up", "down", "here"}};
}

Option program_option(std::string& program) {
  return {"--program PROGRAM", "the cmd_lanfab to run; default: the installed one", &program,
          Completion::kFile};
}

static std::vector<Command> all_commands() {
  return {check_command(),  explain_command(), graph_command(),  preview_command(), diff_command(),
          schema_command(), lsp_command(),     try_command(),    confirm_command(), revert_command(),
          status_command(), history_command(), report_command(), record_command()};
}

// The option's name: its usage without the name of the value.
static std::string name_of(const Option& option) {
  return option.usage.substr(0, option.usage.find(' '));
}

namespace {

// Adds an option with its target to a command line.
struct Adder {
  CLI::App& app;
  std::string name;
  std::string help;

  CLI::Option* operator()(bool* target) const {
    return app.add_flag(name, *target, help);
  }
  CLI::Option* operator()(const Setter& target) const {
    return app.add_option_function(name, target, help);
  }
  CLI::Option* operator()(const Number& target) const {
    return app.add_option(name, *target.value, help)
        ->check(CLI::Range(target.smallest, target.largest))
        ->capture_default_str();
  }
  template <typename Value>
  CLI::Option* operator()(Value* target) const {
    CLI::Option* added = app.add_option(name, *target, help);
    return target->empty() ? added : added->capture_default_str();
  }
};

}  // namespace

static void add_option(CLI::App& app, const Option& option) {
  CLI::Option* added = std::visit(Adder{app, name_of(option), option.help}, option.target);
  if (option.completion == Completion::kNothing && !option.words.empty())
    added->check(CLI::IsMember(option.words));
  // Takes one value each time it is given: the next argument may be a positional one.
  if (option.usage[0] == '-' && std::holds_alternative<std::vector<std::string>*>(option.target))
    added->allow_extra_args(false)->default_str("");
  if (option.presence == Presence::kRequired) added->required();
  if (option.presence == Presence::kHidden) added->group("");
  if (!option.excludes.empty()) added->excludes(app.get_option(option.excludes));
}

static void add_command(CLI::App& app, const Command& command) {
  CLI::App* sub = app.add_subcommand(command.name, command.help);
  for (const Option& option : command.options)
    add_option(*sub, option);
  sub->footer(command.footer);
  if (command.is_hidden) sub->group("");
}

static Json::Value description_of(const Option& option) {
  constexpr const char* kCompletions[] = {"nothing", "file", "directory", "rule"};
  Json::Value value(Json::objectValue);
  value["usage"] = option.usage;
  value["help"] = option.help;
  value["completion"] = kCompletions[static_cast<int>(option.completion)];
  value["words"] = Json::arrayValue;
  for (const std::string& word : option.words)
    value["words"].append(word);
  value["required"] = option.presence == Presence::kRequired;
  value["repeated"] = std::holds_alternative<std::vector<std::string>*>(option.target);
  value["excludes"] = option.excludes;
  if (const auto* range = std::get_if<Number>(&option.target)) {
    value["default"] = std::to_string(*range->value);
    value["range"].append(range->smallest);
    value["range"].append(range->largest);
  } else if (const auto* text = std::get_if<std::string*>(&option.target)) {
    value["default"] = **text;
  }
  return value;
}

static Json::Value description_of(const Command& command) {
  Json::Value value(Json::objectValue);
  value["name"] = command.name;
  value["help"] = command.help;
  value["options"] = Json::arrayValue;
  for (const Option& option : command.options)
    if (option.presence != Presence::kHidden) value["options"].append(description_of(option));
  return value;
}

// Prints all commands with their options as JSON.
static int describe(const CLI::App& app, const std::vector<Command>& commands) {
  Json::Value root(Json::objectValue);
  for (const CLI::Option* option : app.get_options()) {
    Json::Value value(Json::objectValue);
    value["usage"] = option->get_name(false, true);
    value["help"] = option->get_description();
    root["options"].append(value);
  }
  for (const Command& command : commands)
    if (!command.is_hidden) root["commands"].append(description_of(command));
  std::printf("%s\n", Json::writeString(Json::StreamWriterBuilder(), root).c_str());
  return 0;
}

// The message of a command line error. It may quote arguments: control characters are replaced, so that it
// is one line.
static std::string failure_message(const CLI::App* app, const CLI::Error& error) {
  return CLI::FailureMessage::simple(
      app, CLI::Error(error.get_name(), printable(error.what()), error.get_exit_code()));
}

// Error message if the first argument is an unknown command; otherwise nothing.
static std::optional<std::string> find_unknown_command(int argc, char* argv[],
                                                       const std::vector<Command>& commands) {
  if (argc < 2 || argv[1][0] == '-' || argv[1] == std::string("describe")) return std::nullopt;
  std::vector<std::string> names;
  names.reserve(commands.size());
  for (const Command& command : commands)
    if (!command.is_hidden) names.push_back(command.name);
  const auto is_meant = [argv](const Command& command) { return command.name == argv[1]; };
  if (std::any_of(commands.begin(), commands.end(), is_meant)) return std::nullopt;
  return unknown_name("command", argv[1], names, "run 'lanfab --help' for a list");
}

int run_command_line(int argc, char* argv[]) {
  CLI::App app("Check, preview, and safely apply network configurations for cmd_lanfab.", "lanfab");
  app.set_version_flag("--version", "lanfab " LANFAB_VERSION);
  app.require_subcommand(1);
  app.failure_message(failure_message);
  const std::vector<Command> commands = all_commands();
  for (const Command& command : commands)
    add_command(app, command);
  if (const auto error = find_unknown_command(argc, argv, commands)) return fail("lanfab: " + *error);
  // Hidden: only scripts/generate-documents uses it.
  const CLI::App* description = app.add_subcommand("describe")->group("");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kFailure;
  }
  if (description->parsed()) return describe(app, commands);
  const auto is_given = [&app](const Command& command) { return app.got_subcommand(command.name); };
  return std::find_if(commands.begin(), commands.end(), is_given)->run();
}
