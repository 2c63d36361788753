// Configuration objects from JSON files: the name "network" stands for <directory>/network.json, and
// "network.tunnels.gre" for the value at "tunnels.gre" in it. Whatever is wrong with a file is said on
// standard error as file:line:column: reason, since the callers know no more than that the fetch failed.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <sstream>
#include <string>

#include "platform/libcmd.h"

constexpr char kDefaultDirectory[] = "/etc/lanfab";

static std::string configuration_file(const std::string& object_name) {
  const char* directory = std::getenv("LANFAB_CONFIG_DIR");
  return std::string(directory != nullptr ? directory : kDefaultDirectory) + "/" + object_name + ".json";
}

static bool read_file(const std::string& path, std::string& text) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  bool is_read = file != nullptr;
  if (file != nullptr) {
    char block[4096];
    while (const std::size_t size = std::fread(block, 1, sizeof block, file))
      text.append(block, size);
    is_read = std::ferror(file) == 0;
  }
  // Before fclose, which may change errno.
  if (!is_read) std::fprintf(stderr, "%s: %s\n", path.c_str(), std::strerror(errno));
  if (file != nullptr) std::fclose(file);
  return is_read;
}

// What is wrong with the value that begins at this line and column.
static void report(const std::string& path, int line, int column, const std::string& reason) {
  std::fprintf(stderr, "%s:%d:%d: %s\n", path.c_str(), line, column, reason.c_str());
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
  report(path, line, column, reason);
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
    report(path, 1, 1, error.what());
  }
  return false;
}

int cmd_get_value_json(const std::string& name, Json::Value& value) {
  const std::size_t dot = name.find('.');
  const std::string path = configuration_file(name.substr(0, dot));
  std::string text;
  Json::Value root;
  if (!read_file(path, text) || !parse(path, text, root)) return -1;
  if (!root.isObject()) {
    report(path, 1, 1, "the configuration is not an object");
    return -1;
  }
  if (dot == std::string::npos) {
    value = std::move(root);
    return 0;
  }
  if (config_get_object(root, value, name.substr(dot + 1))) return 0;
  std::fprintf(stderr, "%s: no object at \"%s\"\n", path.c_str(), name.substr(dot + 1).c_str());
  return -1;
}
