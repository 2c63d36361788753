#include "cli/config_file/edit.h"

#include <algorithm>

#include "cli/config_file/source.h"

constexpr std::ptrdiff_t kNew = -1;
constexpr char kBlanks[] = " \t\r\n";

std::string string_literal(const std::string& text) {
  Json::StreamWriterBuilder builder;
  builder["emitUTF8"] = true;
  return Json::writeString(builder, text);
}

Edit replace_value(const Json::Value& value, std::string literal) {
  return {range_of(value), std::move(literal)};
}

Edit rename_key(const std::string& text, const Json::Value& value, const std::string& key) {
  return {key_range(text, value), string_literal(key)};
}

static std::size_t at(std::ptrdiff_t offset) {
  return static_cast<std::size_t>(offset);
}

// The colon between a key and its value, with the blanks around it; ": " if they are on different lines.
static std::string colon_between(const std::string& text, TextRange key, TextRange value) {
  const std::string between = text.substr(at(key.end), at(value.begin - key.end));
  const bool is_on_one_line = between.find_first_of("\r\n") == std::string::npos;
  return is_on_one_line ? between : ": ";
}

// Separator between the comma after a member and the next key: the line break and the indentation before
// the member's own key, or on a shared line the blanks after its comma. Without a comma, a blank, unless
// the colon has no blanks.
static std::string separator_beside(const std::string& text, TextRange key, TextRange value,
                                    const std::string& colon) {
  const std::size_t before = text.find_last_not_of(" \t", at(key.begin) - 1);
  if (text[before] == '\n') {
    const std::size_t line_end = text[before - 1] == '\r' ? before - 1 : before;
    return text.substr(line_end, at(key.begin) - line_end);
  }
  const bool is_first = text[before] != ',';
  const std::size_t comma = is_first ? text.find_first_not_of(kBlanks, at(value.end)) : before;
  const std::size_t next = text.find_first_not_of(" \t", comma + 1);
  const bool has_next = text[comma] == ',' && text[next] != '\n' && text[next] != '\r';
  if (has_next) return text.substr(comma + 1, next - comma - 1);
  return colon == ":" ? "" : " ";
}

Edit insert_member(const std::string& text, const Json::Value& beside, const std::string& key,
                   const std::string& literal) {
  const TextRange value = range_of(beside);
  const TextRange beside_key = key_range(text, beside);
  const std::string colon = colon_between(text, beside_key, value);
  return {{value.end, value.end},
          "," + separator_beside(text, beside_key, value, colon) + string_literal(key) + colon + literal};
}

bool do_overlap(const Edit& a, const Edit& b) {
  return a.range.begin == b.range.begin || (a.range.begin < b.range.end && b.range.begin < a.range.end);
}

static void sort_by_location(std::vector<Edit>& edits) {
  std::sort(edits.begin(), edits.end(),
            [](const Edit& a, const Edit& b) { return a.range.begin < b.range.begin; });
}

bool any_overlap(const std::vector<Edit>& edits) {
  std::vector<Edit> sorted = edits;
  sort_by_location(sorted);
  return std::adjacent_find(sorted.begin(), sorted.end(), do_overlap) != sorted.end();
}

std::string apply_edits(const std::string& text, std::vector<Edit> edits) {
  sort_by_location(edits);
  std::string result;
  std::size_t copied = 0;
  for (const Edit& edit : edits) {
    result.append(text, copied, at(edit.range.begin) - copied);
    result += edit.replacement;
    copied = at(edit.range.end);
  }
  return result.append(text, copied, std::string::npos);
}

EditedText::EditedText(const std::string& text) : text_(text) {
  for (std::size_t i = 0; i <= text.size(); ++i)
    origins_.push_back(static_cast<std::ptrdiff_t>(i));
}

void EditedText::apply(std::vector<Edit> edits) {
  sort_by_location(edits);
  std::vector<std::ptrdiff_t> origins;
  auto copied = origins_.begin();
  for (const Edit& edit : edits) {
    origins.insert(origins.end(), copied, origins_.begin() + edit.range.begin);
    origins.insert(origins.end(), edit.replacement.size(), kNew);
    copied = origins_.begin() + edit.range.end;
  }
  origins.insert(origins.end(), copied, origins_.end());
  text_ = apply_edits(text_, std::move(edits));
  origins_ = std::move(origins);
}

std::ptrdiff_t EditedText::origin_of(std::ptrdiff_t offset) const {
  std::size_t known = at(offset);
  if (origins_[known] != kNew) return origins_[known];
  while (known > 0 && origins_[known] == kNew)
    --known;
  return origins_[known] == kNew ? 0 : origins_[known] + 1;
}

std::vector<Edit> EditedText::edits() const {
  std::vector<Edit> edits;
  std::ptrdiff_t expected = 0;
  std::size_t written = 0;
  for (std::size_t i = 0; i < origins_.size(); ++i) {
    if (origins_[i] == kNew) {
      ++written;
      continue;
    }
    if (written > 0 || origins_[i] != expected)
      edits.push_back({{expected, origins_[i]}, text_.substr(i - written, written)});
    expected = origins_[i] + 1;
    written = 0;
  }
  return edits;
}
