#include <algorithm>
#include <string_view>
#include <utility>

#include "cli/config_file/syntax_parts.h"

using Type = Token::Type;

namespace {

// Location of a token on its line.
struct Location {
  std::size_t line_begin;
  std::size_t indentation;  // of the line
  bool is_first;            // on the line
};

// Finds the locations of tokens, which must be queried in the order of the text.
class Lines {
 public:
  explicit Lines(const std::string& text)
      : text_(text), first_(std::min(text.find_first_not_of(" \t\r"), text.size())) {}

  Location location_of(const Token& token) {
    while (offset_ < token.begin)
      if (text_[offset_++] == '\n') line_begin_ = offset_;
    if (first_ < line_begin_) first_ = std::min(text_.find_first_not_of(" \t\r", line_begin_), text_.size());
    return {line_begin_, first_ - line_begin_, first_ == token.begin};
  }

 private:
  const std::string& text_;
  std::size_t offset_ = 0;
  std::size_t line_begin_ = 0;
  std::size_t first_;
};

struct OpenBracket {
  Token token;
  Location location;
  bool has_indented_content = false;
};

// Wrong brackets up to the stop, judged by the indentation.
struct LayoutFindings {
  std::optional<Token> unclosed;     // opening bracket that is not closed
  Token last;                        // last token inside that bracket
  std::optional<Token> superfluous;  // closing bracket that is superfluous
};

}  // namespace

// Whether the indentation of a token at the beginning of a line places it outside the bracket.
static bool is_outside(const OpenBracket& bracket, const Token& token, const Location& location) {
  if (location.line_begin == bracket.location.line_begin) return false;
  if (token.is_closer()) return location.indentation < bracket.location.indentation;
  return bracket.has_indented_content && location.indentation <= bracket.location.indentation;
}

// Compares the indentation of brackets and keys up to and including the token at `end`.
static LayoutFindings judge_layout(const std::string& text, std::size_t end) {
  Lines lines(text);
  std::vector<OpenBracket> open;
  Token last;
  for (Token token = token_at(text, 0); token.type != Type::kEnd && token.begin <= end;
       token = token_at(text, token.end)) {
    const Location location = lines.location_of(token);
    if (!open.empty() && location.is_first && (token.is_closer() || token.type == Type::kString)) {
      OpenBracket& inner = open.back();
      if (is_outside(inner, token, location)) return {inner.token, last, std::nullopt};
      const bool is_inside = location.indentation > inner.location.indentation;
      if (token.is_closer() && is_inside && (inner.location.is_first || inner.has_indented_content))
        return {std::nullopt, {}, token};
      inner.has_indented_content = inner.has_indented_content || is_inside;
    }
    if (token.is_opener()) open.push_back({token, location});
    if (token.is_closer() && !open.empty()) open.pop_back();
    if (token.type != Type::kComma) last = token;
  }
  return {};
}

static bool is_on_one_line(const std::string& text, const Token& a, const Token& b) {
  return std::min(text.find('\n', a.begin), text.size()) >= b.begin;
}

// Whether the brackets after `offset` are balanced and close exactly those of `open`.
static bool is_balanced(const std::string& text, std::size_t offset, std::vector<Token> open) {
  for (Token token = token_at(text, offset); token.begin < text.size(); token = token_at(text, token.end)) {
    if (token.is_opener()) open.push_back(token);
    if (!token.is_closer()) continue;
    if (open.empty() || !is_pair(open.back(), token)) return false;
    open.pop_back();
  }
  return open.empty();
}

static const char* closer_of(const Token& opener) {
  return opener.type == Type::kObjectBegin ? "}" : "]";
}

static const char* mark_of(const Token& opener) {
  return opener.type == Type::kObjectBegin ? "{" : "[";
}

// The closing bracket is missing after the token `last`.
static SyntaxError missing_closer(const Token& opener, const Token& last) {
  return {range_of(last),
          std::string("'") + closer_of(opener) + "' is missing after this",
          {{range_of(opener), std::string("'") + mark_of(opener) + "' is opened here"}},
          {}};
}

