#include "cli/config_file/json_tokens.h"

#include <algorithm>
#include <string_view>

using Type = Token::Type;

// Maximum number of open brackets.
constexpr std::size_t kMaxDepth = 1000;

// Offset after the closing quote of a string; nothing if the string is not closed.
static std::optional<std::size_t> string_end(const std::string& text, std::size_t begin) {
  for (std::size_t i = begin + 1; i < text.size(); ++i) {
    if (text[i] == '"') return i + 1;
    if (text[i] == '\\') ++i;
  }
  return std::nullopt;
}

static std::size_t digits_end(const std::string& text, std::size_t begin) {
  return std::min(text.find_first_not_of("0123456789", begin), text.size());
}

// End of a token that begins with a digit or a sign. The parser checks later whether it is a number.
static std::size_t number_end(const std::string& text, std::size_t begin) {
  std::size_t end = digits_end(text, begin + 1);
  if (end < text.size() && text[end] == '.') end = digits_end(text, end + 1);
  if (end == text.size() || (text[end] != 'e' && text[end] != 'E')) return end;
  ++end;
  if (end < text.size() && (text[end] == '+' || text[end] == '-')) ++end;
  return digits_end(text, end);
}

static Token comment_at(const std::string& text, std::size_t begin) {
  const bool is_line = text.compare(begin, 2, "//") == 0;
  if (!is_line && text.compare(begin, 2, "/*") != 0) return {Type::kInvalid, begin, begin + 1};
  if (is_line) return {Type::kComment, begin, std::min(text.find_first_of("\r\n", begin), text.size())};
  const std::size_t end = text.find("*/", begin + 2);
  if (end == std::string::npos) return {Type::kInvalid, begin, begin + 2};
  return {Type::kComment, begin, end + 2};
}

static Token word_or_invalid(const std::string& text, std::size_t begin) {
  for (const std::string_view word : {"true", "false", "null"})
    if (text.compare(begin, word.size(), word) == 0) return {Type::kWord, begin, begin + word.size()};
  return {Type::kInvalid, begin, begin + 1};
}

static std::optional<Type> type_of_mark(char c) {
  switch (c) {
    case '\0':
      return Type::kEnd;
    case '{':
      return Type::kObjectBegin;
    case '}':
      return Type::kObjectEnd;
    case '[':
      return Type::kArrayBegin;
    case ']':
      return Type::kArrayEnd;
    case ',':
      return Type::kComma;
    case ':':
      return Type::kColon;
    default:
      return std::nullopt;
  }
}

Token token_at(const std::string& text, std::size_t offset) {
  const std::size_t begin = std::min(text.find_first_not_of(" \t\r\n", offset), text.size());
  if (begin == text.size()) return {Type::kEnd, begin, begin};
  const char c = text[begin];
  if (const auto type = type_of_mark(c)) return {*type, begin, begin + 1};
  if (c == '"') {
    const auto end = string_end(text, begin);
    return end ? Token{Type::kString, begin, *end} : Token{Type::kInvalid, begin, text.size()};
  }
  if (c == '/') return comment_at(text, begin);
  const bool is_sign = c == '-' || c == '+';
  if (is_sign && begin + 1 < text.size() && text[begin + 1] == 'I') return {Type::kInvalid, begin, begin + 2};
  if (is_sign || (c >= '0' && c <= '9')) return {Type::kNumber, begin, number_end(text, begin)};
  return word_or_invalid(text, begin);
}

bool is_pair(const Token& opener, const Token& closer) {
  return (opener.type == Type::kObjectBegin && closer.type == Type::kObjectEnd) ||
         (opener.type == Type::kArrayBegin && closer.type == Type::kArrayEnd);
}

namespace {

// Checks tokens against the grammar, as leniently as the parser.
class Follower {
 public:
  Follower(const std::string& text, std::size_t error_offset) : text_(text), error_offset_(error_offset) {}

