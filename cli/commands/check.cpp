#include "cli/commands/check.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <sstream>

#include "cli/base/file.h"
#include "cli/base/json.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/base/workers.h"
#include "cli/commands/check_file.h"
#include "cli/commands/commands.h"
#include "cli/config_file/source.h"
#include "cli/lint/allow.h"
#include "cli/lint/report.h"
#include "cli/lint/report_json.h"
#include "cli/lint/report_sarif.h"
#include "cli/live/trial_state.h"

// Maximum number of files for the dnsmasq check, which takes fifty times as long as all rules together.
constexpr std::size_t kMostFilesForDnsmasq = 100;

constexpr char kStandardInput[] = "-";

namespace {

// Options of the whole run.
struct RunOptions {
  std::vector<std::string> files;
  std::string list;            // a file with names of more files
  bool strict = false;         // also fail on warnings
  bool offline = false;        // skip the dnsmasq check
  std::int64_t processes = 1;  // number of processes that check files
  CheckOptions each;           // options for one file
};

// Prints the reports on the files, one after the other.
class Output {
 public:
  explicit Output(const CheckOptions& options) : options_(options) {}

  // Adds the report on a file. Returns false if standard output cannot be written.
  bool add(const FileReport& report) {
    if (!report.dnsmasq.error.empty()) note_dnsmasq_error(report.dnsmasq.error);
    if (!report.failure.empty()) {
      add_failure(report.name, report.failure);
    } else {
      is_all_done_ = is_all_done_ && report.is_parsed;
      add(report.summary);
      fixes_ += report.fixes;
      print(report.output);
    }
    return std::ferror(stdout) == 0;
  }

  // Adds a file whose process died. Returns false if standard output cannot be written.
  bool add_unexamined(const std::string& file, const std::string& message) {
    add_failure(file, message);
    return std::ferror(stdout) == 0;
  }

  bool has_dnsmasq_error() const {
    return has_dnsmasq_error_;
  }

  // Prints the summary, or the end of the JSON output.
  void finish() const {
    if (options_.format == Format::kJson) {
      std::puts(is_list_begun_ ? "\n]" : "[]");
    } else if (options_.format == Format::kSarif) {
      std::puts(sarif_.text().c_str());
    } else if (!options_.diff && summary_.files > 0) {
      const std::string fixed = fixes_ > 0 ? ", " + std::to_string(fixes_) + " fixed" : "";
      std::printf("%s%s\n", text_of(summary_).c_str(), fixed.c_str());
    }
  }

  // The exit status: 0 without errors; 1 with errors or, if `strict`, warnings; 2 when a file cannot be
  // read, parsed or written.
  int status(bool strict) const {
    if (!is_all_done_) return kFailure;
    return summary_.errors > 0 || (strict && summary_.warnings > 0) ? 1 : 0;
  }

 private:
  void print(const std::string& output) {
    if (options_.format == Format::kSarif) return sarif_.add(output);
    if (options_.format == Format::kJson) {
      std::fputs(is_list_begun_ ? ",\n" : "[\n", stdout);
      is_list_begun_ = true;
    }
    std::fwrite(output.data(), 1, output.size(), stdout);
  }

  // Reports a file that could not be read, checked or written.
  void add_failure(const std::string& file, const std::string& message) {
    is_all_done_ = false;
    report(message);
    sarif_.add_failure(message);
    if (options_.format == Format::kJson) print(element_text(json_report_of_unreadable(file, message), 1));
  }

  // Reported once: the error would be the same for every file.
  void note_dnsmasq_error(const std::string& error) {
    if (!has_dnsmasq_error_) report(error + "; skipping the dnsmasq check");
    has_dnsmasq_error_ = true;
  }

  void add(const Summary& summary) {
    summary_.files += summary.files;
    summary_.errors += summary.errors;
    summary_.warnings += summary.warnings;
    summary_.allowed += summary.allowed;
  }

  const CheckOptions& options_;
  SarifReport sarif_;
  Summary summary_;
  std::size_t fixes_ = 0;
  bool is_list_begun_ = false;
  bool is_all_done_ = true;
  bool has_dnsmasq_error_ = false;
};

}  // namespace

