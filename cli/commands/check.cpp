#include "cli/commands/check.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>

#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/commands/check_fix.h"
#include "cli/commands/commands.h"
#include "cli/config_file/source.h"
#include "cli/lint/allow.h"
#include "cli/lint/dnsmasq_check.h"
#include "cli/lint/judge.h"
#include "cli/lint/report.h"
#include "cli/lint/report_github.h"
#include "cli/lint/report_json.h"
#include "cli/lint/report_sarif.h"
#include "cli/lint/rules.h"
#include "cli/live/trial_state.h"

namespace {

enum class Format { kText, kJson, kSarif, kGithub };

struct CheckOptions {
  std::vector<std::string> files;  // "-" is standard input; if empty, the active configuration is checked
  Format format = Format::kText;
  bool strict = false;               // warnings count, too
  bool offline = false;              // do not ask dnsmasq
  std::vector<std::string> allowed;  // rules
  bool fix = false;                  // write the fixes that are certain
  bool diff = false;                 // print them as a patch instead of the findings
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
  explicit Output(Format format) : format_(format), files_(Json::arrayValue) {}

  // `fixed` has a line for each finding that is no longer there.
  void add(const Source& source, const Judgement& judgement, const std::vector<std::string>& fixed) {
    count(judgement, summary_);
    fixes_ += fixed.size();
    switch (format_) {
      case Format::kText:
        for (const std::string& line : fixed)
          std::printf("%s\n", line.c_str());
        print_as_text(source, judgement.findings);
        break;
      case Format::kJson:
        files_.append(json_report(source, judgement));
        break;
      case Format::kSarif:
        sarif_.add(source, judgement);
        break;
      case Format::kGithub:
        std::fputs(github_report(source, judgement.findings).c_str(), stdout);
        break;
    }
  }

  // Of a file whose findings are not printed.
  void count_only(const Judgement& judgement) {
    count(judgement, summary_);
    is_silent_ = true;
  }

  // Adds why a file could not be read or written.
  void add_failure(const std::string& file, const std::string& message) {
    report(message);
    sarif_.add_failure(message);
    files_.append(json_report_of_unreadable(file, message));
  }

  // The summary, or the whole as one JSON value.
  void finish() const {
    if (is_silent_) return;
    if (format_ == Format::kJson) {
      print_json(files_);
    } else if (format_ == Format::kSarif) {
      print_json(sarif_.log());
    } else if (summary_.files > 0) {
      const std::string fixed = fixes_ > 0 ? ", " + std::to_string(fixes_) + " fixed" : "";
      std::printf("%s%s\n", text_of(summary_).c_str(), fixed.c_str());
    }
  }

  const Summary& summary() const {
    return summary_;
  }

 private:
  static void print_json(const Json::Value& value) {
    std::printf("%s\n", Json::writeString(Json::StreamWriterBuilder(), value).c_str());
  }

  Format format_;
  Json::Value files_;
  SarifReport sarif_;
  Summary summary_;
  std::size_t fixes_ = 0;
  bool is_silent_ = false;
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
static Judgement judge(Source& source, Dnsmasq& dnsmasq, const std::vector<std::string>& allowed) {
  return judge(source, allowed, [&dnsmasq](const Site& site, std::vector<Finding>& findings) {
    dnsmasq.judge(site, findings);
  });
}

// Prints what the fixes would change. It may be a patch, whose lines must stay as they are.
static void print_diff(const Source& source, const FixedText& fixed) {
  std::string text = diff_of_fixes(source, fixed);
  if (is_terminal(STDOUT_FILENO)) text = printable(text, "\t\n");
  std::fwrite(text.data(), 1, text.size(), stdout);
}

// Checks one file and fixes it if wanted. Returns false if it cannot be read, parsed or written.
static bool check_file(const CheckOptions& options, const std::string& file, Dnsmasq& dnsmasq,
                       Output& output) {
  Source source;
  std::optional<LoadFailure> failure = load_source(file, source);
  if (failure && !failure->syntax) {
    output.add_failure(source.name, failure->message);
    return false;
  }
  const auto judge_text = [&] {
    return failure ? judgement_of(*failure->syntax) : judge(source, dnsmasq, options.allowed);
  };
  Judgement judgement = judge_text();
  const bool is_parsed = !failure;
  FixedText fixed{source.text, {}};
  if (options.diff) output.count_only(judgement);
  if (options.fix || options.diff) {
    fixed = apply_fixes(source, judgement, [&](Source&) {
      failure = parse_source(source);
      return judge_text();
    });
  }
  if (options.diff) {
    print_diff(source, fixed);
    return is_parsed;
  }
  const auto trouble = fixed.report.empty() ? std::nullopt : write_fixed(file, source, fixed);
  if (trouble) {
    output.add_failure(source.name, *trouble);
    return false;
  }
  output.add(source, judgement, fixed.report);
  return !failure;
}

// Prints the findings. Returns the exit status: 0 without an error, 1 with one, 2 when a file cannot be read,
// parsed or written.
static int check(const CheckOptions& options) {
  for (const std::string& rule : options.allowed)
    if (const auto obstacle = why_not_allowed(rule)) return fail("lanfab: --allow: " + *obstacle);
  const bool writes = options.fix && !options.diff;
  if (writes && options.files.empty()) return fail("lanfab: --fix requires FILE");
  if (writes && std::count(options.files.begin(), options.files.end(), "-") > 0)
    return fail("lanfab: --fix cannot write standard input; use --diff");
  Output output(options.format);
  Dnsmasq dnsmasq(options.offline);
  bool is_all_readable = true;
  for (const std::string& file :
       options.files.empty() ? std::vector<std::string>{active_configuration()} : options.files) {
    const bool is_readable = check_file(options, file, dnsmasq, output);
    is_all_readable = is_all_readable && is_readable;
  }
  output.finish();
  if (!is_all_readable) return kFailure;
  const Summary& summary = output.summary();
  return summary.errors > 0 || (options.strict && summary.warnings > 0) ? 1 : 0;
}

Summary show_findings(Source source) {
  Dnsmasq dnsmasq(false);
  const Judgement judgement = judge(source, dnsmasq, {});
  print_as_text(source, judgement.findings);
  Summary summary;
  count(judgement, summary);
  return summary;
}

static Option format_option(Format& format) {
  static const std::vector<std::string> kWords = {"text", "json", "sarif", "github"};
  return {"--format FORMAT", "text, json, sarif, or github: commands of GitHub Actions",
          [&format](const std::string& word) {
            format = static_cast<Format>(std::find(kWords.begin(), kWords.end(), word) - kWords.begin());
          },
          Completion::kNothing, kWords};
}

Command check_command() {
  static CheckOptions options;
  return {"check",
          "Say what is wrong with a configuration",
          {{"FILE", "configurations; - is standard input; default: the active one", &options.files,
            Completion::kFile},
           {"--strict", "fail on warnings, too", &options.strict},
           {"--offline", "do not ask dnsmasq", &options.offline},
           {"--allow RULE", "do not report what this rule finds", &options.allowed, Completion::kRule},
           format_option(options.format),
           {"--fix", "write the fixes that are certain to the files", &options.fix},
           {"--diff",
            "show what --fix would change, and nothing else",
            &options.diff,
            Completion::kNothing,
            {},
            Presence::kOptional,
            "--format"}},
          "Example: lanfab check --strict network.json",
          [] { return check(options); }};
}
