#include "cli/config_file/characters.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "cli/base/terminal.h"

using Kind = DeceptiveCharacter::Kind;

namespace {

struct NamedCharacter {
  char32_t code;
  Kind kind;
  const char* name;
  const char* meant;
};

struct Letter {
  char32_t code;
  char meant;
};

}  // namespace

// Sorted by code, with the Unicode names.
constexpr NamedCharacter kNamed[] = {
    {0x85, Kind::kSpace, "NEXT LINE", " "},
    {0xa0, Kind::kSpace, "NO-BREAK SPACE", " "},
    {0xab, Kind::kQuote, "LEFT-POINTING DOUBLE ANGLE QUOTATION MARK", "\""},
    {0xad, Kind::kInvisible, "SOFT HYPHEN", ""},
    {0xb4, Kind::kQuote, "ACUTE ACCENT", "\""},
    {0xbb, Kind::kQuote, "RIGHT-POINTING DOUBLE ANGLE QUOTATION MARK", "\""},
    {0x34f, Kind::kInvisible, "COMBINING GRAPHEME JOINER", ""},
    {0x61c, Kind::kInvisible, "ARABIC LETTER MARK", ""},
    {0x115f, Kind::kInvisible, "HANGUL CHOSEONG FILLER", ""},
    {0x1160, Kind::kInvisible, "HANGUL JUNGSEONG FILLER", ""},
    {0x1680, Kind::kSpace, "OGHAM SPACE MARK", " "},
    {0x180e, Kind::kInvisible, "MONGOLIAN VOWEL SEPARATOR", ""},
    {0x2000, Kind::kSpace, "EN QUAD", " "},
    {0x2001, Kind::kSpace, "EM QUAD", " "},
    {0x2002, Kind::kSpace, "EN SPACE", " "},
    {0x2003, Kind::kSpace, "EM SPACE", " "},
    {0x2004, Kind::kSpace, "THREE-PER-EM SPACE", " "},
    {0x2005, Kind::kSpace, "FOUR-PER-EM SPACE", " "},
    {0x2006, Kind::kSpace, "SIX-PER-EM SPACE", " "},
    {0x2007, Kind::kSpace, "FIGURE SPACE", " "},
    {0x2008, Kind::kSpace, "PUNCTUATION SPACE", " "},
    {0x2009, Kind::kSpace, "THIN SPACE", " "},
    {0x200a, Kind::kSpace, "HAIR SPACE", " "},
    {0x200b, Kind::kInvisible, "ZERO WIDTH SPACE", ""},
    {0x200c, Kind::kInvisible, "ZERO WIDTH NON-JOINER", ""},
    {0x200d, Kind::kInvisible, "ZERO WIDTH JOINER", ""},
    {0x200e, Kind::kInvisible, "LEFT-TO-RIGHT MARK", ""},
    {0x200f, Kind::kInvisible, "RIGHT-TO-LEFT MARK", ""},
    {0x2010, Kind::kLookalike, "HYPHEN", "-"},
    {0x2011, Kind::kLookalike, "NON-BREAKING HYPHEN", "-"},
    {0x2012, Kind::kLookalike, "FIGURE DASH", "-"},
    {0x2013, Kind::kLookalike, "EN DASH", "-"},
    {0x2014, Kind::kLookalike, "EM DASH", "-"},
    {0x2015, Kind::kLookalike, "HORIZONTAL BAR", "-"},
    {0x2018, Kind::kQuote, "LEFT SINGLE QUOTATION MARK", "\""},
    {0x2019, Kind::kQuote, "RIGHT SINGLE QUOTATION MARK", "\""},
    {0x201a, Kind::kQuote, "SINGLE LOW-9 QUOTATION MARK", "\""},
    {0x201b, Kind::kQuote, "SINGLE HIGH-REVERSED-9 QUOTATION MARK", "\""},
    {0x201c, Kind::kQuote, "LEFT DOUBLE QUOTATION MARK", "\""},
    {0x201d, Kind::kQuote, "RIGHT DOUBLE QUOTATION MARK", "\""},
    {0x201e, Kind::kQuote, "DOUBLE LOW-9 QUOTATION MARK", "\""},
    {0x201f, Kind::kQuote, "DOUBLE HIGH-REVERSED-9 QUOTATION MARK", "\""},
    {0x2024, Kind::kLookalike, "ONE DOT LEADER", "."},
    {0x2028, Kind::kSpace, "LINE SEPARATOR", " "},
    {0x2029, Kind::kSpace, "PARAGRAPH SEPARATOR", " "},
    {0x202a, Kind::kInvisible, "LEFT-TO-RIGHT EMBEDDING", ""},
    {0x202b, Kind::kInvisible, "RIGHT-TO-LEFT EMBEDDING", ""},
    {0x202c, Kind::kInvisible, "POP DIRECTIONAL FORMATTING", ""},
    {0x202d, Kind::kInvisible, "LEFT-TO-RIGHT OVERRIDE", ""},
    {0x202e, Kind::kInvisible, "RIGHT-TO-LEFT OVERRIDE", ""},
    {0x202f, Kind::kSpace, "NARROW NO-BREAK SPACE", " "},
    {0x2039, Kind::kQuote, "SINGLE LEFT-POINTING ANGLE QUOTATION MARK", "\""},
    {0x203a, Kind::kQuote, "SINGLE RIGHT-POINTING ANGLE QUOTATION MARK", "\""},
    {0x205f, Kind::kSpace, "MEDIUM MATHEMATICAL SPACE", " "},
    {0x2060, Kind::kInvisible, "WORD JOINER", ""},
    {0x2061, Kind::kInvisible, "FUNCTION APPLICATION", ""},
    {0x2062, Kind::kInvisible, "INVISIBLE TIMES", ""},
    {0x2063, Kind::kInvisible, "INVISIBLE SEPARATOR", ""},
    {0x2064, Kind::kInvisible, "INVISIBLE PLUS", ""},
    {0x2066, Kind::kInvisible, "LEFT-TO-RIGHT ISOLATE", ""},
    {0x2067, Kind::kInvisible, "RIGHT-TO-LEFT ISOLATE", ""},
    {0x2068, Kind::kInvisible, "FIRST STRONG ISOLATE", ""},
    {0x2069, Kind::kInvisible, "POP DIRECTIONAL ISOLATE", ""},
    {0x2212, Kind::kLookalike, "MINUS SIGN", "-"},
    {0x2236, Kind::kLookalike, "RATIO", ":"},
    {0x2800, Kind::kSpace, "BRAILLE PATTERN BLANK", " "},
    {0x3000, Kind::kSpace, "IDEOGRAPHIC SPACE", " "},
    {0x3164, Kind::kInvisible, "HANGUL FILLER", ""},
    {0xfe0e, Kind::kInvisible, "VARIATION SELECTOR-15", ""},
    {0xfe0f, Kind::kInvisible, "VARIATION SELECTOR-16", ""},
    {0xfeff, Kind::kInvisible, "ZERO WIDTH NO-BREAK SPACE (byte order mark)", ""},
    {0xff02, Kind::kQuote, "FULLWIDTH QUOTATION MARK", "\""},
    {0xffa0, Kind::kInvisible, "HALFWIDTH HANGUL FILLER", ""},
};

