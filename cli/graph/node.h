#pragma once

// A diagram of a network as `lanfab graph` draws it: a tree of nodes. It is made from a configuration
// (diagram.h), gets the findings of `lanfab check` (annotations.h), is cut to a legible size (shorten.h), and
// then written as text (text_tree.h), for Graphviz (dot.h), or as a page (html.h). What was cut stands in
// tables (tables.h).

#include <json/json.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "cli/lint/finding.h"

using Locations = std::vector<const Json::Value*>;

// A list in a diagram, and the table with its items.
struct ListKind {
  const char* title;                           // "Static leases"
  const char* owner;                           // the column with the name of the list's box; null without one
  std::initializer_list<const char*> columns;  // those of an item's cells
};

struct Node {
  enum class Kind {
    kLine,  // a line of the node above it
    // Boxes of their own.
    kGateway,
    kUplink,
    kLan,
    kPassthrough,
    kTunnel,
    kRemoteEndpoint,
    kNames,
    kAside,  // what is not active, and what stands for those that are left out
  };
  enum class Internet { kNone, kReached, kPreferred };

  Kind kind;
  std::string name;              // may be empty
  std::string text;              // may be empty
  Locations locations{};         // what it shows: a finding there is about it
  std::vector<Node> children{};  // the lines before the boxes
  std::vector<Finding> findings{};
  const ListKind* list = nullptr;       // of a node whose children are a list
  std::vector<std::string> cells{};     // of an item of a list; `text` has them all
  Internet internet = Internet::kNone;  // whether it has a default route, and the one with the lowest metric

  bool is_box() const {
    return kind != Kind::kLine;
  }
};

inline void add_line(Node& node, std::string text, Locations locations) {
  node.children.push_back({Node::Kind::kLine, "", std::move(text), std::move(locations)});
}

// Adds an item to a node with a `list`. Empty cells at its end are left out.
void add_item(Node& list, std::vector<std::string> cells, const Json::Value& location);

// A line that stands above a list, or that a list continues.
Node list_node(const ListKind& kind, std::string heading, Locations locations);

// "eth0  port, 192.168.1.1/24"
std::string line_of(const Node& node);
