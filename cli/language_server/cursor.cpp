#include "cli/language_server/cursor.h"

#include <algorithm>

namespace {

struct Token {
  enum class Kind { kPunctuation, kString, kWord, kEnd };

  Kind kind;
  TextRange range;
};

// Splits a text into tokens and skips blanks and comments. A string without a closing quote
// ends with its line.
class Tokens {
 public:
  explicit Tokens(std::string_view text) : text_(text) {}

  Token next() {
    skip_blanks();
    const std::size_t begin = location_;
    if (begin >= text_.size()) return token(Token::Kind::kEnd, begin);
    if (text_[begin] == '"') return string_token();
    if (kPunctuation.find(text_[begin]) != std::string_view::npos) {
      ++location_;
      return token(Token::Kind::kPunctuation, begin);
    }
    location_ = end_of_word(begin);
    return token(Token::Kind::kWord, begin);
  }

 private:
  static constexpr std::string_view kPunctuation = "{}[]:,";
  static constexpr std::string_view kBlanks = " \t\r\n";

  Token token(Token::Kind kind, std::size_t begin) const {
    return {kind, {static_cast<std::ptrdiff_t>(begin), static_cast<std::ptrdiff_t>(location_)}};
  }

  bool is_at(std::string_view beginning) const {
    return text_.compare(location_, beginning.size(), beginning) == 0;
  }

  // Advances past the next `end`, or to the end of the text.
  void skip_past(std::string_view end) {
    const std::size_t found = text_.find(end, location_ + 2);
    location_ = found == std::string_view::npos ? text_.size() : found + end.size();
  }

  void skip_blanks() {
    while (location_ < text_.size()) {
      if (kBlanks.find(text_[location_]) != std::string_view::npos) {
        ++location_;
      } else if (is_at("//")) {
        skip_past("\n");
      } else if (is_at("/*")) {
        skip_past("*/");
      } else {
        return;
      }
    }
  }

  Token string_token() {
    const std::size_t begin = location_++;
    while (location_ < text_.size() && text_[location_] != '"' && text_[location_] != '\n')
      location_ += text_[location_] == '\\' ? 2U : 1U;
    location_ = std::min(location_ + 1, text_.size());
    if (text_[location_ - 1] == '\n') --location_;
    return token(Token::Kind::kString, begin);
  }

  // A word has at least one character, which may be any character.
  std::size_t end_of_word(std::size_t begin) const {
    std::size_t end = begin + 1;
    while (end < text_.size() && text_[end] != '"' &&
           kPunctuation.find(text_[end]) == std::string_view::npos &&
           kBlanks.find(text_[end]) == std::string_view::npos)
      ++end;
    return end;
  }

  std::string_view text_;
  std::size_t location_ = 0;
};

// An object or array that is open at a location of the text.
struct Container {
  enum class Expected { kKey, kColon, kValue, kComma };

  bool is_object;
  Expected expected;
  PathStep key;  // of the member whose value is expected or was read last
  std::vector<std::string> keys;
};

// Reads the tokens up to the cursor, and then the rest of the object around it for its other keys.
class CursorFinder {
 public:
  using Expected = Container::Expected;

  CursorFinder(std::string_view text, std::ptrdiff_t offset) : text_(text), offset_(offset), tokens_(text) {}

  Cursor find() {
    for (Token token = tokens_.next(); token.kind != Token::Kind::kEnd; token = tokens_.next()) {
      if (!is_found_ && reaches(token)) find_at(token);
      if (is_found_ && awaits_colon_) see_colon(token);
      take(token);
      if (is_found_ && containers_.size() < depth_) break;
    }
    if (!is_found_) find_between({offset_, offset_});
    return cursor_;
  }

 private:
  // Whether the cursor is before the token or at it. The end of a token also belongs to the token,
  // unless it is punctuation.
  bool reaches(const Token& token) const {
    return token.kind == Token::Kind::kPunctuation ? offset_ <= token.range.begin
                                                   : offset_ <= token.range.end;
  }

