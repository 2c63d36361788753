#pragma once

// A picture of a network as `lanfab graph` draws it: a tree of parts. It is made from a configuration
// (diagram.h), gets the findings of `lanfab check` (annotations.h), is cut to a legible size (shorten.h), and
// then written as text (text_tree.h) or for Graphviz (dot.h).

#include <json/json.h>

#include <string>
#include <vector>

#include "cli/lint/finding.h"

struct Part {
  enum class Kind {
    kLine,  // a line of the part above it
    // Boxes of their own.
    kGateway,
    kUplink,
    kLan,
    kTunnel,
    kFarEnd,
    kNames,
    kAside,  // what is not enabled, and what stands for those that are left out
  };

  Kind kind;
  std::string name;                          // may be empty
  std::string text;                          // may be empty
  std::vector<const Json::Value*> places{};  // what it shows: a finding there is about it
  std::vector<Part> parts{};                 // the lines before the boxes
  std::vector<Finding> findings{};

  bool is_box() const {
    return kind != Kind::kLine;
  }
};
