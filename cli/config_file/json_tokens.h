#pragma once

// Splits a JSON text into tokens as the parser does, and finds the token at which the parser stops.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/config_file/text_range.h"

struct Token {
  enum class Type {
    kEnd,  // end of the text, or a NUL character, which the parser treats as the end
    kObjectBegin,
    kObjectEnd,
    kArrayBegin,
    kArrayEnd,
    kString,
    kNumber,
    kWord,  // true, false, null
    kComma,
    kColon,
    kComment,
    kInvalid,  // an unterminated string or comment, or a character that does not begin a token
  };

  Type type = Type::kEnd;
  std::size_t begin = 0;
  std::size_t end = 0;

  bool is_scalar() const {
    return type == Type::kString || type == Type::kNumber || type == Type::kWord;
  }

  bool is_opener() const {
    return type == Type::kObjectBegin || type == Type::kArrayBegin;
  }

  bool is_closer() const {
    return type == Type::kObjectEnd || type == Type::kArrayEnd;
  }
};

// The token at an offset or after the white space there.
Token token_at(const std::string& text, std::size_t offset);

// Whether the closing bracket is of the same kind as the opening one.
bool is_pair(const Token& opener, const Token& closer);

// What the parser expects next.
enum class Expected { kFirstKey, kKey, kColon, kValue, kFirstElement, kElement, kCommaOrEnd, kNothing };

// The first token that the parser rejects, and its context.
struct Stop {
  Token token;
  Expected expected = Expected::kValue;
  // The two tokens before it, ignoring comments; of type kEnd at the beginning of the text.
  Token previous;
  Token before_previous;
  // The token before the last comma.
  Token before_comma;
  // The last key, and the colon after it.
  Token key;
  Token colon;
  std::vector<Token> open;  // open brackets, the outermost first
  // The parser treats any token after a comment as a comma. If it last did so with a token that is not a
  // comma, the value before that comment.
  std::optional<Token> value_without_comma;
  bool is_too_deep = false;
  // The token may come here: the error is within it.
  bool is_expected = false;
};

// Finds the token at which the parser stops. `offset` is the location of the parser's error. Returns
// nothing if no token begins there and no token is rejected.
std::optional<Stop> find_stop(const std::string& text, std::size_t offset);