  void find_at(const Token& token) {
    const bool is_inside = token.kind != Token::Kind::kPunctuation && offset_ >= token.range.begin;
    if (is_inside && is_key(token)) {
      cursor_.key = text_of(token);
      awaits_colon_ = true;
      found(Cursor::Kind::kKey, token.range);
    } else {
      find_between(is_inside ? token.range : TextRange{offset_, offset_});
    }
  }

  bool is_key(const Token& token) const {
    if (containers_.empty() || !containers_.back().is_object || token.kind != Token::Kind::kString)
      return false;
    // The comma before the key, or the rest of the previous member, may not be written yet.
    return containers_.back().expected != Expected::kValue;
  }

  void find_between(TextRange token) {
    if (containers_.empty()) return found(Cursor::Kind::kElsewhere, token);
    const Expected expected = containers_.back().expected;
    if (expected == Expected::kKey) return found(Cursor::Kind::kKey, token);
    found(expected == Expected::kValue ? Cursor::Kind::kValue : Cursor::Kind::kElsewhere, token);
  }

  void found(Cursor::Kind kind, TextRange token) {
    is_found_ = true;
    depth_ = containers_.size();
    cursor_.kind = kind;
    cursor_.token = token;
    cursor_.is_quoted = token.begin < token.end && text_[static_cast<std::size_t>(token.begin)] == '"';
    const std::size_t steps = kind == Cursor::Kind::kKey ? depth_ - 1 : depth_;
    for (std::size_t i = 0; i < steps; ++i)
      cursor_.path.push_back(containers_[i].key);
    if (kind == Cursor::Kind::kKey) cursor_.other_keys = containers_.back().keys;
  }

  void see_colon(const Token& token) {
    if (token.range.begin <= cursor_.token.begin) return;
    awaits_colon_ = false;
    cursor_.has_colon = text_[static_cast<std::size_t>(token.range.begin)] == ':';
  }

  std::string text_of(const Token& token) const {
    const auto begin = static_cast<std::size_t>(token.range.begin) + 1;
    const std::size_t size = static_cast<std::size_t>(token.range.end) - begin;
    const std::string_view text = text_.substr(begin, size);
    const bool is_closed = !text.empty() && text.back() == '"';
    return std::string(text.substr(0, text.size() - (is_closed ? 1 : 0)));
  }

  // Updates the open containers with the token.
  void take(const Token& token) {
    const char first = text_[static_cast<std::size_t>(token.range.begin)];
    if (token.kind != Token::Kind::kPunctuation) {
      take_text(token);
    } else if (first == '{' || first == '[') {
      open(first == '{');
    } else if (containers_.empty()) {
      return;
    } else if (first == '}' || first == ']') {
      containers_.pop_back();
    } else {
      Container& inner = containers_.back();
      const bool is_value_next = first == ':' || !inner.is_object;
      inner.expected = is_value_next ? Expected::kValue : Expected::kKey;
    }
  }

  void take_text(const Token& token) {
    if (containers_.empty()) return;
    if (!is_key(token)) {
      containers_.back().expected = Expected::kComma;
      return;
    }
    Container& object = containers_.back();
    object.key = text_of(token);
    object.expected = Expected::kColon;
    const bool is_cursor = is_found_ && token.range.begin == cursor_.token.begin;
    if (!is_cursor) object.keys.push_back(*object.key);
    if (is_found_ && !is_cursor && containers_.size() == depth_ && cursor_.kind == Cursor::Kind::kKey)
      cursor_.other_keys.push_back(*object.key);
  }

  void open(bool is_object) {
    if (!containers_.empty()) containers_.back().expected = Expected::kComma;
    containers_.push_back({is_object, is_object ? Expected::kKey : Expected::kValue, std::nullopt, {}});
  }

  std::string_view text_;
  std::ptrdiff_t offset_;
  Tokens tokens_;
  std::vector<Container> containers_;
  Cursor cursor_;
  std::size_t depth_ = 0;  // of the cursor
  bool is_found_ = false;
  bool awaits_colon_ = false;
};

}  // namespace

Cursor cursor_at(std::string_view text, std::ptrdiff_t offset) {
  return CursorFinder(text, offset).find();
}
