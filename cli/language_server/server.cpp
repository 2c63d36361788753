#include "cli/language_server/server.h"

#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "cli/base/terminal.h"
#include "cli/config_file/source.h"
#include "cli/language_server/cursor.h"
#include "cli/language_server/lines.h"
#include "cli/language_server/messages.h"
#include "cli/language_server/schema_help.h"
#include "cli/lint/judge.h"
#include "config/lookup.h"

// Constants of the protocol.
constexpr int kWholeTextEachTime = 1;
constexpr int kErrorDiagnostic = 1;
constexpr int kWarningDiagnostic = 2;
constexpr int kPropertyItem = 10;
constexpr int kValueItem = 12;

static Json::Value capabilities() {
  Json::Value result(Json::objectValue);
  Json::Value& own = result["capabilities"];
  own["textDocumentSync"] = kWholeTextEachTime;
  own["hoverProvider"] = true;
  own["completionProvider"]["triggerCharacters"].append("\"");
  own["codeActionProvider"]["codeActionKinds"].append("quickfix");
  result["serverInfo"]["name"] = "lanfab";
  return result;
}

// --- Diagnostics

static std::vector<Finding> findings_of(const std::string& text) {
  Source source{"", text, {}};
  const std::optional<LoadFailure> failure = parse_source(source);
  if (!failure) return judge(source, {}).findings;
  return judgement_of(failure->syntax.value_or(SyntaxError{{}, failure->message, {}, {}})).findings;
}

static Json::Value diagnostic(const Finding& finding, const std::string& uri, const Lines& lines) {
  Json::Value value(Json::objectValue);
  value["range"] = lines.range_of(finding.range);
  value["severity"] = finding.severity == Severity::kError ? kErrorDiagnostic : kWarningDiagnostic;
  value["code"] = finding.rule;
  value["source"] = "lanfab";
  value["message"] = printable(finding.message);
  for (const RelatedLocation& related : finding.details.related) {
    Json::Value& entry = value["relatedInformation"].append(Json::objectValue);
    entry["location"]["uri"] = uri;
    entry["location"]["range"] = lines.range_of(related.range);
    entry["message"] = printable(related.message);
  }
  return value;
}

void LanguageServer::publish(const std::string& uri, const Json::Value& version, const Document& document) {
  const Lines lines(document.text);
  Json::Value parameters(Json::objectValue);
  parameters["uri"] = uri;
  if (version.isInt()) parameters["version"] = version;
  parameters["diagnostics"] = Json::arrayValue;
  for (const Finding& finding : document.findings)
    parameters["diagnostics"].append(diagnostic(finding, uri, lines));
  write_message(output_, notification("textDocument/publishDiagnostics", std::move(parameters)));
}

void LanguageServer::put_document(const std::string& uri, const Json::Value& version, std::string text) {
  Document& document = documents_[uri];
  document.findings = findings_of(text);
  document.text = std::move(text);
  publish(uri, version, document);
}

// Publishes an empty list, so that the editor removes the document's diagnostics.
void LanguageServer::remove_document(const std::string& uri) {
  if (documents_.erase(uri) > 0) publish(uri, Json::Value(), Document());
}

// --- Requests about a location in a document

static Json::Value hover(const Cursor& cursor, const Lines& lines) {
  const std::string description = description_at(cursor);
  if (description.empty()) return {};
  Json::Value result(Json::objectValue);
  result["contents"]["kind"] = "markdown";
  result["contents"]["value"] = description;
  result["range"] = lines.range_of(cursor.token);
  return result;
}

static Json::Value completion(const Cursor& cursor, const Lines& lines) {
  Json::Value items(Json::arrayValue);
  for (const Proposal& proposal : proposals_at(cursor)) {
    Json::Value& item = items.append(Json::objectValue);
    item["label"] = proposal.label;
    item["kind"] = proposal.kind == Proposal::Kind::kKey ? kPropertyItem : kValueItem;
    item["detail"] = proposal.detail;
    if (!proposal.description.empty()) item["documentation"] = proposal.description;
    item["textEdit"]["range"] = lines.range_of(replaced_range(cursor));
    item["textEdit"]["newText"] = proposal.replacement;
  }
  return items;
}

static bool overlap(TextRange one, TextRange other) {
  return one.begin <= other.end && other.begin <= one.end;
}

// "Replace with 24"
static std::string title_of(const std::vector<Edit>& fix) {
  if (fix.size() > 1) return "Fix this finding";
  const Edit& edit = fix.front();
  if (edit.replacement.empty()) return "Remove this";
  return (edit.range.begin == edit.range.end ? "Insert " : "Replace with ") + printable(edit.replacement);
}

