#include <algorithm>
#include <string_view>

#include "cli/base/terminal.h"
#include "cli/config_file/characters.h"
#include "cli/config_file/syntax_parts.h"

using Type = Token::Type;
using Kind = DeceptiveCharacter::Kind;

static bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

// The first offset at or after `begin` that is not a blank.
static std::size_t skip_blanks(const std::string& text, std::size_t begin) {
  while (begin < text.size() && is_blank(text[begin]))
    ++begin;
  return begin;
}

static std::size_t line_end(const std::string& text, std::size_t begin) {
  return std::min(text.find('\n', begin), text.size());
}

// Whether a string may end before this offset: punctuation or the end of the line follows.
static bool is_end_of_string(const std::string& text, std::size_t offset) {
  offset = skip_blanks(text, offset);
  return offset == text.size() || std::string_view(",:}]\n").find(text[offset]) != std::string_view::npos;
}

namespace {

// A quote that is not valid in JSON.
struct Quote {
  std::size_t size;     // in bytes; 0 if there is no quote
  std::string message;  // the kind of quotes
};

}  // namespace

static Quote quote_at(const std::string& text, std::size_t offset) {
  const std::string rest = text.substr(offset, 4);
  if (rest.empty()) return {0, ""};
  if (rest[0] == '\'') return {1, "single quotes"};
  if (rest[0] == '`') return {1, "backquotes"};
  const Utf8Character character = first_character(rest);
  const auto deception = find_deception(character.code);
  if (!deception || deception->kind != Kind::kQuote) return {0, ""};
  return {character.size, "typographic quotes (" + deception->description + ")"};
}

// Closing quote of a string that begins with a quote of another kind: the first quote on the line after
// which a string may end. It may be of any kind, since word processors do not replace all quotes.
static std::optional<TextRange> closing_quote(const std::string& text, std::size_t begin) {
  const std::size_t end = line_end(text, begin);
  for (std::size_t i = begin; i < end; ++i) {
    const std::size_t size = text[i] == '"' ? 1 : quote_at(text, i).size;
    if (size > 0 && is_end_of_string(text, i + size)) return range_of(i, i + size);
  }
  return std::nullopt;
}

// A string in quotes of another kind at the stop.
static std::optional<SyntaxError> other_quotes(const std::string& text, std::size_t begin) {
  const Quote quote = quote_at(text, begin);
  if (quote.size == 0) return std::nullopt;
  SyntaxError error{
      range_of(begin, begin + quote.size), quote.message + ": a string needs double quotes", {}, {}};
  const auto closing = closing_quote(text, begin + quote.size);
  if (!closing) return error;
  const auto content_end = static_cast<std::size_t>(closing->begin);
  const std::string content = text.substr(begin + quote.size, content_end - begin - quote.size);
  error.range.end = closing->end;
  if (content.find_first_of("\"\\") != std::string::npos) return error;
  error.fix.push_back({range_of(begin, begin + quote.size), "\""});
  if (text[content_end] != '"') error.fix.push_back({*closing, "\""});
  return error;
}

// A quote of another kind that was probably meant to close the string.
static std::optional<SyntaxError> other_closing_quote(const std::string& text, const Token& string) {
  for (std::size_t i = string.begin + 1; i < string.end; ++i) {
    const Quote quote = quote_at(text, i);
    if (quote.size == 0 || !is_end_of_string(text, i + quote.size)) continue;
    return SyntaxError{range_of(i, i + quote.size),
                       quote.message + ": this string begins with a double quote",
                       {{range_of(string.begin, string.begin + 1), "it begins here"}},
                       {{range_of(i, i + quote.size), "\""}}};
  }
  return std::nullopt;
}

static bool is_word_character(char c) {
  const bool is_letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  return is_letter || (c >= '0' && c <= '9') || std::string_view("_-./+").find(c) != std::string_view::npos;
}

// End of the first word of an unclosed string, if the string was probably meant to end there; a key ends
// before a colon.
static std::optional<std::size_t> end_of_only_word(const std::string& text, const Token& string) {
  std::size_t end = string.begin + 1;
  while (end < string.end &&
         (is_word_character(text[end]) || (text[end] == ':' && is_word_character(text[end + 1]))))
    ++end;
  if (end == string.begin + 1 || !is_end_of_string(text, end)) return std::nullopt;
  return end;
}

