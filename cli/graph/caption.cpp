#include "cli/graph/caption.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>

static std::string day_of(const std::tm& time) {
  char day[32] = "";
  std::strftime(day, sizeof day, "%Y-%m-%d", &time);
  return day;
}

// The local date of the file's last change; today if it is not a regular file.
static std::string day_of_change(const std::string& file) {
  struct stat status {};
  const int failure = file == "-" ? fstat(STDIN_FILENO, &status) : stat(file.c_str(), &status);
  const bool is_file = failure == 0 && S_ISREG(status.st_mode);
  const std::time_t change = is_file ? status.st_mtime : std::time(nullptr);
  std::tm local{};
  return localtime_r(&change, &local) != nullptr ? day_of(local) : "";
}

// The date in UTC of a number of seconds since 1970; nullopt if the string is not such a number.
static std::optional<std::string> day_of_epoch(const std::string& seconds) {
  constexpr std::size_t kMostDigits = 11;  // the year 5138
  const bool is_number = seconds.find_first_not_of("0123456789") == std::string::npos;
  if (seconds.empty() || !is_number || seconds.size() > kMostDigits) return std::nullopt;
  const long long number = std::strtoll(seconds.c_str(), nullptr, 10);
  // On some machines time_t has 32 bits.
  const auto time = static_cast<std::time_t>(number);
  if (time != number) return std::nullopt;
  std::tm utc{};
  gmtime_r(&time, &utc);
  return day_of(utc);
}

std::optional<std::string> caption_file(const std::string& file, const std::string& title, Caption& caption) {
  const char* epoch = std::getenv("SOURCE_DATE_EPOCH");
  const auto day = epoch != nullptr ? day_of_epoch(epoch) : day_of_change(file);
  if (!day) return "SOURCE_DATE_EPOCH is not a number of seconds since 1970";
  const std::string name = file == "-" ? "standard input" : std::filesystem::path(file).filename().string();
  caption.title = title.empty() ? name : title;
  caption.subtitle = title.empty() ? *day : name + ", " + *day;
  return std::nullopt;
}
