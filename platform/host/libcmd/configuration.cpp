// Configuration objects from JSON files: the name "network" stands for <directory>/network.json, and
// "network.tunnels.gre" for the value at "tunnels.gre" in it. Whatever is wrong with a file is said on
// standard error as file:line:column: reason, since the callers know no more than that the fetch failed.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <string>

#include "platform/libcmd.h"

constexpr char kDefaultDirectory[] = "/etc/lanfab";

static std::string configuration_file(const std::string& object_name) {
  const char* directory = std::getenv("LANFAB_CONFIG_DIR");
  return std::string(directory != nullptr ? directory : kDefaultDirectory) + "/" + object_name + ".json";
}

static bool read_file(const std::string& path, std::string& text) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (file) text.assign(std::istreambuf_iterator<char>(file), {});
  if (file && errno == 0) return true;
  std::fprintf(stderr, "%s: %s\n", path.c_str(), std::strerror(errno));
  return false;
}

// Turns the first complaint of the parser, "* Line 3, Column 5\n  Reason\n", into file:3:5: Reason.
static void report_syntax_error(const std::string& path, const std::string& complaints) {
  std::smatch first;
  if (std::regex_search(complaints, first, std::regex(R"(Line (\d+), Column (\d+)\s+(.*))"))) {
    std::fprintf(stderr, "%s:%s:%s: %s\n", path.c_str(), first.str(1).c_str(), first.str(2).c_str(),
                 first.str(3).c_str());
  } else {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), complaints.c_str());
  }
}

static bool parse(const std::string& path, const std::string& text, Json::Value& root) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string complaints;
  try {
    if (reader->parse(text.data(), text.data() + text.size(), &root, &complaints)) return true;
  } catch (const std::exception& error) {
    // The parser throws when the nesting is too deep.
    complaints = error.what();
  }
  report_syntax_error(path, complaints);
  return false;
}

int cmd_get_value_json(const std::string& name, Json::Value& value) {
  const std::size_t dot = name.find('.');
  const std::string path = configuration_file(name.substr(0, dot));
  std::string text;
  Json::Value root;
  if (!read_file(path, text) || !parse(path, text, root)) return -1;
  if (!root.isObject()) {
    std::fprintf(stderr, "%s:1:1: the configuration is not an object\n", path.c_str());
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
