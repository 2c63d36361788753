// Configuration objects from JSON files: the name "network" stands for <directory>/network.json, and
// "network.tunnels.gre" for the value at "tunnels.gre" in it. Whatever is wrong with a file is said on
// standard error as file:line:column: reason, since the callers know no more than that the fetch failed.

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

#include "platform/libcmd.h"
#include "text_policy.h"

constexpr char kDefaultDirectory[] = "/etc/lanfab";

// 4 MB, many times what a large site needs. The memory of a run grows with the file, at thirty times its
// size.
constexpr std::size_t kMaxSize = 4'000'000;

static std::string configuration_file(const std::string& object_name) {
  const char* directory = std::getenv("LANFAB_CONFIG_DIR");
  return std::string(directory != nullptr ? directory : kDefaultDirectory) + "/" + object_name + ".json";
}

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const {
    std::fclose(file);
  }
};

}  // namespace

// Reads to the end, or as much as tells that the file is too large; false, with errno set, when that fails.
static bool read_stream(std::FILE* file, std::string& text) {
  char block[4096];
  while (text.size() <= kMaxSize) {
    const std::size_t size = std::fread(block, 1, sizeof block, file);
    if (size == 0) break;
    text.append(block, size);
  }
  return std::ferror(file) == 0;
}

static bool read_file(const std::string& path, std::string& text) {
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "re"));
  if (file == nullptr || !read_stream(file.get(), text)) {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), std::strerror(errno));
    return false;
  }
  if (text.size() <= kMaxSize) return true;
  std::fprintf(stderr, "%s: the configuration is larger than 4 MB\n", path.c_str());
  return false;
}

// "file:line:column: reason", for the value that begins there. The reason may quote a key as it is in the
// file, so what is not a printable ASCII character becomes a question mark.
static std::string complaint(const std::string& path, int line, int column, std::string reason) {
  std::replace_if(
      reason.begin(), reason.end(), [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '?');
  return path + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + reason;
}

static void report(const std::string& complaint) {
  std::fprintf(stderr, "%s\n", complaint.c_str());
}

// Reports the first complaint of the parser, "* Line 3, Column 5\n  Reason\n".
static void report_syntax_error(const std::string& path, const std::string& complaints) {
  std::istringstream first(complaints);
  std::string word;
  char comma = 0;
  int line = 1;
  int column = 1;
  std::string reason;
  first >> word >> word >> line >> comma >> word >> column >> std::ws;
  std::getline(first, reason);
  report(complaint(path, line, column, reason));
}

static bool parse(const std::string& path, const std::string& text, Json::Value& root) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string complaints;
  try {
    if (reader->parse(text.data(), text.data() + text.size(), &root, &complaints)) return true;
    report_syntax_error(path, complaints);
  } catch (const std::exception& error) {
    // The parser throws when the whole is nested too deeply.
    report(complaint(path, 1, 1, error.what()));
  }
  return false;
}

// Whether every text is allowed. The first one that is refused goes to standard error and, since it may be an
// attempt to smuggle something in, to the log.
static bool are_texts_allowed(const std::string& path, const std::string& text, const Json::Value& root) {
  const std::vector<RefusedText> refused = find_refused_texts(root);
  if (refused.empty()) return true;
  const RefusedText& first = refused.front();
  const auto value = text.begin() + first.offset;
  const auto line_begin = std::find(std::make_reverse_iterator(value), text.rend(), '\n').base();
  const int line = static_cast<int>(std::count(text.begin(), value, '\n')) + 1;
  const int column = static_cast<int>(value - line_begin) + 1;
  const std::string refusal = complaint(path, line, column, first.path + ": " + first.reason);
  report(refusal);
  syslog(LOG_NOTICE, "%s", refusal.c_str());
  return false;
}

int cmd_get_value_json(const std::string& name, Json::Value& value) {
  const std::size_t dot = name.find('.');
  const std::string path = configuration_file(name.substr(0, dot));
  std::string text;
  Json::Value root;
  if (!read_file(path, text) || !parse(path, text, root)) return -1;
  if (!root.isObject()) {
    report(complaint(path, 1, 1, "the configuration is not an object"));
    return -1;
  }
  if (!are_texts_allowed(path, text, root)) return -1;
  if (dot == std::string::npos) {
    value = std::move(root);
    return 0;
  }
  if (config_get_object(root, value, name.substr(dot + 1))) return 0;
  std::fprintf(stderr, "%s: no object at \"%s\"\n", path.c_str(), name.substr(dot + 1).c_str());
  return -1;
}