static Json::Value quick_fix(const Finding& finding, const std::string& uri, const Lines& lines) {
  Json::Value action(Json::objectValue);
  action["title"] = title_of(finding.details.fix);
  action["kind"] = "quickfix";
  action["isPreferred"] = true;
  action["diagnostics"].append(diagnostic(finding, uri, lines));
  Json::Value& edits = action["edit"]["changes"][uri];
  for (const Edit& edit : finding.details.fix) {
    Json::Value& entry = edits.append(Json::objectValue);
    entry["range"] = lines.range_of(edit.range);
    entry["newText"] = edit.replacement;
  }
  return action;
}

static const Json::Value& member(const Json::Value& value, const char* key) {
  static const Json::Value kNone;
  const Json::Value* found = object_at(value, key);
  return found != nullptr ? *found : kNone;
}

static Json::Value quick_fixes(const std::vector<Finding>& findings, const Json::Value& parameters,
                               const std::string& uri, const Lines& lines) {
  const Json::Value& range = member(parameters, "range");
  const TextRange wanted = {lines.offset_of(member(range, "start")), lines.offset_of(member(range, "end"))};
  Json::Value actions(Json::arrayValue);
  for (const Finding& finding : findings)
    if (!finding.details.fix.empty() && overlap(finding.range, wanted))
      actions.append(quick_fix(finding, uri, lines));
  return actions;
}

// --- Messages

static std::string uri_of(const Json::Value& parameters) {
  return string_at(parameters, "textDocument.uri").value_or("");
}

const LanguageServer::Document* LanguageServer::document_of(const Json::Value& parameters) const {
  const auto found = documents_.find(uri_of(parameters));
  return found != documents_.end() ? &found->second : nullptr;
}

void LanguageServer::answer(const Json::Value& id, const std::string& method, const Json::Value& parameters) {
  if (method == "initialize") {
    is_initialized_ = true;
    return write_message(output_, response(id, capabilities()));
  }
  if (!is_initialized_)
    return write_message(output_, error_response(id, ErrorCode::kNotInitialized, "not initialized yet"));
  if (method == "shutdown") {
    is_shut_down_ = true;
    return write_message(output_, response(id, Json::Value()));
  }
  const bool is_known = method == "textDocument/hover" || method == "textDocument/completion" ||
                        method == "textDocument/codeAction";
  if (!is_known)
    return write_message(output_, error_response(id, ErrorCode::kMethodNotFound, "unknown method"));
  const Document* document = document_of(parameters);
  if (document == nullptr) return write_message(output_, response(id, Json::Value()));
  const Lines lines(document->text);
  if (method == "textDocument/codeAction")
    return write_message(
        output_, response(id, quick_fixes(document->findings, parameters, uri_of(parameters), lines)));
  const Cursor cursor = cursor_at(document->text, lines.offset_of(member(parameters, "position")));
  const bool is_hover = method == "textDocument/hover";
  write_message(output_, response(id, is_hover ? hover(cursor, lines) : completion(cursor, lines)));
}

void LanguageServer::handle_notification(const std::string& method, const Json::Value& parameters) {
  const Json::Value& document = member(parameters, "textDocument");
  if (method == "exit") {
    is_ended_ = true;
  } else if (method == "textDocument/didOpen") {
    put_document(uri_of(parameters), document["version"], string_at(document, "text").value_or(""));
  } else if (method == "textDocument/didChange") {
    // Each change contains the whole text, so only the last one matters.
    const Json::Value& changes = array_at(parameters, "contentChanges");
    if (changes.empty()) return;
    const Json::Value& last = changes[changes.size() - 1];
    put_document(uri_of(parameters), document["version"], string_at(last, "text").value_or(""));
  } else if (method == "textDocument/didClose") {
    remove_document(uri_of(parameters));
  }
}

void LanguageServer::handle(const Json::Value& message) {
  const std::string method = string_at(message, "method").value_or("");
  const Json::Value& parameters = member(message, "params");
  if (message.isObject() && message.isMember("id")) {
    // A message without a method is a response; it is ignored, since this server does not send requests.
    if (!method.empty()) answer(message["id"], method, parameters);
  } else {
    handle_notification(method, parameters);
  }
}

static bool parse(const std::string& body, Json::Value& message) {
  Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  try {
    return reader->parse(body.data(), body.data() + body.size(), &message, nullptr);
  } catch (const std::exception&) {
    // The parser throws an exception if the message is nested too deeply.
    return false;
  }
}

bool LanguageServer::serve() {
  while (!is_ended_) {
    const std::optional<std::string> body = read_message(input_);
    if (!body) return false;
    Json::Value message;
    if (parse(*body, message)) {
      handle(message);
    } else {
      write_message(output_, error_response(Json::Value(), ErrorCode::kParseError, "invalid JSON"));
    }
  }
  return is_shut_down_;
}
