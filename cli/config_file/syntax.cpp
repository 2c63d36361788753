#include "cli/config_file/syntax.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "cli/base/terminal.h"
#include "cli/config_file/characters.h"
#include "cli/config_file/syntax_parts.h"

using Type = Token::Type;
using Kind = DeceptiveCharacter::Kind;

// Offset of a position that the parser reports. For the parser, a single carriage return also ends a line.
static std::size_t offset_of(const std::string& text, const Position& position) {
  std::size_t begin = 0;
  for (int line = 1; line < position.line; ++line) {
    const std::size_t end = text.find_first_of("\r\n", begin);
    if (end == std::string::npos) return text.size();
    begin = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
  }
  return std::min(begin + static_cast<std::size_t>(position.column - 1), text.size());
}

std::string quoted_key(const std::string& text, const Token& key, const char* otherwise) {
  constexpr std::size_t kMostCharacters = 32;
  const std::string name = text.substr(key.begin, key.end - key.begin);
  const bool is_name = name.size() > 2 && name.size() <= kMostCharacters + 2 &&
                       name.find_first_of("\\\n\r\t") == std::string::npos;
  return is_name ? name : otherwise;
}

bool begins_value(const std::string& text, const Token& token) {
  if (token.is_scalar() || token.is_opener()) return true;
  if (token.type != Type::kInvalid) return false;
  const char c = text[token.begin];
  return std::string_view("!#$%&()*;<=>?@\\^|~").find(c) == std::string_view::npos;
}

std::optional<SyntaxError> find_wrong_encoding(const std::string& text) {
  if (text.find_first_not_of(" \t\r\n") == std::string::npos)
    return SyntaxError{{}, "the file is empty", {}, {}};
  const auto begins_with = [&text](std::string_view bytes) {
    return text.compare(0, bytes.size(), bytes) == 0;
  };
  const auto is_nul = [&text](std::size_t offset) { return offset < text.size() && text[offset] == '\0'; };
  const bool is_32_bit =
      text.size() >= 4 && (begins_with({"\xff\xfe\0\0", 4}) || begins_with({"\0\0\xfe\xff", 4}) ||
                           (is_nul(1) && is_nul(2) && is_nul(3)) || (is_nul(0) && is_nul(1) && is_nul(2)));
  const bool is_16_bit = begins_with("\xff\xfe") || begins_with("\xfe\xff") || is_nul(0) != is_nul(1);
  if (!is_32_bit && !is_16_bit) return std::nullopt;
  return SyntaxError{
      {0, 1},
      std::string("the file is encoded in ") + (is_32_bit ? "UTF-32" : "UTF-16") + ": save it as UTF-8",
      {},
      {}};
}

// Error about a byte that is not UTF-8, a NUL, or another control character.
static SyntaxError unreadable_character(TextRange range, const Utf8Character& character, const char first) {
  if (character.size == 1 && static_cast<unsigned char>(first) >= 0x80)
    return {range, "this byte is not UTF-8: the file has another encoding", {}, {}};
  return {
      range,
      "contains " + code_point(character.code) + (character.code == 0 ? " (NUL)" : ", a control character"),
      {},
      {}};
}

std::optional<SyntaxError> find_odd_character(const std::string& text, const Stop& stop) {
  const std::size_t begin = stop.token.begin;
  const bool is_odd = stop.token.type == Type::kInvalid || stop.token.type == Type::kEnd;
  if (!is_odd || begin == text.size()) return std::nullopt;
  const Utf8Character character = first_character(std::string_view(text).substr(begin, 4));
  const TextRange range = range_of(begin, begin + character.size);
  if (character.code < 0x20) return unreadable_character(range, character, text[begin]);
  const auto deception = find_deception(character.code);
  if (!deception || deception->kind == Kind::kQuote) return std::nullopt;
  const bool is_letter = deception->meant.find_first_of(",:{}[]") == std::string::npos;
  if (deception->kind == Kind::kLookalike && is_letter) return std::nullopt;
  return SyntaxError{range, "contains " + deception->description, {}, {{range, deception->meant}}};
}

static SyntaxError error_at(const Token& token, std::string message, std::vector<Edit> fix = {}) {
  return {range_of(token), std::move(message), {}, std::move(fix)};
}

