#include "cli/lint/report_sarif.h"

#include <algorithm>
#include <string_view>

#include "cli/base/json.h"
#include "cli/config_file/text_positions.h"
#include "cli/lint/report.h"
#include "cli/lint/rule_page.h"
#include "cli/lint/rules.h"

// The URI of a file: a relative path, or "file:///etc/lanfab/network.json". All characters except letters,
// digits and "-._~/" are percent-encoded.
static std::string uri_of(const std::string& path) {
  constexpr std::string_view kUnreserved = "-._~/";
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string uri = path.rfind('/', 0) == 0 ? "file://" : "";
  for (const char c : path) {
    const bool is_plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                          kUnreserved.find(c) != std::string_view::npos;
    const auto byte = static_cast<unsigned char>(c);
    uri += is_plain ? std::string(1, c) : std::string{'%', kDigits[byte >> 4U], kDigits[byte & 0xfU]};
  }
  return uri;
}

// The text as a message. Escapes braces, which enclose the number of an argument, and the brackets of a text
// that might have a link, "[text](target)".
static Json::Value message_of(const std::string& text) {
  const bool has_link = text.find("](") != std::string::npos;
  std::string escaped;
  for (const char c : text) {
    if (has_link && (c == '[' || c == ']' || c == '\\')) escaped += '\\';
    escaped += c;
    if (c == '{' || c == '}') escaped += c;
  }
  Json::Value message(Json::objectValue);
  message["text"] = escaped;
  return message;
}

static Json::Value region_of(TextRange range, const TextPositions& positions) {
  const TextPosition begin = positions.at(range.begin);
  const TextPosition end = positions.at(range.end);
  Json::Value region(Json::objectValue);
  region["startLine"] = begin.line;
  region["startColumn"] = begin.column;
  region["endLine"] = end.line;
  region["endColumn"] = end.column;
  return region;
}

static Json::Value location_in(const Source& source, const Json::Value& region) {
  Json::Value location(Json::objectValue);
  Json::Value& physical = location["physicalLocation"];
  physical["artifactLocation"]["uri"] = uri_of(source.name);
  if (!region.isNull()) physical["region"] = region;
  return location;
}

// A fix that consists of all edits.
static Json::Value fix_in(const Source& source, const std::vector<Edit>& edits,
                          const TextPositions& positions) {
  Json::Value change(Json::objectValue);
  change["artifactLocation"]["uri"] = uri_of(source.name);
  for (const Edit& edit : edits) {
    Json::Value replacement(Json::objectValue);
    replacement["deletedRegion"] = region_of(edit.range, positions);
    replacement["insertedContent"]["text"] = edit.replacement;
    change["replacements"].append(std::move(replacement));
  }
  Json::Value fix(Json::objectValue);
  fix["artifactChanges"].append(std::move(change));
  return fix;
}

static int index_of(const std::string& rule) {
  const auto& rules = all_rules();
  const auto found =
      std::find_if(rules.begin(), rules.end(), [&](const Rule& candidate) { return candidate.name == rule; });
  return static_cast<int>(found - rules.begin());
}

// A result without a location.
static Json::Value result_for(const Finding& finding, const std::string& message,
                              const Json::Value& suppressions) {
  Json::Value result(Json::objectValue);
  result["ruleId"] = finding.rule;
  result["ruleIndex"] = index_of(finding.rule);
  result["level"] = word_for(finding.severity);
  result["message"] = message_of(message);
  // An empty list means that the finding is not suppressed; without a list, that would be unknown.
  result["suppressions"] = suppressions;
  return result;
}

static Json::Value suppressions_of(const AllowedFinding& allowed) {
  Json::Value suppressions(Json::arrayValue);
  suppressions[0]["kind"] = allowed.is_in_file ? "inSource" : "external";
  return suppressions;
}

// The nesting depth of a result in the report.
constexpr std::size_t kResultDepth = 4;

