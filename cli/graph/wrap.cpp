#include "cli/graph/wrap.h"

#include <clocale>
#include <cwchar>
#include <cwctype>

#include "cli/lint/report.h"

// What a longer text keeps, in characters.
constexpr std::size_t kMaxCharacters = 200;

namespace {

struct Character {
  std::string bytes;
  std::size_t columns;
};

// While it lives, the C library takes texts for UTF-8, whatever the user's locale is.
class Utf8Locale {
 public:
  Utf8Locale() : former_(uselocale(own())) {}
  ~Utf8Locale() {
    uselocale(former_);
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  static locale_t own() {
    static const locale_t kOwn = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return kOwn;
  }

  locale_t former_;
};

}  // namespace

// Whether the character would turn round what stands beside it.
static bool is_direction(wchar_t character) {
  return character == 0x61c || character == 0x200e || character == 0x200f ||
         (character >= 0x202a && character <= 0x202e) || (character >= 0x2066 && character <= 0x2069);
}

// The character of a text, in UTF-8, that begins at `position`, which is moved behind it.
static Character character_at(const std::string& text, std::size_t& position, Charset charset) {
  Character unknown{"?", 1};
  wchar_t character = 0;
  std::mbstate_t state{};
  const std::size_t length = std::mbrtowc(&character, text.data() + position, text.size() - position, &state);
  // A zero byte, one that is invalid, and one that begins what the text has no more of.
  if (length == 0 || length > text.size() - position) {
    ++position;
    return unknown;
  }
  const std::string bytes = text.substr(position, length);
  position += length;
  if (character == L'\t') return {" ", 1};
  if (charset == Charset::kAscii && length > 1) return unknown;
  const int columns = wcwidth(character);
  if (columns < 0 || std::iswprint(static_cast<wint_t>(character)) == 0 || is_direction(character))
    return unknown;
  return {bytes, static_cast<std::size_t>(columns)};
}

static std::vector<Character> characters_of(const std::string& text, Charset charset) {
  const Utf8Locale utf8;
  std::vector<Character> characters;
  for (std::size_t position = 0; position < text.size();) {
    if (characters.size() == kMaxCharacters) {
      characters.push_back({"...", 3});
      break;
    }
    characters.push_back(character_at(text, position, charset));
  }
  return characters;
}

namespace {

// Fills one line after the other.
class Lines {
 public:
  explicit Lines(std::size_t columns) : columns_(columns) {}

  // A word is broken only when it fits on no line. An empty one keeps the space between two others.
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

std::vector<std::string> wrapped(const std::string& text, std::size_t columns, Charset charset) {
  Lines lines(columns);
  std::vector<Character> word;
  for (Character& character : characters_of(text, charset)) {
    if (character.bytes != " ") {
      word.push_back(std::move(character));
    } else {
      lines.add_word(word);
      word.clear();
    }
  }
  lines.add_word(word);
  return lines.take();
}

std::string text_of(const Finding& finding) {
  return std::string(word_for(finding.severity)) + ": " + finding.message + " [" + finding.rule + "]";
}
