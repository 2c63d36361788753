#pragma once

// A language server for configurations, in the words of the Language Server Protocol 3.17: diagnostics as one
// types, the schema's descriptions, completion and quick fixes. An editor starts it and talks to it over its
// standard input and output.

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

  // Handles messages until the editor ends the conversation. Returns whether it did so in order.
  bool serve();

 private:
  // A file as the editor has it, saved or not.
  struct Document {
    std::string text;
    std::vector<Finding> findings;
  };

  void handle(const Json::Value& message);
  void answer(const Json::Value& id, const std::string& method, const Json::Value& parameters);
  void take_notice(const std::string& method, const Json::Value& parameters);

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
