#include "cli/config_file/comments.h"

#include <algorithm>
#include <utility>

namespace {

class Scanner {
 public:
  Scanner(const std::string& text, std::string_view mark) : text_(text), mark_(mark) {}

  std::vector<Comment> scan() {
    while (location_ < text_.size()) {
      const char c = text_[location_];
      if (c == '\n') {
        end_line();
        ++location_;
      } else if (c == ' ' || c == '\t' || c == '\r') {
        ++location_;
      } else if (c == '/') {
        pass_comment();
      } else {
        pass_token(c);
      }
    }
    end_line();
    return std::move(found_);
  }

 private:
  // Comments that apply to a setting, which ends at the next comma or bracket of the same depth.
  struct Setting {
    std::size_t depth;
    std::vector<std::size_t> comments;
  };

  void pass_comment() {
    const std::size_t begin = location_;
    const bool is_line = text_.compare(begin, 2, "//") == 0;
    const std::size_t content_end =
        std::min(is_line ? text_.find_first_of("\r\n", begin) : text_.find("*/", begin + 2), text_.size());
    location_ = is_line ? content_end : std::min(content_end + 2, text_.size());
    const std::size_t content = text_.find_first_not_of(" \t\r\n*", begin + 2);
    if (content < content_end && text_.compare(content, mark_.size(), mark_) == 0)
      add({range(begin, location_), range(content + mark_.size(), content_end), {}});
    const std::size_t line_end = std::string_view(text_).substr(begin, location_ - begin).rfind('\n');
    if (line_end != std::string_view::npos) end_line_at(begin + line_end);
  }

  void add(Comment comment) {
    if (has_code_) {
      comment.scope.begin = static_cast<std::ptrdiff_t>(line_begin_);
      beside_.push_back(found_.size());
    } else {
      above_.push_back(found_.size());
    }
    found_.push_back(comment);
  }

  // Passes a bracket, a comma, a string, or a character of another token.
  void pass_token(char c) {
    has_code_ = true;
    if (c == ',' || c == '}' || c == ']') {
      end_setting();
    } else if (!above_.empty()) {
      begin_setting();
    }
    if (c == '}' || c == ']') {
      above_.clear();
      --depth_;
    }
    if (c == '{' || c == '[') ++depth_;
    if (c == '"') pass_string();
    ++location_;
  }

  // Moves to the quote that ends the string.
  void pass_string() {
    for (++location_; location_ < text_.size() && text_[location_] != '"'; ++location_)
      if (text_[location_] == '\\') ++location_;
  }

  void begin_setting() {
    for (const std::size_t comment : above_)
      found_[comment].scope = range(location_, location_);
    settings_.push_back({depth_, std::exchange(above_, {})});
  }

  void end_setting() {
    if (settings_.empty() || settings_.back().depth != depth_) return;
    for (const std::size_t comment : settings_.back().comments)
      found_[comment].scope.end = static_cast<std::ptrdiff_t>(location_);
    settings_.pop_back();
  }

  void end_line() {
    end_line_at(location_);
  }

  void end_line_at(std::size_t offset) {
    for (const std::size_t comment : beside_)
      found_[comment].scope.end = static_cast<std::ptrdiff_t>(offset);
    beside_.clear();
    line_begin_ = offset + 1;
    has_code_ = false;
  }

  static TextRange range(std::size_t begin, std::size_t end) {
    return {static_cast<std::ptrdiff_t>(begin), static_cast<std::ptrdiff_t>(end)};
  }

  const std::string& text_;
  std::string_view mark_;
  std::vector<Comment> found_;
  std::size_t location_ = 0;
  std::size_t line_begin_ = 0;
  std::size_t depth_ = 0;
  bool has_code_ = false;            // on this line
  std::vector<std::size_t> beside_;  // comments on this line
  std::vector<std::size_t> above_;   // comments that apply to the next setting
  std::vector<Setting> settings_;    // the innermost last
};

}  // namespace

std::vector<Comment> marked_comments(const std::string& text, std::string_view mark) {
  // Most configurations have no such comments.
  if (text.find(mark) == std::string::npos) return {};
  return Scanner(text, mark).scan();
}
