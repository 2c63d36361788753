#include "cli/commands/check.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>

#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/config_file/source.h"
#include "cli/lint/dnsmasq_check.h"
#include "cli/lint/report.h"
#include "cli/lint/report_json.h"
#include "cli/lint/rules.h"
#include "cli/live/trial_state.h"

namespace {

struct CheckOptions {
  std::vector<std::string> files = {active_configuration()};  // "-" is standard input
  bool json = false;
  bool strict = false;   // warnings count, too
  bool offline = false;  // do not ask dnsmasq
};

}  // namespace

static void print_as_text(const Source& source, const std::vector<Finding>& findings) {
  const bool has_terminal = is_terminal(STDOUT_FILENO);
  const TextStyle style{has_terminal, wants_color(has_terminal), terminal_columns(STDOUT_FILENO)};
  const std::string report = text_report(source, findings, style);
  std::fputs(report.c_str(), stdout);
}

namespace {

// Where the findings of one file after the other go.
class Output {
 public:
  explicit Output(bool json) : json_(json), files_(Json::arrayValue) {}

  void add(const Source& source, const std::vector<Finding>& findings) {
    count(findings, summary_);
    if (json_) {
      files_.append(json_report(source, findings));
    } else {
      print_as_text(source, findings);
    }
  }

  // The summary, or the whole as one JSON array.
  void finish() const {
    if (json_) {
      std::printf("%s\n", Json::writeString(Json::StreamWriterBuilder(), files_).c_str());
    } else if (summary_.files > 0) {
      std::printf("%s\n", text_of(summary_).c_str());
    }
  }

  const Summary& summary() const {
    return summary_;
  }

 private:
  bool json_;
  Json::Value files_;
  Summary summary_;
};

// dnsmasq, where it can be asked.
class Dnsmasq {
 public:
  explicit Dnsmasq(bool offline) : program_(offline ? std::nullopt : find_in_path("dnsmasq")) {}

  // Adds what it refuses to what the rules have found. After an error it would only say the same once more.
  void judge(const Site& site, std::vector<Finding>& findings) {
    if (!program_ || std::any_of(findings.begin(), findings.end(), is_error)) return;
    if (const auto trouble = ask_dnsmasq(*program_, site, findings)) {
      // The rest of it is advice, which `lanfab preview` gives, too.
      report(trouble->substr(0, trouble->find('\n')) + "; dnsmasq is not asked");
      // It would be the same for every file.
      program_.reset();
    }
  }

 private:
  static bool is_error(const Finding& finding) {
    return finding.severity == Severity::kError;
  }

  std::optional<std::string> program_;
};

}  // namespace

// What the rules and dnsmasq find.
static std::vector<Finding> judge(Source& source, Dnsmasq& dnsmasq) {
  std::vector<Finding> findings = examine(source);
  const Site site(source);
  dnsmasq.judge(site, findings);
  return findings;
}

// Prints the findings. Returns the exit status: 0 without an error, 1 with one, 2 when a file cannot be read
// or parsed.
static int check(const CheckOptions& options) {
  Output output(options.json);
  Dnsmasq dnsmasq(options.offline);
  bool is_all_readable = true;
  for (const std::string& file : options.files) {
    Source source;
    if (const auto trouble = load_source(file, source)) {
      report(*trouble);
      is_all_readable = false;
      continue;
    }
    const std::vector<Finding> findings = judge(source, dnsmasq);
    output.add(source, findings);
  }
  output.finish();
  if (!is_all_readable) return 2;
  const Summary& summary = output.summary();
  return summary.errors > 0 || (options.strict && summary.warnings > 0) ? 1 : 0;
}

Summary show_findings(Source source) {
  Dnsmasq dnsmasq(false);
  const std::vector<Finding> findings = judge(source, dnsmasq);
  print_as_text(source, findings);
  Summary summary;
  count(findings, summary);
  return summary;
}

Command check_command() {
  static CheckOptions options;
  return {"check",
          "Say what is wrong with a configuration",
          {{"FILE", "configurations; - is standard input", &options.files, Completion::kFile},
           {"--strict", "fail on warnings, too", &options.strict},
           {"--offline", "do not ask dnsmasq", &options.offline},
           json_option(options.json)},
          "Example: lanfab check --strict network.json",
          [] { return check(options); }};
}
