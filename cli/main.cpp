// The program `lanfab`, for authors of configurations: what a configuration will do before it does it.

#include <syslog.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/base/terminal.h"
#include "cli/commands/check.h"
#include "cli/commands/confirm.h"
#include "cli/commands/diff.h"
#include "cli/commands/explain.h"
#include "cli/commands/graph.h"
#include "cli/commands/preview.h"
#include "cli/commands/print_schema.h"
#include "cli/commands/revert.h"
#include "cli/commands/status.h"
#include "cli/commands/try.h"
#include "cli/dry_run/stub.h"
#include "cli/live/installed_file.h"

namespace {

// The command that was given, once the command line is read.
using Command = std::function<int()>;

}  // namespace

static void add_check(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("check", "Say what is wrong with a configuration");
  const auto options = std::make_shared<CheckOptions>();
  sub->add_option("FILE", options->files, "configurations; - is standard input")
      ->default_val(std::vector<std::string>{kInstalledConfiguration});
  sub->add_flag("--strict", options->strict, "fail on warnings, too");
  sub->add_flag("--offline", options->offline, "do not ask dnsmasq");
  sub->add_option_function<std::string>(
         "--format", [options](const std::string& format) { options->json = format == "json"; },
         "text or json")
      ->check(CLI::IsMember({"text", "json"}));
  sub->footer("Example: lanfab check --strict network.json");
  sub->callback([options, &command] { command = [options] { return check(*options); }; });
}

static void add_explain(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("explain", "Say what a rule is about, why it hurts and how to mend it");
  const auto rule = std::make_shared<std::string>();
  sub->add_option("RULE", *rule, "a rule's name; all rules are listed without one");
  sub->footer("Example: lanfab explain lease-address-twice");
  sub->callback([rule, &command] { command = [rule] { return explain(*rule); }; });
}

// What preview and diff have in common.
static void add_dry_run_options(CLI::App& sub, DryRunOptions& dry_run) {
  sub.add_option("--action", dry_run.action, "apply, wwan_apply or dnsmasq")
      ->check(CLI::IsMember({"apply", "wwan_apply", "dnsmasq"}))
      ->default_val("apply");
  sub.add_option("--cell", dry_run.cell,
                 "the cellular link: up (example values), down, here (this machine's), or a\n"
                 "directory with files wwan_*; default: here on a gateway, up elsewhere");
  sub.add_option("--program", dry_run.program, "the cmd_lanfab to run; default: the installed one");
}

static void add_preview(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("preview", "Show the files and commands of a run");
  const auto options = std::make_shared<PreviewOptions>();
  sub->add_option("FILE", options->file, "the configuration; - is standard input")
      ->default_val(kInstalledConfiguration);
  add_dry_run_options(*sub, options->dry_run);
  sub->add_option("-o", options->directory, "write the files below this directory, which must be empty");
  sub->add_option_function<std::string>(
         "--format", [options](const std::string& format) { options->json = format == "json"; },
         "text or json")
      ->check(CLI::IsMember({"text", "json"}));
  sub->add_flag("-v", options->messages, "show the messages to the system log, too");
  sub->footer("Example: lanfab preview network.json --cell down");
  sub->callback([options, &command] { command = [options] { return preview(*options); }; });
}

static void add_diff(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("diff", "Show what a configuration would change");
  const auto options = std::make_shared<DiffOptions>();
  sub->add_option("FILE", options->file, "the configuration; - is standard input")
      ->default_val(kInstalledConfiguration);
  sub->add_option("OTHER", options->other,
                  "a newer one to compare it with; without, FILE is compared with\n"
                  "what is in /var/run now");
  add_dry_run_options(*sub, options->dry_run);
  sub->footer("Example: lanfab diff /etc/lanfab/network.json network.json");
  sub->callback([options, &command] { command = [options] { return diff(*options); }; });
}

static void add_schema(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("schema", "Print the JSON Schema of the configuration");
  sub->callback([&command] { command = print_schema; });
}

