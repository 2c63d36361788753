#include "util/format.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

std::string format(const char* pattern, ...) {
  char* text = nullptr;
  va_list arguments;
  va_start(arguments, pattern);
  const int length = vasprintf(&text, pattern, arguments);
  va_end(arguments);
  if (length < 0) std::abort();
  std::string result(text, static_cast<std::size_t>(length));
  std::free(text);
  return result;
}