// A string whose closing quote is missing: it extends to the next quote, or to the end of the text.
static SyntaxError unclosed_string(const std::string& text, const Token& string) {
  if (auto error = other_closing_quote(text, string)) return *error;
  const std::size_t end = std::min(string.end, line_end(text, string.begin));
  SyntaxError error{
      range_of(string.begin, end), "the string is not closed: its second quote is missing", {}, {}};
  if (const auto word_end = end_of_only_word(text, string)) {
    error.range.end = static_cast<std::ptrdiff_t>(*word_end);
    error.fix.push_back(insertion(*word_end, "\""));
  }
  return error;
}

// A token directly after a string, without a blank or punctuation between them.
static std::optional<SyntaxError> text_behind_string(const std::string& text, const Stop& stop) {
  const Token& string = stop.previous;
  const std::size_t quote = string.end - 1;
  if (string.end == string.begin + 2 || text[string.end] == '"')
    return SyntaxError{
        range_of(quote, quote + 1), "one quote too many", {}, {{range_of(quote, quote + 1), ""}}};
  const std::size_t last = text.find_last_not_of(" \t", quote - 1);
  if (std::string_view(",:{[").find(text[last]) != std::string_view::npos)
    return unclosed_string(text, string);
  if (auto error = other_closing_quote(text, string)) return error;
  const bool is_value = stop.token.type == Type::kNumber || stop.token.type == Type::kWord;
  if (stop.expected == Expected::kColon && is_value) return std::nullopt;
  return SyntaxError{range_of(quote, quote + 1),
                     "a quote within a string needs a backslash: \\\"",
                     {{range_of(string.begin, string.begin + 1), "the string begins here"}},
                     {}};
}

// An unknown escape in an otherwise well-formed string.
static std::optional<SyntaxError> wrong_escape(const std::string& text, const Token& string) {
  for (std::size_t i = string.begin + 1; i + 1 < string.end; ++i) {
    if (text[i] != '\\') continue;
    const char letter = text[i + 1];
    const std::string digits = text.substr(i + 2, 4);
    const bool has_digits =
        digits.size() == 4 && digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    if (letter == 'u' && !has_digits)
      return SyntaxError{range_of(i, i + 2), "\\u needs four hexadecimal digits", {}, {}};
    if (std::string_view("\"\\/bfnrtu").find(letter) == std::string_view::npos) {
      const std::size_t size = first_character(text.substr(i + 1, 4)).size;
      SyntaxError error{range_of(i, i + 1 + size), "unknown escape: a backslash is written as \\\\", {}, {}};
      if (letter == '\'') {
        error.message = "unknown escape: a single quote needs no backslash";
        error.fix.push_back({range_of(i, i + 1), ""});
      }
      return error;
    }
    ++i;
  }
  return std::nullopt;
}

// The first half of a character beyond U+FFFF, without an escape for the second half.
static std::optional<SyntaxError> half_character(const std::string& text, const Token& string) {
  for (std::size_t i = text.find('\\', string.begin); i < string.end; i = text.find('\\', i + 2)) {
    const bool is_first_half = text[i + 1] == 'u' && (text[i + 2] == 'd' || text[i + 2] == 'D') &&
                               std::string_view("89abAB").find(text[i + 3]) != std::string_view::npos;
    if (is_first_half && text.compare(i + 6, 2, "\\u") != 0)
      return SyntaxError{
          range_of(i, i + 6), "half a character: \\uD800 to \\uDBFF need a second half", {}, {}};
    if (is_first_half) i += 6;
  }
  return std::nullopt;
}

static bool has_line_end(const std::string& text, const Token& token) {
  return token.type == Type::kString && text.find('\n', token.begin) < token.end;
}

std::optional<SyntaxError> find_wrong_quotes(const std::string& text, const Stop& stop) {
  const Token& token = stop.token;
  for (const Token* before : {&stop.before_previous, &stop.previous})
    if (has_line_end(text, *before)) return unclosed_string(text, *before);
  const bool is_adjacent = stop.previous.type == Type::kString && token.begin == stop.previous.end &&
                           !token.is_opener() && begins_value(text, token);
  if (is_adjacent) return text_behind_string(text, stop);
  if (token.type == Type::kInvalid && token.begin < text.size() && text[token.begin] == '"')
    return unclosed_string(text, token);
  if (has_line_end(text, token)) return unclosed_string(text, token);
  if (token.type == Type::kInvalid && stop.expected != Expected::kCommaOrEnd)
    return other_quotes(text, token.begin);
  if (token.type != Type::kString || stop.expected == Expected::kCommaOrEnd ||
      stop.expected == Expected::kColon)
    return std::nullopt;
  if (auto error = wrong_escape(text, token)) return error;
  return half_character(text, token);
}
