#include "markup.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "text.h"

namespace {

// A start tag or an end tag.
struct Tag {
  std::string name;
  std::map<std::string, std::string> attributes;
  bool is_end = false;
  bool is_empty = false;
};

// Parses XML, and checks that it is well-formed.
class XmlReader {
 public:
  explicit XmlReader(const std::string& text) : text_(text) {
    check(is_clean_xml(text), "the markup has control characters or is not UTF-8");
  }

  // Calls `start` with each start tag and the names of the enclosing elements.
  template <typename Start>
  void read(Start start) {
    while (position_ < text_.size()) {
      if (text_[position_] != '<') {
        read_text();
      } else if (!skip_other()) {
        Tag tag = read_tag();
        if (tag.is_end) {
          check(!open_.empty() && open_.back() == tag.name, "an element ends that has not begun");
          open_.pop_back();
        } else {
          start(tag, open_);
          if (!tag.is_empty) open_.push_back(std::move(tag.name));
        }
      }
    }
    check(open_.empty(), "an element does not end");
  }

 private:
  static bool is_clean_xml(const std::string& text) {
    for (const std::string& line : lines_of(text)) {
      if (!is_clean(line)) return false;
    }
    return true;
  }

  bool is_at(const char* beginning) const {
    return text_.compare(position_, std::char_traits<char>::length(beginning), beginning) == 0;
  }

  // Checks that every ampersand begins one of the permitted entities.
  void check_entities(const std::string& text) const {
    for (std::size_t at = text.find('&'); at != std::string::npos; at = text.find('&', at + 1)) {
      const std::size_t end = text.find(';', at);
      check(end != std::string::npos, "an ampersand does not begin an entity");
      const std::string entity = text.substr(at + 1, end - at - 1);
      static const std::set<std::string> kNames = {"amp", "lt", "gt", "quot", "apos"};
      const bool is_number = entity.size() > 1 && entity[0] == '#' &&
                             entity.find_first_not_of("x0123456789abcdefABCDEF", 1) == std::string::npos;
      check(is_number || kNames.count(entity) != 0, "an ampersand does not begin an entity");
    }
  }

  void read_text() {
    const std::size_t end = std::min(text_.find('<', position_), text_.size());
    const std::string text = text_.substr(position_, end - position_);
    check(text.find('>') == std::string::npos, "an angle bracket in a text");
    check_entities(text);
    position_ = end;
  }

  // Skips a comment, a processing instruction or the document type. Returns whether there is one.
  bool skip_other() {
    const std::pair<const char*, const char*> others[] = {{"<!--", "-->"}, {"<?", "?>"}, {"<!DOCTYPE", ">"}};
    for (const auto& [begin, end] : others) {
      if (!is_at(begin)) continue;
      const std::size_t found = text_.find(end, position_);
      check(found != std::string::npos, "a comment does not end");
      position_ = found + std::char_traits<char>::length(end);
      return true;
    }
    return false;
  }

  std::string read_name() {
    const std::size_t end = std::min(text_.find_first_of(" \t\n=/>", position_), text_.size());
    check(end > position_, "a tag without a name");
    std::string name = text_.substr(position_, end - position_);
    position_ = end;
    return name;
  }

  void skip_space() {
    position_ = std::min(text_.find_first_not_of(" \t\n", position_), text_.size());
  }

  Tag read_tag() {
    Tag tag;
    tag.is_end = is_at("</");
    position_ += tag.is_end ? 2 : 1;
    tag.name = read_name();
    for (skip_space(); !is_at(">") && !is_at("/>"); skip_space())
      check(tag.attributes.insert(read_attribute()).second, "an attribute stands twice");
    tag.is_empty = is_at("/>");
    position_ += tag.is_empty ? 2 : 1;
    return tag;
  }

  std::pair<std::string, std::string> read_attribute() {
    std::string name = read_name();
    check(is_at("=\""), "an attribute without a value");
    position_ += 2;
    const std::size_t end = text_.find('"', position_);
    check(end != std::string::npos, "the value of an attribute does not end");
    std::string value = text_.substr(position_, end - position_);
    check(value.find('<') == std::string::npos, "an angle bracket in an attribute");
    check_entities(value);
    position_ = end + 1;
    return {std::move(name), std::move(value)};
  }

  const std::string& text_;
  std::size_t position_ = 0;
  std::vector<std::string> open_;
};

}  // namespace

// Whether the value is a number, a color or a lower-case word.
static bool is_plain(const std::string& value) {
  return !value.empty() &&
         value.find_first_not_of("#0123456789abcdefghijklmnopqrstuvwxyz") == std::string::npos;
}

void check_label(const std::string& label) {
  check(label.find(']') == std::string::npos, "a label has a bracket, which Graphviz may lose");
  static const std::set<std::string> kElements = {"table", "tr", "td", "font", "b", "br"};
  XmlReader(label).read([](const Tag& tag, const std::vector<std::string>&) {
    check(kElements.count(tag.name) != 0, "a label has another element");
    for (const auto& [name, value] : tag.attributes) {
      check(name != "href" && name != "src" && name != "title", "a label loads something");
      check(is_plain(value), "an attribute of a label has a string of the configuration");
    }
  });
}

void check_drawing(const std::string& svg, std::size_t nodes, std::size_t edges) {
  static const std::set<std::string> kElements = {"svg", "g", "title", "polygon", "polyline", "path", "text"};
  std::size_t node_groups = 0;
  std::size_t edge_groups = 0;
  XmlReader(svg).read([&](const Tag& tag, const std::vector<std::string>& around) {
    check(kElements.count(tag.name) != 0, "a drawing has another element");
    check((tag.name == "svg") == around.empty(), "a drawing is not one element");
    for (const auto& [name, value] : tag.attributes) {
      const bool is_script = name.compare(0, 2, "on") == 0;
      check(!is_script && name.find("href") == std::string::npos, "a drawing loads or runs something");
    }
    const auto kind = tag.attributes.find("class");
    if (kind == tag.attributes.end()) return;
    node_groups += kind->second == "node" ? 1 : 0;
    edge_groups += kind->second == "edge" ? 1 : 0;
  });
  check(node_groups == nodes && edge_groups == edges, "a drawing does not have all boxes and edges");
}
