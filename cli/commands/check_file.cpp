#include "cli/commands/check_file.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "cli/base/json.h"
#include "cli/base/records.h"
#include "cli/base/terminal.h"
#include "cli/commands/check_fix.h"
#include "cli/lint/dnsmasq_check.h"
#include "cli/lint/judge.h"
#include "cli/lint/report_github.h"
#include "cli/lint/report_json.h"
#include "cli/lint/report_sarif.h"

static bool is_error(const Finding& finding) {
  return finding.severity == Severity::kError;
}

void Dnsmasq::judge(const Site& site, std::vector<Finding>& findings) {
  if (!program_ || std::any_of(findings.begin(), findings.end(), is_error)) return;
  if (const auto error = test_with_dnsmasq(*program_, site, findings)) {
    // The other lines are advice, which `lanfab preview` also prints.
    answer_.error = error->substr(0, error->find('\n'));
    program_.reset();
  }
  if (std::any_of(findings.begin(), findings.end(), is_error)) answer_.is_refusal = true;
}

Dnsmasq::Answer Dnsmasq::take_answer() {
  return std::exchange(answer_, {});
}

std::string findings_for_output(const Source& source, const std::vector<Finding>& findings) {
  const bool has_terminal = is_terminal(STDOUT_FILENO);
  return text_report(source, findings,
                     {has_terminal, wants_color(has_terminal), terminal_columns(STDOUT_FILENO)});
}

Judgement judge(Source& source, Dnsmasq& dnsmasq, const std::vector<std::string>& allowed) {
  return judge(source, allowed, [&dnsmasq](const Site& site, std::vector<Finding>& findings) {
    dnsmasq.judge(site, findings);
  });
}

// Diff of the fixes. It may be a patch, whose lines must not change unless they go to a terminal.
static std::string diff_for_output(const Source& source, const FixedText& fixed) {
  std::string text = diff_of_fixes(source, fixed);
  return is_terminal(STDOUT_FILENO) ? printable(text, "\t\n") : text;
}

// The findings in this format. `fixed` has a line for each fixed finding, for the text format.
static std::string output_about(const Source& source, const Judgement& judgement,
                                const std::vector<std::string>& fixed, Format format) {
  std::string output;
  switch (format) {
    case Format::kText:
      for (const std::string& line : fixed)
        output += line + "\n";
      return output + findings_for_output(source, judgement.findings);
    case Format::kJson:
      return element_text(json_report(source, judgement), 1);
    case Format::kSarif:
      return sarif_results(source, judgement);
    case Format::kGithub:
      break;
  }
  return github_report(source, judgement.findings);
}

static void examine_file(const CheckOptions& options, const std::string& file, Dnsmasq& dnsmasq,
                         FileReport& report) {
  Source source;
  std::optional<LoadFailure> failure = load_source(file, source);
  report.name = source.name;
  if (failure && !failure->syntax) {
    report.failure = failure->message;
    return;
  }
  const auto judge_text = [&] {
    return failure ? judgement_of(*failure->syntax) : judge(source, dnsmasq, options.allowed);
  };
  Judgement judgement = judge_text();
  report.is_parsed = !failure;
  FixedText fixed{source.text, {}};
  if (options.diff) count(judgement, report.summary);
  if (options.fix || options.diff) {
    fixed = apply_fixes(source, judgement, [&](Source&) {
      failure = parse_source(source);
      return judge_text();
    });
  }
  if (options.diff) {
    report.output = diff_for_output(source, fixed);
    return;
  }
  const auto error = fixed.report.empty() ? std::nullopt : write_fixed(file, source, fixed);
  report.is_parsed = !failure;
  if (error) {
    report.failure = *error;
    return;
  }
  count(judgement, report.summary);
  report.fixes = fixed.report.size();
  report.output = output_about(source, judgement, fixed.report, options.format);
}

FileReport check_file(const CheckOptions& options, const std::string& file, Dnsmasq& dnsmasq) {
  FileReport report;
  examine_file(options, file, dnsmasq, report);
  report.dnsmasq = dnsmasq.take_answer();
  return report;
}

std::string encode(const FileReport& report) {
  Encoder out;
  out.text(report.name);
  out.text(report.output);
  const Summary& summary = report.summary;
  for (const std::size_t number :
       {summary.files, summary.errors, summary.warnings, summary.allowed, report.fixes})
    out.number(number);
  out.text(report.failure);
  out.number(report.is_parsed);
  out.text(report.dnsmasq.error);
  out.number(report.dnsmasq.is_refusal);
  return out.bytes;
}

FileReport decode(const std::string& bytes) {
  Decoder in(bytes);
  FileReport report;
  report.name = in.text();
  report.output = in.text();
  Summary& summary = report.summary;
  for (std::size_t* number :
       {&summary.files, &summary.errors, &summary.warnings, &summary.allowed, &report.fixes})
    *number = in.number();
  report.failure = in.text();
  report.is_parsed = in.number() != 0;
  report.dnsmasq.error = in.text();
  report.dnsmasq.is_refusal = in.number() != 0;
  return report;
}