// Appends the file names in a list, one per line. Returns nothing on success; otherwise an error message.
static std::optional<std::string> read_list(const std::string& list, std::vector<std::string>& files) {
  const bool is_input = list == kStandardInput;
  const std::string name = is_input ? "<stdin>" : list;
  const Descriptor opened(is_input ? -1 : open(list.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  if (!is_input && !opened.is_open()) return with_errno(name);
  if (!read_all(is_input ? STDIN_FILENO : opened.number(), text)) return with_errno(name);
  if (text.find('\0') != std::string::npos)
    return printable(name) + ": contains U+0000 (NUL): the names of the files must be lines";
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    if (!line.empty()) files.push_back(line);
  return std::nullopt;
}

// Checks the options and completes `options.files`. Returns nothing on success; otherwise an error message.
static std::optional<std::string> complete(RunOptions& options) {
  for (const std::string& rule : options.each.allowed)
    if (const auto obstacle = why_not_allowed(rule)) return "lanfab: --allow: " + *obstacle;
  const bool writes = options.each.fix && !options.each.diff;
  if (writes && options.files.empty() && options.list.empty()) return "lanfab: --fix requires FILE";
  if (!options.list.empty()) {
    if (auto error = read_list(options.list, options.files)) return error;
  } else if (options.files.empty()) {
    options.files.push_back(active_configuration());
  }
  if (std::count(options.files.begin(), options.files.end(), kStandardInput) == 0) return std::nullopt;
  if (writes) return "lanfab: --fix cannot write standard input; use --diff";
  if (options.list == kStandardInput) return "lanfab: standard input is the list of files, and one of them";
  return std::nullopt;
}

// Path of dnsmasq; nothing if it is not installed, or to be skipped.
static std::optional<std::string> find_dnsmasq(bool offline, std::size_t files) {
  if (offline) return std::nullopt;
  auto program = find_in_path("dnsmasq");
  if (program && files > kMostFilesForDnsmasq) {
    report("lanfab: more than " + std::to_string(kMostFilesForDnsmasq) +
           " files; skipping the dnsmasq check");
    return std::nullopt;
  }
  return program;
}

// Checks the files in this process, one after the other.
static void check_in_turn(const RunOptions& options, Dnsmasq dnsmasq, Output& output) {
  for (const std::string& file : options.files)
    if (!output.add(check_file(options.each, file, dnsmasq))) return;
}

// Checks the files in several processes; standard input is read in this one, in its turn. As with a single
// process, errors that dnsmasq reports are ignored after it could not be run for an earlier file. Returns
// nothing on success; otherwise an error message.
static std::optional<std::string> check_in_parallel(const RunOptions& options, Dnsmasq dnsmasq,
                                                    Output& output) {
  TaskList list{options.files.size(), static_cast<std::size_t>(options.processes), nullptr, nullptr};
  list.work = [&](std::size_t task) {
    const std::string& file = options.files[task];
    return file == kStandardInput ? "" : encode(check_file(options.each, file, dnsmasq));
  };
  list.take = [&](std::size_t task, const TaskResult& result) {
    const std::string& file = options.files[task];
    if (!result.error.empty()) {
      const std::string name = printable(file);
      return output.add_unexamined(file, name + ": the process checking it died: " + result.error);
    }
    Dnsmasq nobody(std::nullopt);
    Dnsmasq& asked = output.has_dnsmasq_error() ? nobody : dnsmasq;
    if (result.bytes.empty()) return output.add(check_file(options.each, file, asked));
    const FileReport report = decode(result.bytes);
    const bool counts = !(output.has_dnsmasq_error() && report.dnsmasq.is_refusal);
    return output.add(counts ? report : check_file(options.each, file, nobody));
  };
  return do_tasks(list);
}

// Checks the files. Returns nothing on success; otherwise an error message.
static std::optional<std::string> check_files(const RunOptions& options, Output& output) {
  Dnsmasq dnsmasq(find_dnsmasq(options.offline, options.files.size()));
  if (options.processes > 1 && options.files.size() > 1)
    return check_in_parallel(options, std::move(dnsmasq), output);
  check_in_turn(options, std::move(dnsmasq), output);
  return std::nullopt;
}

// Checks the files and prints the findings. Returns the exit status.
static int check(RunOptions& options) {
  if (const auto obstacle = complete(options)) return fail(*obstacle);
  Output output(options.each);
  if (const auto error = check_files(options, output)) return fail("lanfab: " + *error);
  output.finish();
  return output.status(options.strict);
}

Summary show_findings(Source source) {
  Dnsmasq dnsmasq(find_dnsmasq(false, 1));
  const Judgement judgement = judge(source, dnsmasq, {});
  std::fputs(findings_for_output(source, judgement.findings).c_str(), stdout);
  Summary summary;
  count(judgement, summary);
  return summary;
}

static Option format_option(Format& format) {
  static const std::vector<std::string> kWords = {"text", "json", "sarif", "github"};
  return {"--format FORMAT", "text, json, sarif, or github (workflow commands)",
          [&format](const std::string& word) {
            format = static_cast<Format>(std::find(kWords.begin(), kWords.end(), word) - kWords.begin());
          },
          Completion::kNothing, kWords};
}

Command check_command() {
  static RunOptions options;
  return {
      "check",
      "Check configurations for errors",
      {{"FILE", "configurations; - is standard input; default: the active one", &options.files,
        Completion::kFile},
       {"--files-from LIST", "a file with more file names, one per line; - is\nstandard input", &options.list,
        Completion::kFile},
       {"-j N", "check this many files in parallel", Number{&options.processes, 1, 256}},
       {"--strict", "also fail on warnings", &options.strict},
       {"--offline", "skip the dnsmasq check", &options.offline},
       {"--allow RULE", "do not report the findings of this rule", &options.each.allowed, Completion::kRule},
       format_option(options.each.format),
       {"--fix",
        "correct the files where only one value can be right",
        &options.each.fix,
        Completion::kNothing,
        {},
        Presence::kOptional,
        "-j"},
       {"--diff",
        "show what --fix would change, and nothing else",
        &options.each.diff,
        Completion::kNothing,
        {},
        Presence::kOptional,
        "--format"}},
      "Example: lanfab check --strict network.json",
      [] { return check(options); }};
}
