#include "cli/config_file/source.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "cli/base/terminal.h"
#include "libcmd/configuration_text.h"

namespace {

struct CloseStream {
  void operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
  }
};

}  // namespace

static std::optional<std::string> read(const std::string& file, std::string& text) {
  const std::unique_ptr<std::FILE, CloseStream> stream(file == "-" ? stdin : std::fopen(file.c_str(), "re"));
  if (stream == nullptr) return std::strerror(errno);
  auto failure = read_configuration(stream.get(), text);
  // The parser passes over a byte order mark, and does not count it in offsets. It refuses a second one.
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

std::optional<std::string> load_source(const std::string& file, Source& source) {
  if (std::optional<std::string> failure = read_source(file, source)) return failure;
  const std::optional<Complaint> complaint = parse_configuration(source.text, source.root);
  if (!complaint) return std::nullopt;
  return printable(source.name) + ":" + std::to_string(complaint->position.line) + ":" +
         std::to_string(complaint->position.column) + ": error: " + printable(complaint->reason);
}

std::ptrdiff_t key_offset(const std::string& text, std::ptrdiff_t value_offset) {
  // Back over the colon and the blanks around it to the quote that ends the key, and on to the one that
  // begins it: the one without a backslash in front of it.
  std::size_t quote = text.rfind('"', static_cast<std::size_t>(value_offset) - 1);
  do {
    quote = text.rfind('"', quote - 1);
  } while (text[quote - 1] == '\\');
  return static_cast<std::ptrdiff_t>(quote);
}
