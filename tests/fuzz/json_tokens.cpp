#include "json_tokens.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace {

class Scanner {
 public:
  explicit Scanner(const std::string& text) : text_(text) {}

  std::optional<std::vector<JsonToken>> scan() {
    skip_space();
    if (!scan_value(std::string::npos)) return std::nullopt;
    skip_space();
    if (position_ != text_.size()) return std::nullopt;
    return std::move(tokens_);
  }

 private:
  bool is_at(char c) const {
    return position_ < text_.size() && text_[position_] == c;
  }

  bool skip(char c) {
    if (!is_at(c)) return false;
    ++position_;
    skip_space();
    return true;
  }

  void skip_space() {
    position_ = std::min(text_.find_first_not_of(" \t\r\n", position_), text_.size());
  }

  void skip_comments() {
    skip_space();
    while (is_at('/')) {
      const bool is_line = text_.compare(position_, 2, "//") == 0;
      const std::size_t end =
          is_line ? text_.find_first_of("\r\n", position_) : text_.find("*/", position_ + 2);
      position_ = end == std::string::npos ? text_.size() : end + (is_line ? 1 : 2);
      skip_space();
    }
  }

  // Scans a string, including its closing quote.
  bool scan_string() {
    if (!is_at('"')) return false;
    for (++position_; position_ < text_.size() && text_[position_] != '"'; ++position_)
      position_ += text_[position_] == '\\' ? 1 : 0;
    if (position_ >= text_.size()) return false;
    ++position_;
    return true;
  }

  bool scan_members() {
    position_ += 1;
    skip_space();
    std::size_t key = std::string::npos;
    do {
      skip_comments();
      if (is_at('}') && (key == std::string::npos || text_.compare(key, 2, "\"\"") == 0)) return true;
      key = position_;
      if (!scan_string()) return false;
      skip_space();
      if (!skip(':') || !scan_value(key)) return false;
      skip_comments();
    } while (skip(','));
    return is_at('}');
  }

  bool scan_elements() {
    position_ += 1;
    skip_space();
    if (is_at(']')) return true;
    do {
      if (!scan_value(std::string::npos)) return false;
      skip_comments();
    } while (skip(','));
    return is_at(']');
  }

  // Scans a number, true, false or null.
  bool scan_word() {
    const std::size_t begin = position_;
    position_ = std::min(text_.find_first_of(" \t\r\n,]}/", position_), text_.size());
    const std::string_view word = std::string_view(text_).substr(begin, position_ - begin);
    if (word == "true" || word == "false" || word == "null") return true;
    return !word.empty() && word.find_first_not_of("+-.0123456789Ee") == std::string_view::npos;
  }

  bool scan_value(std::size_t key) {
    const std::size_t index = tokens_.size();
    tokens_.push_back({position_, 0, key});
    bool is_valid = false;
    if (is_at('{')) {
      is_valid = scan_members();
      ++position_;
    } else if (is_at('[')) {
      is_valid = scan_elements();
      ++position_;
    } else {
      is_valid = is_at('"') ? scan_string() : scan_word();
    }
    tokens_[index].end = position_;
    return is_valid;
  }

  const std::string& text_;
  std::size_t position_ = 0;
  std::vector<JsonToken> tokens_;
};

}  // namespace

std::optional<std::vector<JsonToken>> scan_json(const std::string& text) {
  return Scanner(text).scan();
}

bool may_have_comment(const std::string& text) {
  return text.find("//") != std::string::npos || text.find("/*") != std::string::npos;
}

std::string spread_json(const std::string& text, const std::vector<JsonToken>& tokens) {
  std::set<std::size_t> offsets;
  for (const JsonToken& token : tokens) {
    offsets.insert({token.begin, token.end});
    if (token.key != std::string::npos) offsets.insert(token.key);
  }
  std::string spread;
  std::size_t copied = 0;
  for (const std::size_t offset : offsets) {
    spread.append(text, copied, offset - copied) += "\n\t ";
    copied = offset;
  }
  return spread.append(text, copied);
}

std::string line_and_column(const std::string& text, std::size_t offset) {
  int line = 1;
  int column = 1;
  for (std::size_t i = 0; i < offset; ++i) {
    ++column;
    if (text[i] != '\n') continue;
    ++line;
    column = 1;
  }
  return std::to_string(line) + ":" + std::to_string(column);
}
