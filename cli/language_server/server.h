#pragma once

// A language server for configurations, according to the Language Server Protocol 3.17: diagnostics while
// the user types, descriptions from the schema, completion and quick fixes. An editor starts it and
// communicates with it through standard input and output.

#include <json/json.h>

#include <istream>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "cli/lint/finding.h"

class LanguageServer {
 public:
  LanguageServer(std::istream& input, std::ostream& output) : input_(input), output_(output) {}

  // Handles messages until the editor sends "exit" or the input ends. Returns whether the editor sent both
  // "shutdown" and "exit".
  bool serve();

 private:
  // The content of a file in the editor, saved or not, and the findings about it.
  struct Document {
    std::string text;
    std::vector<Finding> findings;
  };

  void handle(const Json::Value& message);
  void answer(const Json::Value& id, const std::string& method, const Json::Value& parameters);
  void handle_notification(const std::string& method, const Json::Value& parameters);

  void put_document(const std::string& uri, const Json::Value& version, std::string text);
  void remove_document(const std::string& uri);
  const Document* document_of(const Json::Value& parameters) const;
  void publish(const std::string& uri, const Json::Value& version, const Document& document);

  std::istream& input_;
  std::ostream& output_;
  std::map<std::string, Document> documents_;  // by URI
  bool is_initialized_ = false;
  bool is_shut_down_ = false;
  bool is_ended_ = false;
};
