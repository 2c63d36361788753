#pragma once

// Lines and columns of a text, for its readers.

#include <cstddef>
#include <string>
#include <vector>

// Both count from 1; columns are characters.
struct TextPosition {
  int line = 1;
  int column = 1;
};

// The positions in one text, which must outlive it.
class TextPositions {
 public:
  explicit TextPositions(const std::string& text);

  // The position of the character at `offset`, in bytes; behind the text, that of its end.
  TextPosition at(std::ptrdiff_t offset) const;

 private:
  struct Mark {
    std::size_t offset;
    TextPosition position;
  };

  const std::string& text_;
  // One for about every thousand bytes: a query reads the text from there.
  std::vector<Mark> marks_;
};
