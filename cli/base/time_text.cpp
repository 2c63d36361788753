#include "cli/base/time_text.h"

std::string time_text(std::time_t time) {
  std::tm fields{};
  char text[32] = "";
  if (localtime_r(&time, &fields) != nullptr) std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
  return text;
}