static bool begins_at(const std::string& text, std::size_t offset, std::string_view mark) {
  return text.compare(offset, mark.size(), mark) == 0;
}

static std::optional<SyntaxError> find_comment(const std::string& text, const Stop& stop) {
  const Token& token = stop.token;
  if (token.type == Type::kComment) return error_at(token, "a comment is not allowed here");
  if (token.type != Type::kInvalid) return std::nullopt;
  if (begins_at(text, token.begin, "/*")) return error_at(token, "the comment is never closed");
  for (const char* mark : {"<<<<<<<", "=======", ">>>>>>>", "|||||||"})
    if (begins_at(text, token.begin, mark))
      return SyntaxError{range_of(token.begin, token.begin + 7), "a merge conflict is not resolved", {}, {}};
  for (const char* mark : {"#", "--", "<!--"}) {
    if (!begins_at(text, token.begin, mark)) continue;
    const std::size_t end = std::min(text.find_first_of("\r\n", token.begin), text.size());
    return SyntaxError{range_of(token.begin, end), "a comment is not allowed here", {}, {}};
  }
  return std::nullopt;
}

// The configuration is not an object.
static std::optional<SyntaxError> find_other_root(const Stop& stop) {
  if (!stop.open.empty() || stop.expected != Expected::kValue || stop.token.type == Type::kInvalid)
    return std::nullopt;
  return error_at(stop.token, "the configuration is not an object in braces");
}

// The first key of the innermost open object that equals the key at the stop.
static std::optional<Token> find_equal_key(const std::string& text, const Stop& stop) {
  const std::string key = text.substr(stop.token.begin, stop.token.end - stop.token.begin);
  std::size_t depth = 0;
  for (Token token = token_at(text, stop.open.back().end); token.begin < stop.token.begin;
       token = token_at(text, token.end)) {
    if (token.is_opener()) ++depth;
    if (token.is_closer()) --depth;
    const bool is_key =
        depth == 0 && token.type == Type::kString && token_at(text, token.end).type == Type::kColon;
    if (is_key && text.compare(token.begin, token.end - token.begin, key) == 0) return token;
  }
  return std::nullopt;
}

static SyntaxError duplicate_key(const std::string& text, const Stop& stop) {
  const std::string key = quoted_key(text, stop.token, "this");
  SyntaxError error = error_at(stop.token, key + " is already a key of this object");
  if (const auto first = find_equal_key(text, stop))
    error.related.push_back({range_of(*first), "the first one"});
  return error;
}

static bool is_in_object(const Stop& stop) {
  return stop.open.back().type == Type::kObjectBegin;
}

static SyntaxError missing_comma(const Token& value) {
  return error_at(value, "a comma is missing after this value", {insertion(value.end, ",")});
}

static SyntaxError missing_value(const std::string& text, const Stop& stop) {
  return error_at(stop.key, quoted_key(text, stop.key, "this key") + " has no value");
}

static std::string quoted_mark(const std::string& text, const Token& token) {
  if (token.begin >= text.size()) return "the end of the file";
  const std::size_t size = token.type == Type::kInvalid ? first_character(text.substr(token.begin, 4)).size
                                                        : token.end - token.begin;
  return token.is_scalar() ? "this" : "'" + text.substr(token.begin, size) + "'";
}

static SyntaxError explain_comma_or_end(const std::string& text, const Stop& stop) {
  const Token& token = stop.token;
  if (token.type == Type::kColon && is_in_object(stop)) return missing_value(text, stop);
  if (begins_value(text, token)) return missing_comma(stop.previous);
  if (text[token.begin] == ';')
    return error_at(token, "a comma is expected, not ';'", {{range_of(token), ","}});
  const std::string closer = is_in_object(stop) ? "'}'" : "']'";
  return error_at(token, "a comma or " + closer + " is expected, not " + quoted_mark(text, token));
}

static SyntaxError remove(const Token& token, std::string message) {
  return error_at(token, std::move(message), {{range_of(token), ""}});
}

