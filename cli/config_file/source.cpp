#include "cli/config_file/source.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "cli/config_file/text_positions.h"
#include "libcmd/configuration_text.h"

namespace {

struct CloseStream {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};

}  // namespace

// Opens a regular file, or a directory, whose content cannot be read. Does not wait for the writer of a
// pipe. Returns null on failure, with errno set, or with errno 0 for a file of another type.
static std::FILE* open_file(const std::string& file) {
  Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!descriptor.is_open() || fstat(descriptor.number(), &status) != 0) return nullptr;
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
    errno = 0;
    return nullptr;
  }
  return fdopen(descriptor.release(), "r");
}

static std::optional<std::string> read(const std::string& file, std::string& text) {
  const std::unique_ptr<std::FILE, CloseStream> stream(file == "-" ? stdin : open_file(file));
  if (stream == nullptr)
    return errno != 0 ? std::strerror(errno) : "not a regular file; - reads standard input";
  auto failure = read_configuration(stream.get(), text);
  // The parser skips a byte order mark, and does not count it in offsets. It rejects a second one.
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  const auto is_mark_at = [&](std::size_t offset) {
    return text.compare(offset, kByteOrderMark.size(), kByteOrderMark) == 0;
  };
  if (is_mark_at(0) && !is_mark_at(kByteOrderMark.size())) text.erase(0, kByteOrderMark.size());
  return failure;
}

std::optional<std::string> read_source(const std::string& file, Source& source) {
  source.name = file == "-" ? "<stdin>" : file;
  if (const std::optional<std::string> failure = read(file, source.text))
    return printable(source.name) + ": " + *failure;
  return std::nullopt;
}

// Approximate memory of the parsed value of a text, in bytes, on a 64-bit machine.
static std::size_t size_of_tree(const std::string& text) {
  constexpr std::size_t kElement = 96;
  constexpr std::size_t kContainer = 64;
  constexpr std::size_t kString = 32;
  std::size_t size = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '{' || c == '[') size += kContainer + kElement;
    if (c == ',') size += kElement;
    // An empty container has no first element.
    if ((c == '}' || c == ']') && i > 0 && (text[i - 1] == '{' || text[i - 1] == '[')) size -= kElement;
    if (c != '"') continue;
    const std::size_t begin = i;
    for (++i; i < text.size() && text[i] != '"'; ++i)
      if (text[i] == '\\') ++i;
    size += std::max(kString, i - begin + kString / 2);
  }
  return size;
}

// Whether the parsed value is small enough to leave memory for its examination.
static bool is_modest(const std::string& text) {
  constexpr std::size_t kMostPerByte = 30;
  constexpr std::size_t kMostBesides = 40'000'000;
  return size_of_tree(text) <= kMostPerByte * text.size() + kMostBesides;
}

// "network.json:2:8: "
static std::string location(const Source& source, TextRange range, const TextPositions& positions) {
  const TextPosition position = positions.at(range.begin);
  return printable(source.name) + ":" + std::to_string(position.line) + ":" +
         std::to_string(position.column) + ": ";
}

// The error as `lanfab check` prints it if the output is not a terminal.
static std::string describe(const Source& source, const SyntaxError& error) {
  const TextPositions positions(source.text);
  std::string text = location(source, error.range, positions) + "error: " + printable(error.message) + " [" +
                     kSyntaxRule + "]";
  for (const RelatedLocation& related : error.related)
    text += "\n" + location(source, related.range, positions) + "note: " + printable(related.message);
  return text;
}

std::optional<LoadFailure> parse_source(Source& source) {
  if (!is_modest(source.text))
    return LoadFailure{printable(source.name) + ": too many values, which would take too much memory", {}};
  const std::optional<ParseError> parse_error = parse_configuration(source.text, source.root);
  if (!parse_error) return std::nullopt;
  source.root = Json::Value();
  SyntaxError error = explain_parse_error(source.text, *parse_error);
  std::string message = describe(source, error);
  return LoadFailure{std::move(message), std::move(error)};
}

std::optional<LoadFailure> load_source(const std::string& file, Source& source) {
  if (std::optional<std::string> failure = read_source(file, source)) return LoadFailure{*failure, {}};
  return parse_source(source);
}

TextRange key_range(const std::string& text, const Json::Value& value) {
  // Search backward for the closing quote of the key, which is before the colon, then for its opening
  // quote, which has no backslash before it.
  std::size_t quote = text.rfind('"', static_cast<std::size_t>(value.getOffsetStart()) - 1);
  const auto end = static_cast<std::ptrdiff_t>(quote) + 1;
  do {
    quote = text.rfind('"', quote - 1);
  } while (text[quote - 1] == '\\');
  return {static_cast<std::ptrdiff_t>(quote), end};
}