// Greek and Cyrillic letters that look like ASCII letters, sorted by code.
constexpr Letter kLetters[] = {
    {0x391, 'A'}, {0x392, 'B'}, {0x395, 'E'}, {0x396, 'Z'}, {0x397, 'H'}, {0x399, 'I'}, {0x39a, 'K'},
    {0x39c, 'M'}, {0x39d, 'N'}, {0x39f, 'O'}, {0x3a1, 'P'}, {0x3a4, 'T'}, {0x3a5, 'Y'}, {0x3a7, 'X'},
    {0x3b1, 'a'}, {0x3b3, 'y'}, {0x3b5, 'e'}, {0x3b7, 'n'}, {0x3b9, 'i'}, {0x3ba, 'k'}, {0x3bd, 'v'},
    {0x3bf, 'o'}, {0x3c1, 'p'}, {0x3c4, 't'}, {0x3c5, 'u'}, {0x3c7, 'x'}, {0x3c9, 'w'}, {0x3f2, 'c'},
    {0x3f3, 'j'}, {0x405, 'S'}, {0x406, 'I'}, {0x408, 'J'}, {0x410, 'A'}, {0x412, 'B'}, {0x415, 'E'},
    {0x41a, 'K'}, {0x41c, 'M'}, {0x41d, 'H'}, {0x41e, 'O'}, {0x420, 'P'}, {0x421, 'C'}, {0x422, 'T'},
    {0x423, 'Y'}, {0x425, 'X'}, {0x430, 'a'}, {0x432, 'b'}, {0x435, 'e'}, {0x43a, 'k'}, {0x43c, 'm'},
    {0x43d, 'h'}, {0x43e, 'o'}, {0x43f, 'n'}, {0x440, 'p'}, {0x441, 'c'}, {0x442, 't'}, {0x443, 'y'},
    {0x445, 'x'}, {0x455, 's'}, {0x456, 'i'}, {0x458, 'j'}, {0x475, 'v'}, {0x4ae, 'Y'}, {0x4af, 'y'},
    {0x4bb, 'h'}, {0x4c0, 'I'}, {0x4cf, 'l'}, {0x501, 'd'}, {0x51b, 'q'}, {0x51d, 'w'},
};

