#include "cli/graph/wrap.h"

#include <string_view>

#include "cli/base/terminal.h"
#include "cli/lint/report.h"

// The smallest width that has room for every character.
constexpr std::size_t kFewestColumns = 2;
// Longer strings are cut to this number of characters.
constexpr std::size_t kMaxCharacters = 200;

namespace {

struct Character {
  std::string bytes;
  std::size_t columns;
};

}  // namespace

// Removes and returns the first character of a string, which is not empty. Its only
// unprintable characters are tabs.
static Character take_character(std::string_view& text, Charset charset) {
  const auto [code, size] = first_character(text);
  const std::string bytes(text.substr(0, size));
  text.remove_prefix(size);
  if (code == '\t') return {" ", 1};
  // Below zero for an unknown character.
  const int columns = columns_of(code);
  if (columns < 0 || (charset == Charset::kAscii && size > 1)) return {"?", 1};
  return {bytes, static_cast<std::size_t>(columns)};
}

static std::vector<Character> characters_of(const std::string& text, Charset charset) {
  const std::string whole = printable(text, "\t");
  std::vector<Character> characters;
  for (std::string_view rest = whole; !rest.empty();) {
    if (characters.size() == kMaxCharacters) {
      characters.push_back({"...", 3});
      break;
    }
    characters.push_back(take_character(rest, charset));
  }
  return characters;
}

namespace {

// Fills lines with words, one after the other.
class Lines {
 public:
  explicit Lines(std::size_t columns) : columns_(columns) {}

  // Breaks a word only if it does not fit on a line. An empty word, between two spaces, keeps both of them.
  void add_word(const std::vector<Character>& word) {
    std::size_t width = 0;
    for (const Character& character : word)
      width += character.columns;
    if (has_word_ && used_ + 1 + width <= columns_) {
      add({" ", 1});
    } else if (has_word_) {
      start();
    }
    has_word_ = true;
    for (const Character& character : word) {
      if (used_ + character.columns > columns_) start();
      add(character);
    }
  }

  std::vector<std::string> take() {
    for (std::string& line : lines_)
      line.erase(line.find_last_not_of(' ') + 1);
    return std::move(lines_);
  }

 private:
  void add(const Character& character) {
    lines_.back() += character.bytes;
    used_ += character.columns;
  }

  void start() {
    lines_.emplace_back();
    used_ = 0;
  }

  std::size_t columns_;
  std::size_t used_ = 0;
  bool has_word_ = false;
  std::vector<std::string> lines_{""};
};

}  // namespace

static std::vector<std::string> filled_lines(const std::vector<Character>& text, std::size_t columns) {
  Lines lines(columns);
  std::vector<Character> word;
  for (const Character& character : text) {
    if (character.bytes != " ") {
      word.push_back(character);
    } else {
      lines.add_word(word);
      word.clear();
    }
  }
  lines.add_word(word);
  return lines.take();
}

std::vector<std::string> wrapped(const std::string& text, std::size_t columns, Charset charset) {
  const std::vector<Character> characters = characters_of(text, charset);
  std::vector<std::string> lines = filled_lines(characters, columns);
  // The smallest width with the same number of lines avoids a single word on the last line.
  const std::size_t count = lines.size();
  while (count > 1 && columns > kFewestColumns) {
    std::vector<std::string> narrower = filled_lines(characters, --columns);
    if (narrower.size() > count) break;
    lines = std::move(narrower);
  }
  return lines;
}

std::string shown(const std::string& text, Charset charset) {
  std::string line;
  for (const Character& character : characters_of(text, charset))
    line += character.bytes;
  return line;
}

std::size_t width_of(const std::string& line) {
  std::size_t width = 0;
  for (const Character& character : characters_of(line, Charset::kUtf8))
    width += character.columns;
  return width;
}

std::string text_of(const Finding& finding) {
  return std::string(word_for(finding.severity)) + ": " + finding.message + " [" + finding.rule + "]";
}
