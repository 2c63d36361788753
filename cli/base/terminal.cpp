#include "cli/base/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

void report(const std::string& message) {
  std::fprintf(stderr, "%s\n", printable(message, "\t\n").c_str());
}

int fail(const std::string& message) {
  report(message);
  return kFailure;
}

std::string with_errno(const std::string& message) {
  return printable(message) + ": " + std::strerror(errno);
}

bool is_terminal(int descriptor) {
  return isatty(descriptor) != 0;
}

bool is_interactive() {
  return is_terminal(STDIN_FILENO) && is_terminal(STDOUT_FILENO);
}

std::size_t terminal_columns(int descriptor) {
  winsize size{};
  ioctl(descriptor, TIOCGWINSZ, &size);
  return size.ws_col > 0 ? std::max<std::size_t>(size.ws_col, 40) : 80;
}

bool wants_color(bool is_terminal) {
  const char* no_color = std::getenv("NO_COLOR");
  return is_terminal && (no_color == nullptr || *no_color == '\0');
}

std::string styled(const std::string& text, const char* code, bool color) {
  return color && *code != '\0' ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
}

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

}  // namespace

// Code points that Unicode classifies as control, format, line or paragraph separator, default ignorable,
// or noncharacter.
constexpr Range kUnprintable[] = {
    {0x0, 0x1f},        {0x7f, 0x9f},       {0xad, 0xad},       {0x34f, 0x34f},     {0x600, 0x605},
    {0x61c, 0x61c},     {0x6dd, 0x6dd},     {0x70f, 0x70f},     {0x890, 0x891},     {0x8e2, 0x8e2},
    {0x115f, 0x1160},   {0x17b4, 0x17b5},   {0x180b, 0x180f},   {0x200b, 0x200f},   {0x2028, 0x202e},
    {0x2060, 0x206f},   {0x3164, 0x3164},   {0xfdd0, 0xfdef},   {0xfe00, 0xfe0f},   {0xfeff, 0xfeff},
    {0xffa0, 0xffa0},   {0xfff0, 0xfffb},   {0x110bd, 0x110bd}, {0x110cd, 0x110cd}, {0x13430, 0x1343f},
    {0x1bca0, 0x1bca3}, {0x1d173, 0x1d17a}, {0xe0000, 0xe0fff},
};

static bool is_unprintable(char32_t code) {
  // The last two codes of each plane are not characters.
  if ((code & 0xfffeU) == 0xfffe) return true;
  const auto* range = std::lower_bound(std::begin(kUnprintable), std::end(kUnprintable), code,
                                       [](const Range& a, char32_t b) { return a.last < b; });
  return range != std::end(kUnprintable) && range->first <= code;
}

// Size in bytes of a UTF-8 character with this first byte; 0 if no character begins with it.
static std::size_t size_of_character(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xc2 && first < 0xe0) return 2;
  if (first >= 0xe0 && first < 0xf0) return 3;
  return first >= 0xf0 && first < 0xf5 ? 4 : 0;
}

Utf8Character first_character(std::string_view text) {
  constexpr Utf8Character kInvalid = {0, 1};
  constexpr char32_t kShortest[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto first = static_cast<unsigned char>(text[0]);
  const std::size_t size = size_of_character(first);
  if (size == 0 || size > text.size()) return kInvalid;
  char32_t code = size == 1 ? first : first & (0x7fU >> size);
  for (const char next : text.substr(1, size - 1)) {
    const auto byte = static_cast<unsigned char>(next);
    if ((byte & 0xc0U) != 0x80) return kInvalid;
    code = code << 6U | (byte & 0x3fU);
  }
  const bool is_surrogate = code >= 0xd800 && code < 0xe000;
  return code < kShortest[size] || code > 0x10ffff || is_surrogate ? kInvalid : Utf8Character{code, size};
}

std::string printable(std::string_view text, std::string_view kept) {
  std::string result;
  while (!text.empty()) {
    const auto [code, size] = first_character(text);
    const bool is_kept = kept.find(text[0]) != std::string_view::npos;
    if (is_unprintable(code) && !is_kept) {
      result += '?';
    } else {
      result += text.substr(0, size);
    }
    text.remove_prefix(size);
  }
  return result;
}

namespace {

// Makes the C library treat text as UTF-8 until the end of the scope, regardless of the user's locale.
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

int columns_of(char32_t code) {
  const Utf8Locale utf8;
  return wcwidth(static_cast<wchar_t>(code));
}

std::string counted(std::size_t number, const char* noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}