// The text ends within brackets.
static SyntaxError unclosed_at_end(const std::string& text, const Stop& stop) {
  const Token& opener = stop.open.back();
  SyntaxError error = missing_closer(opener, stop.previous);
  const bool is_complete = stop.expected == Expected::kCommaOrEnd || stop.expected == Expected::kFirstKey ||
                           stop.expected == Expected::kFirstElement;
  if (stop.open.size() > 1 || !is_complete) return error;
  const bool is_one_line = is_on_one_line(text, opener, stop.previous);
  error.fix.push_back(insertion(stop.previous.end, std::string(is_one_line ? "" : "\n") + closer_of(opener)));
  return error;
}

// The last colon of the innermost open object.
static std::optional<Token> last_colon(const std::string& text, const Stop& stop) {
  std::optional<Token> colon;
  std::size_t depth = 0;
  for (Token token = token_at(text, stop.open.back().end); token.begin < stop.token.begin;
       token = token_at(text, token.end)) {
    if (depth == 0 && token.type == Type::kColon) colon = token;
    if (token.is_opener()) ++depth;
    if (token.is_closer()) --depth;
  }
  return colon;
}

static SyntaxError missing_opener(const Token& colon, const Token& second) {
  return {range_of(colon), "'[' is missing after this", {{range_of(second), "this has no key"}}, {}};
}

// A bracket that is closed by one of the other kind, or not closed before one.
static SyntaxError wrong_closer(const std::string& text, const Stop& stop) {
  const Token& opener = stop.open.back();
  std::vector<Token> outside = stop.open;
  outside.pop_back();
  const bool is_other_kind = is_balanced(text, stop.token.end, outside);
  const bool is_missing = is_balanced(text, stop.token.begin, outside);
  const bool is_extra = is_balanced(text, stop.token.end, stop.open);
  if (is_extra && !is_other_kind && !is_missing) {
    const auto colon = last_colon(text, stop);
    if (opener.type == Type::kObjectBegin && colon)
      return {range_of(*colon), "'[' is missing after this", {{range_of(stop.token), "closed here"}}, {}};
    return {range_of(stop.token),
            std::string("no '") + (opener.type == Type::kObjectBegin ? "[" : "{") + "' is open here",
            {},
            {}};
  }
  if (is_missing && !is_other_kind) {
    SyntaxError error = missing_closer(opener, stop.previous);
    if (stop.expected == Expected::kCommaOrEnd)
      error.fix.push_back(insertion(stop.previous.end, closer_of(opener)));
    return error;
  }
  SyntaxError error{range_of(stop.token),
                    std::string("'") + mark_of(opener) + "' is closed with '" + text[stop.token.begin] + "'",
                    {{range_of(opener), "opened here"}},
                    {}};
  if (is_other_kind && !is_missing) error.fix.push_back({range_of(stop.token), closer_of(opener)});
  return error;
}

// An opening bracket that should be of the other kind.
static SyntaxError other_opener(const Token& opener, TextRange content, std::string note) {
  const bool is_object = opener.type == Type::kObjectBegin;
  return {range_of(opener),
          is_object ? "'[' is expected, not '{'" : "'{' is expected, not '['",
          {{content, std::move(note)}},
          {{range_of(opener), is_object ? "[" : "{"}}};
}

// A key inside an array: either the array is not closed, or an object is not opened.
static SyntaxError explain_key_in_array(const std::string& text, const Stop& stop, const Token& key,
                                        const Token& before) {
  const Token& opener = stop.open.back();
  std::vector<Token> as_object = stop.open;
  as_object.back().type = Type::kObjectBegin;
  if (before.is_opener() && is_balanced(text, opener.end, as_object))
    return other_opener(opener, range_of(key), "a key is here");
  std::vector<Token> with_object = stop.open;
  with_object.push_back({Type::kObjectBegin, key.begin, key.begin});
  if (before.is_opener() || is_balanced(text, key.begin, with_object))
    return {range_of(key), "'{' is missing before this key", {{range_of(opener), "in this array"}}, {}};
  return missing_closer(opener, before.type == Type::kComma ? stop.before_comma : before);
}

static std::optional<SyntaxError> key_in_array(const std::string& text, const Stop& stop) {
  if (stop.open.back().type != Type::kArrayBegin || stop.expected != Expected::kCommaOrEnd)
    return std::nullopt;
  // The key is either read as an element or, if a comma is missing before it, rejected.
  if (stop.token.type == Type::kColon && stop.previous.type == Type::kString)
    return explain_key_in_array(text, stop, stop.previous, stop.before_previous);
  if (stop.token.type == Type::kString && token_at(text, stop.token.end).type == Type::kColon)
    return explain_key_in_array(text, stop, stop.token, stop.previous);
  return std::nullopt;
}