static void add_graph(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("graph", "Draw the network, with what check finds in it");
  const auto options = std::make_shared<GraphOptions>();
  const std::map<std::string, GraphFormat> formats = {
      {"text", GraphFormat::kText}, {"dot", GraphFormat::kDot}, {"svg", GraphFormat::kSvg}};
  sub->add_option("FILE", options->file, "the configuration; - is standard input")
      ->default_val(kInstalledConfiguration);
  sub->add_option_function<std::string>(
         "--format", [options, formats](const std::string& name) { options->format = formats.at(name); },
         "text (default), dot, the language of Graphviz,\nor svg, drawn by Graphviz")
      ->check(CLI::IsMember({"text", "dot", "svg"}));
  sub->add_option("-o", options->output, "write the picture into this file");
  sub->footer("Example: lanfab graph network.json --format svg -o network.svg");
  sub->callback([options, &command] { command = [options] { return graph(*options); }; });
}

static void add_try(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("try", "Put a configuration in force until it is confirmed");
  const auto options = std::make_shared<TryOptions>();
  sub->add_option("FILE", options->file, "the configuration; - is standard input")->required();
  sub->add_option("--timeout", options->seconds, "seconds after which the old one comes back")
      ->check(CLI::Range(10, 86400))
      ->capture_default_str();
  sub->add_flag("--force", options->force, "try it even with errors that lanfab check finds");
  sub->footer(
      "Without lanfab confirm in time, the old configuration comes back, whatever became of this\n"
      "terminal. A reboot brings it back, too.\n\n"
      "Example: lanfab try network.json --timeout 300");
  sub->callback([options, &command] { command = [options] { return try_on_gateway(*options); }; });
}

static void add_confirm(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("confirm", "Keep the configuration that is tried");
  sub->footer("The one before it stays beside it as network.json.previous.");
  sub->callback([&command] { command = confirm; });
}

static void add_revert(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("revert", "Go back to the configuration before");
  const auto options = std::make_shared<RevertOptions>();
  sub->add_flag("--yes", options->yes, "do not ask");
  sub->add_flag("--timer", options->by_timer, "for the service that the timer of lanfab try starts")
      ->group("");
  sub->footer(
      "Ends the trial at once. Without one it puts network.json.previous in force, after asking.\n\n"
      "Example: lanfab revert --yes");
  sub->callback([options, &command] { command = [options] { return revert(*options); }; });
}

static void add_status(CLI::App& app, Command& command) {
  CLI::App* sub = app.add_subcommand("status", "Say whether a gateway is as its configuration wants it");
  const auto options = std::make_shared<StatusOptions>();
  CLI::Option* watch = sub->add_flag("--watch", options->watch, "keep it up to date; q ends it");
  sub->add_option_function<std::string>(
         "--format", [options](const std::string& format) { options->json = format == "json"; },
         "text or json")
      ->check(CLI::IsMember({"text", "json"}))
      ->excludes(watch);
  sub->add_flag("-v", options->messages, "show the messages of the last runs, too");
  sub->footer("Example: lanfab status --watch");
  sub->callback([options, &command] { command = [options] { return status(*options); }; });
}

static int run(int argc, char* argv[]) {
  CLI::App app("Says what a network configuration of cmd_lanfab will do before it does it.", "lanfab");
  app.set_version_flag("--version", "lanfab " LANFAB_VERSION);
  app.require_subcommand(1);
  Command command;
  add_check(app, command);
  add_explain(app, command);
  add_graph(app, command);
  add_preview(app, command);
  add_diff(app, command);
  add_schema(app, command);
  add_try(app, command);
  add_confirm(app, command);
  add_revert(app, command);
  add_status(app, command);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kFailure;
  }
  return command();
}

// Whether everything reached standard output: a full disk and a reader that has gone show at the latest now.
static bool is_output_complete() {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
  std::fprintf(stderr, "lanfab: error writing standard output: %s\n", std::strerror(errno));
  return false;
}

int main(int argc, char* argv[]) {
  // First, since a run may call many tools: this program under the name of one.
  if (argc > 0 && is_stub(argv[0])) return record_call(argc, argv);
  signal(SIGPIPE, SIG_IGN);
  // The program's own code, which the rules ask, has nothing to say to this machine's log.
  setlogmask(LOG_MASK(LOG_EMERG));
  try {
    const int status = run(argc, argv);
    return is_output_complete() ? status : kFailure;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "lanfab: %s\n", error.what());
    return kFailure;
  }
}
