#pragma once

// The tokens of a JSON text, as the parser of the program reads them, and how far its grammar follows them.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/config_file/text_range.h"

struct Token {
  enum class Type {
    kEnd,  // of the text, or a NUL character, which the parser takes for it
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
    kInvalid,  // a string without end, or a character that begins no token
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

// Whether the closing bracket belongs to the opening one.
bool is_pair(const Token& opener, const Token& closer);

// What may follow.
enum class Expected { kFirstKey, kKey, kColon, kValue, kFirstElement, kElement, kCommaOrEnd, kNothing };

// How far a text is JSON: the first token that the parser refuses, and what is in front of it.
struct Stop {
  Token token;
  Expected expected = Expected::kValue;
  // The two tokens before it, comments aside; of type kEnd at the beginning.
  Token previous;
  Token before_previous;
  // The token before the last comma.
  Token before_comma;
  // The last key, and the colon after it.
  Token key;
  Token colon;
  std::vector<Token> open;  // the brackets that are open, the outermost first
  // The parser takes whatever follows a comment for a comma: the value in front of that comment, where the
  // last comma was none.
  std::optional<Token> value_without_comma;
  bool is_too_deep = false;
  // The token is one of those that may follow: what is wrong is within it.
  bool is_expected = false;
};

// The parser complains at `offset`. Returns nothing if the text up to there has no token that it refuses.
std::optional<Stop> find_stop(const std::string& text, std::size_t offset);
