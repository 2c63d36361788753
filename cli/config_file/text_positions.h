#pragma once

// Converts offsets in a text to lines and columns, for messages.

#include <cstddef>
#include <string>
#include <vector>

// A line and a column, both counted from 1. Columns count characters.
struct TextPosition {
  int line = 1;
  int column = 1;
};

// The positions in one text, which must outlive it.
class TextPositions {
 public:
  explicit TextPositions(const std::string& text);

  // Position of the character at `offset`, in bytes; for an offset past the end, that of the end.
  TextPosition at(std::ptrdiff_t offset) const;

 private:
  struct Mark {
    std::size_t offset;
    TextPosition position;
  };

  const std::string& text_;
  // One for about every thousand bytes: at() scans the text from the last mark that is not after its
  // offset.
  std::vector<Mark> marks_;
};