static void add_result(const Json::Value& result, std::string& results) {
  if (!results.empty()) results += ",\n";
  results += element_text(result, kResultDepth);
}

static void add_results(const Source& source, const TextPositions& positions, const Finding& finding,
                        const Json::Value& suppressions, std::string& results) {
  Json::Value result = result_for(finding, finding.message, suppressions);
  result["locations"].append(location_in(source, region_of(finding.range, positions)));
  for (const RelatedLocation& related : finding.details.related) {
    Json::Value location = location_in(source, region_of(related.range, positions));
    location["message"] = message_of(related.message);
    result["relatedLocations"].append(std::move(location));
  }
  if (!finding.details.fix.empty()) result["fixes"].append(fix_in(source, finding.details.fix, positions));
  add_result(result, results);
  if (finding.unlisted == 0) return;
  Json::Value rest = result_for(finding, "and " + std::to_string(finding.unlisted) + " more", suppressions);
  rest["locations"].append(location_in(source, Json::nullValue));
  add_result(rest, results);
}

std::string sarif_results(const Source& source, const Judgement& judgement) {
  const TextPositions positions(source.text);
  std::string results;
  for (const Finding& finding : judgement.findings)
    add_results(source, positions, finding, Json::arrayValue, results);
  for (const AllowedFinding& allowed : judgement.allowed)
    add_results(source, positions, allowed.finding, suppressions_of(allowed), results);
  return results;
}

void SarifReport::add(const std::string& results) {
  if (!results_.empty() && !results.empty()) results_ += ",\n";
  results_ += results;
}

void SarifReport::add_failure(const std::string& message) {
  Json::Value notification(Json::objectValue);
  notification["level"] = "error";
  notification["message"] = message_of(message);
  notifications_.append(std::move(notification));
}

static Json::Value descriptor_of(const Rule& rule) {
  std::string text(explanation_of(rule));
  std::replace(text.begin(), text.end(), '\n', ' ');
  Json::Value descriptor(Json::objectValue);
  descriptor["id"] = rule.name;
  descriptor["shortDescription"] = message_of(text.substr(0, (text + " ").find(". ") + 1));
  descriptor["fullDescription"] = message_of(text);
  descriptor["help"] = message_of(text);
  descriptor["help"]["markdown"] = text;
  descriptor["defaultConfiguration"]["level"] = word_for(rule.severity);
  return descriptor;
}

// The report with an empty list of results.
static Json::Value log_with(const Json::Value& notifications) {
  Json::Value run(Json::objectValue);
  Json::Value& driver = run["tool"]["driver"];
  driver["name"] = "lanfab";
  driver["version"] = LANFAB_VERSION;
  for (const Rule& rule : all_rules())
    driver["rules"].append(descriptor_of(rule));
  Json::Value invocation(Json::objectValue);
  invocation["executionSuccessful"] = notifications.empty();
  invocation["toolExecutionNotifications"] = notifications;
  run["invocations"].append(std::move(invocation));
  run["columnKind"] = "unicodeCodePoints";
  run["results"] = Json::arrayValue;
  Json::Value log(Json::objectValue);
  log["$schema"] = "https://json.schemastore.org/sarif-2.1.0.json";
  log["version"] = "2.1.0";
  log["runs"].append(std::move(run));
  return log;
}

std::string SarifReport::text() const {
  std::string text = Json::writeString(Json::StreamWriterBuilder(), log_with(notifications_));
  if (results_.empty()) return text;
  // No string in the report can contain this text, since its quotes would be escaped.
  constexpr std::string_view kNone = "\"results\" : []";
  const std::size_t offset = text.find(kNone);
  const std::string indentation(kResultDepth - 1, '\t');
  std::string list = "\"results\" : \n" + indentation + "[\n" + results_ + "\n" + indentation + "]";
  return text.replace(offset, kNone.size(), list);
}