// Values without keys inside braces.
static std::optional<SyntaxError> array_in_braces(const std::string& text, const Stop& stop) {
  const Token& opener = stop.open.back();
  if (opener.type != Type::kObjectBegin) return std::nullopt;
  const bool is_first_key = stop.expected == Expected::kFirstKey && stop.token.is_opener();
  const bool is_first_string = stop.expected == Expected::kColon &&
                               stop.before_previous.begin == opener.begin &&
                               (stop.token.type == Type::kComma || stop.token.type == Type::kArrayEnd);
  if (!is_first_key && !is_first_string) return std::nullopt;
  std::vector<Token> open = stop.open;
  open.back().type = Type::kArrayBegin;
  if (!is_balanced(text, opener.end, open)) return std::nullopt;
  return other_opener(opener, range_of(stop.token), "no key is before this");
}

// An array without its opening bracket: its second value has no key.
static std::optional<SyntaxError> array_without_opener(const std::string& text, const Stop& stop) {
  if (stop.open.back().type != Type::kObjectBegin) return std::nullopt;
  const bool is_object = stop.expected == Expected::kKey && stop.token.type == Type::kObjectBegin;
  const bool is_string = stop.expected == Expected::kColon && stop.token.type == Type::kArrayEnd;
  const auto colon = is_object || is_string ? last_colon(text, stop) : std::nullopt;
  if (!colon) return std::nullopt;
  return missing_opener(*colon, is_object ? stop.token : stop.previous);
}

// Text after the end of the configuration.
static SyntaxError text_after_end(const std::string& text, const Stop& stop) {
  const LayoutFindings layout = judge_layout(text, stop.previous.begin);
  if (stop.token.is_closer() || layout.superfluous) {
    const Token& closer = layout.superfluous ? *layout.superfluous : stop.token;
    return {range_of(closer), std::string("one '") + text[closer.begin] + "' too many", {}, {}};
  }
  if (stop.token.type == Type::kComma || stop.token.type == Type::kString)
    return {range_of(stop.previous),
            "the configuration ends here, but the text goes on",
            {{range_of(stop.token), "the text goes on here"}},
            {}};
  return {range_of(stop.token),
          "text after the end of the configuration",
          {{range_of(stop.previous), "it ends here"}},
          {}};
}

// Whether the cause of the stop may be an unclosed bracket long before it.
static bool may_be_unclosed(const Stop& stop) {
  if (stop.expected == Expected::kNothing) return false;
  const bool is_duplicate_key = stop.expected == Expected::kKey && stop.token.type == Type::kString;
  const bool is_without_comma = stop.expected == Expected::kCommaOrEnd && stop.token.type == Type::kString;
  return stop.token.type == Type::kEnd || stop.token.is_closer() || is_duplicate_key || is_without_comma;
}

static bool is_trailing_comma(const Stop& stop) {
  const bool is_after_comma = stop.expected == Expected::kKey || stop.expected == Expected::kElement;
  return is_after_comma && !stop.open.empty() && is_pair(stop.open.back(), stop.token);
}

std::optional<SyntaxError> find_wrong_bracket(const std::string& text, const Stop& stop) {
  if (stop.expected == Expected::kNothing) return text_after_end(text, stop);
  if (stop.open.empty() || is_trailing_comma(stop)) return std::nullopt;
  if (may_be_unclosed(stop)) {
    const LayoutFindings layout = judge_layout(text, stop.token.begin);
    if (layout.unclosed) return missing_closer(*layout.unclosed, layout.last);
  }
  if (stop.token.type == Type::kEnd) return unclosed_at_end(text, stop);
  if (auto error = array_in_braces(text, stop)) return error;
  if (auto error = array_without_opener(text, stop)) return error;
  const bool is_between = stop.expected != Expected::kValue;
  if (stop.token.is_closer() && is_between && !is_pair(stop.open.back(), stop.token))
    return wrong_closer(text, stop);
  return key_in_array(text, stop);
}
