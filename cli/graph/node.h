#pragma once

// A diagram of a network as `lanfab graph` draws it: a tree of nodes. It is built from a configuration
// (diagram.h), annotated with the findings of `lanfab check` (annotations.h), shortened to a legible size
// (shorten.h), and written as text (text_tree.h), for Graphviz (dot.h), or as a page (html.h). Tables show
// the shortened lists in full (tables.h).

#include <json/json.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "cli/lint/finding.h"

using Locations = std::vector<const Json::Value*>;

// A kind of list in a diagram, and the table for the items of such lists.
struct ListKind {
  const char* title;                           // "Static leases"
  const char* owner;                           // column for the name of the list's box; null if unused
  std::initializer_list<const char*> columns;  // columns for the cells of an item
};

struct Node {
  enum class Kind {
    kLine,  // a line in the node above it
    // Boxes.
    kGateway,
    kUplink,
    kLan,
    kPassthrough,
    kTunnel,
    kRemoteEndpoint,
    kNames,
    kAside,  // an inactive interface or tunnel, or a note about boxes left out
  };
  enum class Internet { kNone, kReached, kPreferred };

  Kind kind;
  std::string name;              // may be empty
  std::string text;              // may be empty
  Locations locations{};         // values that it shows; findings within them belong to it
  std::vector<Node> children{};  // lines before boxes
  std::vector<Finding> findings{};
  const ListKind* list = nullptr;       // null unless the children are items of a list
  std::vector<std::string> cells{};     // cells of a list item; `text` contains them all
  Internet internet = Internet::kNone;  // whether it has a default route, or the preferred one

  bool is_box() const {
    return kind != Kind::kLine;
  }
};

inline void add_line(Node& node, std::string text, Locations locations) {
  node.children.push_back({Node::Kind::kLine, "", std::move(text), std::move(locations)});
}

// Adds an item to a node with a `list`. Empty cells at its end are left out.
void add_item(Node& list, std::vector<std::string> cells, const Json::Value& location);

// A line that is the heading of a list. Its children are the items.
Node list_node(const ListKind& kind, std::string heading, Locations locations);

// The name and text of a node: "eth0  port, 192.168.1.1/24".
std::string line_of(const Node& node);
