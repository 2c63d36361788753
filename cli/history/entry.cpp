#include "cli/history/entry.h"

#include <charconv>
#include <string_view>

#include "cli/base/sha256.h"
#include "cli/base/terminal.h"

constexpr std::string_view kFormat = "lanfab-history 1 ";
constexpr std::string_view kTime = "time: ";
constexpr std::string_view kWho = "who: ";
constexpr std::string_view kComment = "comment: ";

static std::string line(std::string_view name, const std::string& value) {
  return std::string(name) + value + "\n";
}

std::string file_text(const HistoryEntry& entry) {
  const std::string rest = line(kTime, std::to_string(entry.time)) + line(kWho, printable(entry.who)) +
                           line(kComment, printable(entry.comment)) + "\n" + entry.configuration;
  return line(kFormat, sha256(rest)) + rest;
}

// Removes the first line, which must begin with `name`, from the text, and sets the value to the rest of
// the line. False if the line has another name or does not end.
static bool take_line(std::string_view name, std::string_view& text, std::string& value) {
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos || text.substr(0, name.size()) != name) return false;
  value = text.substr(name.size(), end - name.size());
  text.remove_prefix(end + 1);
  return true;
}

static bool read_number(const std::string& digits, std::int64_t& number) {
  const char* const end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, number);
  return result.ec == std::errc() && result.ptr == end;
}

bool read_file_text(const std::string& text, HistoryEntry& entry) {
  std::string_view rest = text;
  std::string sum;
  std::string time;
  std::string nothing;
  if (!take_line(kFormat, rest, sum) || sha256(std::string(rest)) != sum) return false;
  if (!take_line(kTime, rest, time) || !read_number(time, entry.time) || !take_line(kWho, rest, entry.who) ||
      !take_line(kComment, rest, entry.comment) || !take_line("", rest, nothing) || !nothing.empty()) {
    return false;
  }
  entry.configuration = rest;
  return true;
}
