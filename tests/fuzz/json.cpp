// Reads a configuration file with the parser and the input validation of the host platform. The file must be
// rejected with a message, or must not have a string that could become a directive or a command, according to
// an independent validation.

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "check.h"
#include "platform/libcmd.h"
#include "text.h"

constexpr char kDirectory[] = "/var/run";
constexpr char kFile[] = "/var/run/network.json";

static unsigned logged_lines = 0;

// Replacements of the C library's functions at link time.
extern "C" {

void syslog(int /*priority*/, const char* /*format*/, ...) {
  ++logged_lines;
}

// The function that calls of syslog() become with _FORTIFY_SOURCE.
void __syslog_chk(int /*priority*/, int /*flag*/, const char* /*format*/, ...) {
  ++logged_lines;
}

}  // extern "C"

// --- Independent validation

static const std::string kShellPaths[] = {"/static_routes/*/interface", "/static_routes/*/gateway",
                                          "/tunnels/gre/*/incoming_gre_gateway"};
// Characters that are not special to any shell.
constexpr char kHarmless[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-:/,@+";
// Characters that POSIX requires to be quoted, or that some shell expands.
constexpr char kShellCharacters[] = "|&;<>()$`\\\"' \t*?[]#~=%{}!^";

static bool is_shell_path(const std::string& path) {
  for (const std::string& shell_path : kShellPaths) {
    if (path == shell_path) return true;
  }
  return false;
}

namespace {

// Properties of the strings of a configuration.
struct Opinion {
  bool is_clean = true;           // UTF-8 without control characters
  bool reaches_shell = false;     // a string with a special character reaches a shell
  bool may_be_for_shell = false;  // a string that reaches a shell has a character that is not harmless
};

}  // namespace

static void judge(const Json::Value& value, const std::string& path, Opinion& opinion) {
  if (value.isString()) {
    const std::string text = value.asString();
    opinion.is_clean = opinion.is_clean && is_clean(text);
    if (!is_shell_path(path)) return;
    if (text.find_first_of(kShellCharacters) != std::string::npos) opinion.reaches_shell = true;
    if (text.find_first_not_of(kHarmless) != std::string::npos) opinion.may_be_for_shell = true;
  } else if (value.isArray()) {
    for (const Json::Value& element : value)
      judge(element, path + "/*", opinion);
  } else if (value.isObject()) {
    for (const std::string& key : value.getMemberNames()) {
      opinion.is_clean = opinion.is_clean && is_clean(key);
      judge(value[key], path + "/" + key, opinion);
    }
  }
}

// --- The host platform's input validation

static void put_file(const std::uint8_t* data, std::size_t size) {
  std::FILE* file = std::fopen(kFile, "w");
  check(file != nullptr, "the sandbox cannot be written");
  std::fwrite(data, 1, size, file);
  check(std::fclose(file) == 0, "the sandbox is full");
}

// Returns the result of cmd_get_value_json(), and its standard error in `message`.
static int read_configuration(Json::Value& value, std::string& message) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* former = stderr;
  stderr = open_memstream(&text, &size);
  const int status = cmd_get_value_json("network", value);
  std::fclose(stderr);
  stderr = former;
  message.assign(text, size);
  std::free(text);
  return status;
}

static bool parse(const std::uint8_t* data, std::size_t size, Json::Value& value) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  const auto* text = reinterpret_cast<const char*>(data);
  try {
    if (!reader->parse(text, text + size, &value, nullptr)) return false;
    // The parser ignores everything after a NUL character.
    return std::find(text + value.getOffsetLimit(), text + size, '\0') == text + size;
  } catch (const std::exception&) {
    return false;
  }
}

static void check_refusal(const std::string& message) {
  check(message.rfind(std::string(kFile) + ":", 0) == 0, "a refusal does not name the file");
  check(message.back() == '\n', "a refusal is not a line");
  // The host platform prints a single error; a device's library may combine several.
  check(message.find('\n') == message.size() - 1, "a refusal is more than one line");
  check(is_clean(message.substr(0, message.size() - 1)), "a refusal has control characters or is not UTF-8");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setenv("LANFAB_CONFIG_DIR", kDirectory, 1);
  put_file(data, size);
  logged_lines = 0;
  Json::Value value;
  std::string message;
  const bool is_accepted = read_configuration(value, message) == 0;

  Json::Value root;
  Opinion opinion;
  const bool is_object = parse(data, size, root) && root.isObject();
  if (is_object) judge(root, "", opinion);
  if (is_accepted) {
    check(message.empty(), "a message without a refusal");
    check(is_object, "what was accepted is not a JSON object");
    check(value == root, "what was accepted is not what the file says");
    check(opinion.is_clean, "a text with a control character, or that is not UTF-8, was accepted");
    check(!opinion.reaches_shell, "a text that is special to the shell was accepted");
  } else {
    check_refusal(message);
    check(!is_object || !opinion.is_clean || opinion.may_be_for_shell,
          "a harmless configuration was refused");
    check(!is_object || logged_lines == 1, "a refused text was not logged");
  }
  return 0;
}
