#pragma once

// Changes of a configuration's text that leave everything around them as it is.

#include <json/json.h>

#include <string>
#include <vector>

#include "cli/config_file/text_range.h"

// The text of a string in JSON, with its quotes.
std::string string_literal(const std::string& text);

// The edit that replaces a value with `literal`, a value in JSON.
Edit replace_value(const Json::Value& value, std::string literal);

// The edit that gives a member of an object another key.
Edit rename_key(const std::string& text, const Json::Value& value, const std::string& key);

// The edit that adds a member to an object behind its member `beside`: on a line of its own if that has one,
// with the same indentation, and with the same blanks around the colon.
Edit insert_member(const std::string& text, const Json::Value& beside, const std::string& key,
                   const std::string& literal);

// Whether both edits change the same piece of the text, or insert at the same offset.
bool do_overlap(const Edit& a, const Edit& b);

// Whether two of the edits do.
bool any_overlap(const std::vector<Edit>& edits);

// The text after the edits, whose ranges are those of `text`; they do not overlap.
std::string apply_edits(const std::string& text, std::vector<Edit> edits);

// A text that is edited several times over.
class EditedText {
 public:
  explicit EditedText(const std::string& text);

  const std::string& text() const {
    return text_;
  }

  // The ranges are those of the present text.
  void apply(std::vector<Edit> edits);

  // Where in the text at the beginning a byte was, or the offset that it was written to.
  std::ptrdiff_t origin_of(std::ptrdiff_t offset) const;

  // All changes so far, with the ranges of the text at the beginning.
  std::vector<Edit> edits() const;

 private:
  std::string text_;
  // Of each byte, and of the end, the offset at the beginning; kNew for a byte that has been written.
  std::vector<std::ptrdiff_t> origins_;
};
