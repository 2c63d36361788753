#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "cli/base/terminal.h"
#include "cli/config_file/characters.h"
#include "cli/config_file/nearest.h"
#include "cli/config_file/syntax_parts.h"

using Type = Token::Type;
using Kind = DeceptiveCharacter::Kind;

static bool is_key_expected(const Stop& stop) {
  return stop.expected == Expected::kKey || stop.expected == Expected::kFirstKey;
}

// Size in bytes of the character at `offset` if it may be part of a word; otherwise 0.
static std::size_t size_in_word(const std::string& text, std::size_t offset, bool is_key) {
  const char c = text[offset];
  const bool is_alphanumeric = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  if (is_alphanumeric || std::string_view("_-.+/@$*%").find(c) != std::string_view::npos) return 1;
  if (c == ':') return is_key ? 0 : 1;
  if (static_cast<unsigned char>(c) < 0x80) return 0;
  const Utf8Character character = first_character(std::string_view(text).substr(offset, 4));
  const auto deception = find_deception(character.code);
  return character.code == 0 || (deception && deception->kind != Kind::kLookalike) ? 0 : character.size;
}

static std::size_t word_end(const std::string& text, std::size_t begin, bool is_key) {
  std::size_t end = begin;
  while (end < text.size()) {
    const std::size_t size = size_in_word(text, end, is_key);
    if (size == 0) break;
    end += size;
  }
  return end;
}

// The word in lower case, with ASCII letters in place of characters that look like them.
static std::string plain_word(const std::string& word) {
  std::string plain = plain_text(word);
  std::transform(plain.begin(), plain.end(), plain.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return plain;
}

// The first deceptive character of a word.
static std::optional<DeceptiveCharacter> first_deception(std::string_view word) {
  for (; !word.empty(); word.remove_prefix(first_character(word).size))
    if (auto deception = find_deception(first_character(word).code)) return deception;
  return std::nullopt;
}

static SyntaxError replaced(TextRange range, std::string message, const std::string& replacement) {
  return {range, std::move(message), {}, {{range, replacement}}};
}

// true, false and null, as other languages write them.
static std::optional<SyntaxError> other_literal(const std::string& word, TextRange range) {
  const std::string plain = plain_word(word);
  const auto deception = first_deception(word);
  for (const char* literal : {"true", "false", "null"}) {
    if (plain != literal) continue;
    if (deception)
      return replaced(range, "the word has a " + deception->description + ": write " + literal, literal);
    return replaced(range, "\"" + word + "\" is not a value in JSON: write " + literal, literal);
  }
  for (const char* other : {"none", "nil", "undefined"})
    if (plain == other) return replaced(range, "\"" + word + "\" is not a value in JSON: write null", "null");
  const bool is_yes = plain == "yes" || plain == "on";
  if (is_yes || plain == "no" || plain == "off")
    return SyntaxError{range,
                       "\"" + word + "\" is not a value in JSON: write " + (is_yes ? "true" : "false") +
                           ", or a string in double quotes",
                       {},
                       {}};
  if (const auto literal = nearest(plain, {"true", "false", "null"}))
    return replaced(range, "\"" + word + "\" is not a value in JSON: did you mean " + *literal + "?",
                    *literal);
  return std::nullopt;
}

static bool consists_of(std::string_view word, std::string_view characters) {
  return !word.empty() && word.find_first_not_of(characters) == std::string_view::npos;
}

// Numbers as other languages write them.
static std::optional<SyntaxError> other_number(const std::string& word, TextRange range) {
  constexpr std::string_view kDigits = "0123456789";
  std::string_view digits = word;
  if (!digits.empty() && (digits[0] == '-' || digits[0] == '+')) digits.remove_prefix(1);
  const std::string name = plain_word(std::string(digits));
  for (const char* special : {"nan", "inf", "infinity"})
    if (name == special) return SyntaxError{range, "JSON has no number " + word, {}, {}};
  constexpr std::size_t kMostHexadecimalDigits = 15;
  const bool is_hexadecimal = digits.size() > 2 && digits.size() <= kMostHexadecimalDigits &&
                              (digits.substr(0, 2) == "0x" || digits.substr(0, 2) == "0X") &&
                              consists_of(digits.substr(2), "0123456789abcdefABCDEF");
  if (is_hexadecimal) {
    const std::string decimal = std::to_string(std::strtoll(word.c_str(), nullptr, 16));
    return replaced(range, "a number is decimal in JSON: write " + decimal, decimal);
  }
  if (digits.size() > 1 && digits[0] == '.' && consists_of(digits.substr(1), kDigits))
    return replaced(range, "a number has a digit before the point",
                    word.substr(0, word.size() - digits.size()) + "0" + std::string(digits));
  if (digits[0] != '_' && consists_of(digits, "0123456789_") && digits.find('_') != std::string_view::npos) {
    std::string decimal = word;
    decimal.erase(std::remove(decimal.begin(), decimal.end(), '_'), decimal.end());
    return replaced(range, "a number has no underscores", decimal);
  }
  if (consists_of(word, "0123456789+-.eE") && consists_of(word.substr(0, 1), "0123456789+-") &&
      word.find_first_of("eE") != std::string::npos)
    return SyntaxError{range, "not a number, or too large for one", {}, {}};
  return std::nullopt;
}

// A string or a key without quotes, or with only the closing quote.
static SyntaxError missing_quotes(const std::string& text, std::size_t begin, std::size_t end, bool is_key) {
  const std::string what = is_key ? "key" : "string";
  SyntaxError error{range_of(begin, end), "a " + what + " needs double quotes", {}, {}};
  const char next = end < text.size() ? text[end] : '\n';
  if (next == '"') {
    error.message = "the " + what + " has no quote before it";
    error.fix.push_back(insertion(begin, "\""));
    return error;
  }
  const std::size_t mark = std::min(text.find_first_not_of(" \t\r", end), text.size());
  const char after = mark < text.size() ? text[mark] : '\n';
  if (std::string_view(is_key ? ":" : ",}]\n").find(after) == std::string_view::npos) return error;
  error.fix = {insertion(begin, "\""), insertion(end, "\"")};
  return error;
}

std::optional<SyntaxError> find_wrong_word(const std::string& text, const Stop& stop) {
  const Token& previous = stop.previous;
  const bool goes_on = (previous.type == Type::kNumber || previous.type == Type::kWord) &&
                       previous.end == stop.token.begin && stop.expected == Expected::kCommaOrEnd;
  const bool is_word =
      stop.token.type == Type::kInvalid || stop.token.type == Type::kNumber || stop.token.type == Type::kWord;
  const bool is_word_allowed = goes_on || is_key_expected(stop) || stop.expected == Expected::kValue ||
                               stop.expected == Expected::kElement ||
                               stop.expected == Expected::kFirstElement;
  if (!is_word_allowed || (!is_word && !(goes_on && stop.token.type == Type::kColon))) return std::nullopt;
  const bool is_key = is_key_expected(stop);
  const std::size_t begin = goes_on ? previous.begin : stop.token.begin;
  const std::size_t end = word_end(text, begin, is_key);
  if (end <= begin || end <= stop.token.begin) return std::nullopt;
  if (is_key) return missing_quotes(text, begin, end, true);
  const std::string word = text.substr(begin, end - begin);
  const TextRange range = range_of(begin, end);
  if (auto error = other_number(word, range)) return error;
  if (auto error = other_literal(word, range)) return error;
  return missing_quotes(text, begin, end, false);
}
