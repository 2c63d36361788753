#include "cli/lint/dnsmasq_check.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <unordered_set>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/dry_run/dry_run.h"
#include "cli/lint/rules.h"
#include "dnsmasq/dnsmasq_conf.h"

// The exit status of dnsmasq if it rejects the configuration; its other errors have higher ones.
constexpr int kRefused = 1;

namespace {

struct Answer {
  bool is_refusal = false;
  std::string message;   // "bad dhcp-range"
  std::size_t line = 0;  // of dnsmasq.conf; 0 if the message names none
};

// The object or array that contains the most strings of a rejected line.
struct Origin {
  const Json::Value* text = nullptr;  // the first of these strings
  std::size_t texts = 0;
};

}  // namespace

// Parses the output of dnsmasq, such as "dnsmasq: bad dhcp-range at line 12 of stdin".
static Answer answer_from(const std::string& output) {
  constexpr char kPrefix[] = "dnsmasq: ";
  constexpr char kLocation[] = " at line ";
  const std::size_t prefix = output.find(kPrefix);
  std::string message = prefix == std::string::npos ? output : output.substr(prefix + std::strlen(kPrefix));
  message = message.substr(0, message.find('\n'));
  const std::size_t location = message.rfind(kLocation);
  if (location == std::string::npos) return {true, message, 0};
  const std::size_t line = std::strtoul(message.c_str() + location + std::strlen(kLocation), nullptr, 10);
  return {true, message.substr(0, location), line};
}

// Tests the text of a configuration, and fills `answer` if dnsmasq rejects it. Returns nothing, or an error
// message if the test could not run.
static std::optional<std::string> test_configuration(const std::string& dnsmasq, const std::string& text,
                                                     Answer& answer) {
  const MemoryFile configuration;
  const MemoryFile output;
  Subprocess test{{"dnsmasq", "--test", "--conf-file=-"}, dnsmasq};
  // dnsmasq translates its messages.
  test.environment = {"LC_ALL=C", std::string("PATH=") + kSystemPath};
  test.input = configuration.number();
  test.output = test.errors = output.number();
  const int status = configuration.fill(text) ? run(test) : -1;
  if (auto error = missing_status("lanfab: " + dnsmasq, status)) return error;
  const int code = WEXITSTATUS(status);
  if (code > kRefused) return "lanfab: " + dnsmasq + " ended with status " + std::to_string(code);
  if (code == kRefused) answer = answer_from(output.content());
  return std::nullopt;
}

static std::string line_of(const std::string& text, std::size_t number) {
  std::istringstream lines(text);
  std::string line;
  while (number-- > 0 && std::getline(lines, line)) {
  }
  return line;
}

// The parts of a line's value between commas: "02:00:5e:00:53:01" and "192.168.1.10" of
// "dhcp-host=02:00:5e:00:53:01,192.168.1.10".
static std::unordered_set<std::string> parts_of(const std::string& line) {
  std::unordered_set<std::string> parts;
  std::istringstream value(line.substr(line.find('=') + 1));
  for (std::string part; std::getline(value, part, ',');)
    parts.insert(part);
  return parts;
}

static void look_for(const std::unordered_set<std::string>& parts, const Json::Value& value, Origin& best) {
  Origin own;
  for (const Json::Value& member : value) {
    look_for(parts, member, best);
    if (!member.isString() || parts.count(member.asString()) == 0) continue;
    if (own.texts++ == 0 || member.getOffsetStart() < own.text->getOffsetStart()) own.text = &member;
  }
  if (own.texts > best.texts) best = own;
}

static Finding finding_for(const Answer& answer, const std::string& text, const Json::Value& root) {
  Finding finding{kDnsmasqRefuses, Severity::kError, range_of(root), "", {}};
  if (answer.line == 0) {
    finding.message = "dnsmasq: " + answer.message;
    return finding;
  }
  const std::string line = line_of(text, answer.line);
  finding.message = "dnsmasq rejects " + quoted(line) + ": " + answer.message;
  Origin origin;
  look_for(parts_of(line), root, origin);
  if (origin.text != nullptr) finding.range = range_of(*origin.text);
  return finding;
}

std::optional<std::string> test_with_dnsmasq(const std::string& dnsmasq, const Site& site,
                                             std::vector<Finding>& findings) {
  DryRunOptions options;
  // This action writes the same dnsmasq.conf as a full run, but calls no tools for tunnels.
  options.action = "dnsmasq";
  options.cell = "up";
  DryRun dry_run;
  if (auto error = make_dry_run(site.source, options, dry_run)) return error;
  for (const auto& [file, change] : dry_run.result.files) {
    if (file.path != kDnsmasqConf) continue;
    Answer answer;
    if (auto error = test_configuration(dnsmasq, file.content, answer)) return error;
    if (!answer.is_refusal) continue;
    Finding finding = finding_for(answer, file.content, site.root);
    const auto location =
        std::upper_bound(findings.begin(), findings.end(), finding,
                         [](const Finding& a, const Finding& b) { return a.range.begin < b.range.begin; });
    findings.insert(location, std::move(finding));
  }
  return std::nullopt;
}
