#pragma once

// Edits of a configuration's text that leave the rest of the text unchanged.

#include <json/json.h>

#include <string>
#include <vector>

#include "cli/config_file/text_range.h"

// The string as a JSON literal, with quotes.
std::string string_literal(const std::string& text);

// The edit that replaces a value with `literal`, a value in JSON.
Edit replace_value(const Json::Value& value, std::string literal);

// The edit that replaces the key of an object's member, given the member's value.
Edit rename_key(const std::string& text, const Json::Value& value, const std::string& key);

// The edit that adds a member to an object after its member `beside`: on a separate line if `beside` is on
// one, with the same indentation and the same blanks around the colon.
Edit insert_member(const std::string& text, const Json::Value& beside, const std::string& key,
                   const std::string& literal);

// Whether both edits change the same part of the text, or insert at the same offset.
bool do_overlap(const Edit& a, const Edit& b);

// Whether any two of the edits overlap.
bool any_overlap(const std::vector<Edit>& edits);

// The text after the edits. Their ranges refer to `text` and must not overlap.
std::string apply_edits(const std::string& text, std::vector<Edit> edits);

// A text that is edited in several steps.
class EditedText {
 public:
  explicit EditedText(const std::string& text);

  const std::string& text() const {
    return text_;
  }

  // Applies edits, whose ranges refer to the present text.
  void apply(std::vector<Edit> edits);

  // Offset of a byte in the original text; for an inserted byte, the offset of its insertion.
  std::ptrdiff_t origin_of(std::ptrdiff_t offset) const;

  // All changes so far, as edits of the original text.
  std::vector<Edit> edits() const;

 private:
  std::string text_;
  // For each byte and for the end of the text, the offset in the original text; kNew for an inserted byte.
  std::vector<std::ptrdiff_t> origins_;
};