  std::optional<Stop> follow() {
    for (std::size_t offset = 0;; offset = stop_.token.end) {
      stop_.token = token_at(text_, offset);
      const bool is_end = stop_.token.type == Type::kEnd && stop_.token.begin == text_.size();
      if (is_end && stop_.expected == Expected::kNothing) return std::nullopt;
      if (is_complaint()) {
        Stop before = stop_;
        before.is_expected = accept();
        return before;
      }
      if (!accept()) return std::move(stop_);
    }
  }

 private:
  // Whether the parser complains about this token. Not true of offset 0, where the parser also reports
  // errors without a location; a wrong first token is rejected by accept().
  bool is_complaint() const {
    return stop_.token.begin == error_offset_ && error_offset_ > 0;
  }

  // Consumes the token. False if a token of its type may not come here.
  bool accept() {
    if (stop_.token.type == Type::kComment) return accept_comment();
    const bool was_after_comment = is_after_comment_;
    is_after_comment_ = false;
    switch (stop_.expected) {
      case Expected::kFirstKey:
      case Expected::kKey:
        return accept_key();
      case Expected::kColon:
        return stop_.token.type == Type::kColon && proceed(stop_.colon, Expected::kValue);
      case Expected::kFirstElement:
        return stop_.token.type == Type::kArrayEnd ? close() : accept_value();
      case Expected::kValue:
      case Expected::kElement:
        return accept_value();
      case Expected::kCommaOrEnd:
        return accept_comma_or_end(was_after_comment);
      default:
        return false;
    }
  }

  // The parser allows a comment before a key and after a value.
  bool accept_comment() {
    is_after_comment_ = stop_.expected == Expected::kCommaOrEnd;
    return is_after_comment_ || stop_.expected == Expected::kFirstKey || stop_.expected == Expected::kKey;
  }

  bool accept_key() {
    if (stop_.token.type == Type::kString) return proceed(stop_.key, Expected::kColon);
    if (stop_.token.type != Type::kObjectEnd) return false;
    // The parser allows a trailing comma after a member with an empty key.
    const bool is_key_empty = stop_.key.end == stop_.key.begin + 2;
    return (stop_.expected == Expected::kFirstKey || is_key_empty) && close();
  }

  bool accept_value() {
    stop_.is_too_deep = stop_.open.size() >= kMaxDepth;
    if (stop_.is_too_deep) return false;
    if (stop_.token.is_scalar()) {
      if (stop_.open.empty()) return false;
      return proceed(stop_.token, Expected::kCommaOrEnd);
    }
    if (!stop_.token.is_opener() || (stop_.open.empty() && stop_.token.type == Type::kArrayBegin))
      return false;
    const bool is_object = stop_.token.type == Type::kObjectBegin;
    stop_.open.push_back(stop_.token);
    return proceed(stop_.token, is_object ? Expected::kFirstKey : Expected::kFirstElement);
  }

  bool accept_comma_or_end(bool is_after_comment) {
    if (stop_.token.is_closer()) return is_pair(stop_.open.back(), stop_.token) && close();
    const bool is_comma = stop_.token.type == Type::kComma;
    const bool is_in_object = stop_.open.back().type == Type::kObjectBegin;
    if (!is_comma && !(is_after_comment && is_in_object && stop_.token.type != Type::kEnd)) return false;
    stop_.value_without_comma = is_comma ? std::nullopt : std::optional(stop_.previous);
    return proceed(stop_.token, is_in_object ? Expected::kKey : Expected::kElement);
  }

  bool close() {
    stop_.open.pop_back();
    return proceed(stop_.token, stop_.open.empty() ? Expected::kNothing : Expected::kCommaOrEnd);
  }

  bool proceed(Token& role, Expected next) {
    role = stop_.token;
    if (stop_.token.type == Type::kComma) stop_.before_comma = stop_.previous;
    stop_.before_previous = stop_.previous;
    stop_.previous = stop_.token;
    stop_.expected = next;
    return true;
  }

  const std::string& text_;
  std::size_t error_offset_;
  bool is_after_comment_ = false;
  Stop stop_;
};

}  // namespace

std::optional<Stop> find_stop(const std::string& text, std::size_t offset) {
  return Follower(text, offset).follow();
}
