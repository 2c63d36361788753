#include "cli/lint/report_json.h"

#include "cli/config_file/text_positions.h"
#include "cli/lint/report.h"

static Json::Value range_json(TextRange range, const TextPositions& positions) {
  const TextPosition begin = positions.at(range.begin);
  const TextPosition end = positions.at(range.end);
  Json::Value location(Json::objectValue);
  location["line"] = begin.line;
  location["column"] = begin.column;
  location["end_line"] = end.line;
  location["end_column"] = end.column;
  return location;
}

static Json::Value entry_for(const Finding& finding, const TextPositions& positions) {
  Json::Value entry = range_json(finding.range, positions);
  entry["severity"] = word_for(finding.severity);
  entry["rule"] = finding.rule;
  entry["message"] = finding.message;
  for (const RelatedLocation& related : finding.details.related) {
    Json::Value location = range_json(related.range, positions);
    location["message"] = related.message;
    entry["related"].append(std::move(location));
  }
  for (const Edit& edit : finding.details.fix) {
    Json::Value replacement = range_json(edit.range, positions);
    replacement["text"] = edit.replacement;
    entry["fix"].append(std::move(replacement));
  }
  return entry;
}

Json::Value json_report(const Source& source, const Judgement& judgement) {
  const TextPositions positions(source.text);
  Json::Value report(Json::objectValue);
  report["file"] = source.name;
  report["findings"] = Json::Value(Json::arrayValue);
  for (const Finding& finding : judgement.findings) {
    report["findings"].append(entry_for(finding, positions));
    if (finding.unlisted > 0) report["unlisted"][finding.rule] = Json::UInt64{finding.unlisted};
  }
  for (const AllowedFinding& allowed : judgement.allowed)
    report["allowed"].append(entry_for(allowed.finding, positions));
  return report;
}

Json::Value json_report_of_unreadable(const std::string& file, const std::string& message) {
  Json::Value report(Json::objectValue);
  report["file"] = file;
  report["findings"] = Json::Value(Json::arrayValue);
  report["error"] = message;
  return report;
}
