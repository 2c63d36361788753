#include "recorded_log.h"

#include <syslog.h>

#include <array>
#include <cstdio>

std::string formatted(const char* text, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  std::string result(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, text, again)), '\0');
  va_end(again);
  std::vsnprintf(result.data(), result.size() + 1, text, arguments);
  return result;
}

static void record(int priority, const std::string& message) {
  constexpr std::array<const char*, 8> kNames = {"emerg",   "alert",  "crit", "err",
                                                 "warning", "notice", "info", "debug"};
  const std::string name = kNames.at(static_cast<std::size_t>(LOG_PRI(priority)));
  recorded_log().push_back(name + " " + message);
}

extern "C" {

void syslog(int priority, const char* text, ...) {
  va_list arguments;
  va_start(arguments, text);
  record(priority, formatted(text, arguments));
  va_end(arguments);
}

// syslog() in a build with fortified sources.
__attribute__((format(printf, 3, 4))) void __syslog_chk(int priority, int /*flag*/, const char* text, ...) {
  va_list arguments;
  va_start(arguments, text);
  record(priority, formatted(text, arguments));
  va_end(arguments);
}

}  // extern "C"