constexpr char32_t kFirstFullwidth = 0xff01;
constexpr char32_t kLastFullwidth = 0xff5e;
constexpr char32_t kFirstCyrillic = 0x400;

std::string code_point(char32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(code));
  return text;
}

// The UTF-8 encoding of a character from U+0080 to U+FFFF.
static std::string utf8(char32_t code) {
  std::string bytes;
  if (code < 0x800) {
    bytes += static_cast<char>(0xc0U | code >> 6U);
  } else {
    bytes += static_cast<char>(0xe0U | code >> 12U);
    bytes += static_cast<char>(0x80U | (code >> 6U & 0x3fU));
  }
  return bytes + static_cast<char>(0x80U | (code & 0x3fU));
}

static DeceptiveCharacter lookalike(const char* script, char32_t code, char meant) {
  return {Kind::kLookalike, std::string(script) + " " + utf8(code) + " (" + code_point(code) + ")",
          std::string(1, meant)};
}

std::optional<DeceptiveCharacter> find_deception(char32_t code) {
  const auto is_before = [](const auto& entry, char32_t wanted) { return entry.code < wanted; };
  const auto* named = std::lower_bound(std::begin(kNamed), std::end(kNamed), code, is_before);
  if (named != std::end(kNamed) && named->code == code)
    return DeceptiveCharacter{named->kind, code_point(code) + " " + named->name, named->meant};
  const auto* letter = std::lower_bound(std::begin(kLetters), std::end(kLetters), code, is_before);
  if (letter != std::end(kLetters) && letter->code == code)
    return lookalike(code < kFirstCyrillic ? "Greek" : "Cyrillic", code, letter->meant);
  if (code < kFirstFullwidth || code > kLastFullwidth) return std::nullopt;
  return lookalike("fullwidth", code, static_cast<char>(code - kFirstFullwidth + '!'));
}

// The character of an escape: a tab, a quote, a backslash or a slash; NUL for other escapes, which do not
// matter here.
static char32_t meaning_of_escape(char letter) {
  if (letter == 't') return '\t';
  const bool is_itself = letter == '"' || letter == '\\' || letter == '/';
  return is_itself ? static_cast<unsigned char>(letter) : U'\0';
}

std::vector<StringCharacter> string_characters(const std::string& text, TextRange string) {
  std::vector<StringCharacter> characters;
  const auto end = static_cast<std::size_t>(string.end) - 1;
  for (std::size_t i = static_cast<std::size_t>(string.begin) + 1; i < end;) {
    Utf8Character character = first_character(std::string_view(text).substr(i, end - i));
    if (text[i] == '\\' && text[i + 1] == 'u') {
      const std::string digits = text.substr(i + 2, 4);
      character = {static_cast<char32_t>(std::strtoul(digits.c_str(), nullptr, 16)), 6};
    } else if (text[i] == '\\') {
      character = {meaning_of_escape(text[i + 1]), 2};
    }
    const auto begin = static_cast<std::ptrdiff_t>(i);
    i += character.size;
    characters.push_back({character.code, {begin, static_cast<std::ptrdiff_t>(i)}});
  }
  return characters;
}

std::string plain_text(const std::string& text) {
  std::string plain;
  for (std::string_view rest = text; !rest.empty();) {
    const Utf8Character character = first_character(rest);
    const auto deception = find_deception(character.code);
    const bool is_deceptive = deception && deception->kind != Kind::kQuote;
    plain += is_deceptive ? deception->meant : std::string(rest.substr(0, character.size));
    rest.remove_prefix(character.size);
  }
  const std::size_t begin = std::min(plain.find_first_not_of(" \t"), plain.size());
  return plain.substr(begin, plain.find_last_not_of(" \t") + 1 - begin);
}