// An extra comma where a key or an element is expected.
static std::optional<SyntaxError> find_extra_comma(const Stop& stop) {
  const bool is_after_comma = stop.previous.type == Type::kComma;
  if (stop.token.type == Type::kComma) return remove(stop.token, "one comma too many");
  if (!is_after_comma || !is_pair(stop.open.back(), stop.token)) return std::nullopt;
  const char* what = is_in_object(stop) ? "member" : "element";
  return remove(stop.previous, std::string("trailing comma after the last ") + what);
}

static SyntaxError explain_key(const std::string& text, const Stop& stop) {
  if (auto error = find_extra_comma(stop)) return *error;
  if (stop.value_without_comma) return missing_comma(*stop.value_without_comma);
  if (stop.token.type == Type::kString) return duplicate_key(text, stop);
  return error_at(stop.token, "a key in double quotes is expected, not " + quoted_mark(text, stop.token));
}

static SyntaxError explain_colon(const std::string& text, const Stop& stop) {
  const Token& token = stop.token;
  const std::string key = quoted_key(text, stop.key, "this key");
  if (text[token.begin] == '=') {
    const TextRange range = range_of(token.begin, token.begin + (begins_at(text, token.begin, "=>") ? 2 : 1));
    return {range, "a colon is expected, not '='", {}, {{range, ":"}}};
  }
  if (begins_value(text, token))
    return error_at(stop.key, "a colon is missing after " + key, {insertion(stop.key.end, ":")});
  return missing_value(text, stop);
}

static SyntaxError explain_value(const std::string& text, const Stop& stop) {
  const bool is_member = stop.expected == Expected::kValue && !stop.open.empty();
  if (is_member && stop.token.type == Type::kColon) return remove(stop.token, "one colon too many");
  if (is_member && (stop.token.type == Type::kComma || stop.token.is_closer()))
    return missing_value(text, stop);
  if (!is_member && !stop.open.empty()) {
    if (auto error = find_extra_comma(stop)) return *error;
  }
  return error_at(stop.token, "a value is expected, not " + quoted_mark(text, stop.token));
}

// Explains the error at the stop. Nothing if the token may come there, so that only the parser knows the
// error.
static std::optional<SyntaxError> explain_stop(const std::string& text, const Stop& stop) {
  if (stop.is_too_deep)
    return error_at(stop.token,
                    "too deeply nested: " + std::to_string(stop.open.size()) + " brackets are open here");
  if (auto error = find_odd_character(text, stop)) return error;
  if (auto error = find_comment(text, stop)) return error;
  if (auto error = find_other_root(stop)) return error;
  if (stop.expected != Expected::kNothing) {
    if (auto error = find_wrong_quotes(text, stop)) return error;
    if (auto error = find_wrong_word(text, stop)) return error;
  }
  if (auto error = find_wrong_bracket(text, stop)) return error;
  const bool is_key = stop.token.type == Type::kString && stop.expected != Expected::kCommaOrEnd;
  if (stop.is_expected && !is_key) return std::nullopt;
  switch (stop.expected) {
    case Expected::kCommaOrEnd:
      return explain_comma_or_end(text, stop);
    case Expected::kFirstKey:
    case Expected::kKey:
      return explain_key(text, stop);
    case Expected::kColon:
      return explain_colon(text, stop);
    default:
      return explain_value(text, stop);
  }
}

// The range limited to the text, and at least one byte long unless the text is empty.
static TextRange clamped(TextRange range, const std::string& text) {
  const auto size = static_cast<std::ptrdiff_t>(text.size());
  range.begin = std::clamp<std::ptrdiff_t>(range.begin, 0, std::max<std::ptrdiff_t>(size - 1, 0));
  range.end = std::clamp<std::ptrdiff_t>(range.end, std::min(range.begin + 1, size), size);
  return range;
}

SyntaxError explain_parse_error(const std::string& text, const ParseError& parse_error) {
  const std::size_t offset = offset_of(text, parse_error.position);
  SyntaxError error{range_of(offset, offset + 1), parse_error.reason, {}, {}};
  if (auto encoding = find_wrong_encoding(text)) {
    error = *encoding;
  } else if (const auto stop = find_stop(text, offset)) {
    error = explain_stop(text, *stop).value_or(error);
  }
  error.range = clamped(error.range, text);
  for (RelatedLocation& related : error.related)
    related.range = clamped(related.range, text);
  return error;
}
