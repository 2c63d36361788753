#include "cli/history/history.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <ctime>
#include <string_view>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "cli/live/trial_state.h"

// Only root may read the history: configurations contain keys.
constexpr mode_t kDirectoryMode = 0700;
constexpr mode_t kFileMode = 0600;
constexpr std::string_view kSuffix = ".txt";
constexpr char kNewFile[] = "/new";

// Largest number of an entry: more than a gateway ever reaches, and without overflow.
constexpr std::int64_t kLargestNumber = 999'999'999;

History::History() : History(LANFAB_HISTORY_DIRECTORY, {LANFAB_HISTORY_ENTRIES, LANFAB_HISTORY_BYTES}) {}

History::History(const std::string& directory, const HistoryLimits& limits)
    : directory_(directory), limits_(limits) {}

// Number of the entry in a file of this name; 0 if the file is not an entry.
static std::int64_t number_of(const std::string& name) {
  std::int64_t number = 0;
  std::from_chars(name.data(), name.data() + name.size(), number);
  return number <= kLargestNumber && std::to_string(number).append(kSuffix) == name ? number : 0;
}

// The numbers of the entries, the latest first. Nothing, with errno set, if the directory cannot be read.
static std::optional<std::vector<std::int64_t>> list_numbers(const std::string& directory) {
  const auto names = list_directory(directory);
  if (!names) return std::nullopt;
  std::vector<std::int64_t> numbers;
  for (const std::string& name : *names)
    if (number_of(name) > 0) numbers.push_back(number_of(name));
  std::sort(numbers.rbegin(), numbers.rend());
  return numbers;
}

std::string History::path_of(std::int64_t number) const {
  return directory_ + "/" + std::to_string(number).append(kSuffix);
}

HistoryEntry History::read_entry(std::int64_t number) const {
  HistoryEntry entry;
  entry.number = number;
  File file;
  if (!read_file(path_of(number), file)) {
    entry.damage = with_errno(path_of(number));
  } else if (!read_file_text(file.content, entry)) {
    entry = {};
    entry.number = number;
    entry.damage = printable(path_of(number)) + ": corrupted";
  }
  return entry;
}

std::optional<std::string> History::read(std::vector<HistoryEntry>& entries) const {
  const auto numbers = list_numbers(directory_);
  if (!numbers) return errno == ENOENT ? std::nullopt : std::optional(with_errno(directory_));
  for (const std::int64_t number : *numbers)
    entries.push_back(read_entry(number));
  return std::nullopt;
}

std::optional<std::string> History::find(const std::string& number, HistoryEntry& entry) const {
  const auto numbers = list_numbers(directory_);
  if (!numbers && errno != ENOENT) return with_errno(directory_);
  const std::int64_t wanted = number_of(number + std::string(kSuffix));
  if (!numbers || std::count(numbers->begin(), numbers->end(), wanted) == 0)
    return "the history has no entry " + printable(number) + "; 'lanfab history' lists them";
  entry = read_entry(wanted);
  return entry.damage.empty() ? std::nullopt : std::optional(entry.damage);
}

static bool sync_directory(const std::string& path) {
  const Descriptor directory(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return directory.is_open() && fsync(directory.number()) == 0;
}

// Creates the directory if it is missing, and syncs the directories above it to disk. False, with errno
// set, on failure.
static bool make_durably(const std::string& directory) {
  if (access(directory.c_str(), F_OK) == 0) return true;
  if (!make_directories(directory, kDirectoryMode)) return false;
  for (std::size_t slash = directory.rfind('/'); slash != std::string::npos && slash > 0;
       slash = directory.rfind('/', slash - 1)) {
    if (!sync_directory(directory.substr(0, slash))) return false;
  }
  return true;
}

// Writes a new file, then renames it, so that an incomplete file never has the name of an entry. False,
// with errno set, on failure.
bool History::write_entry(const HistoryEntry& entry) const {
  const std::string path = directory_ + kNewFile;
  // A process that was killed may have left this file.
  if (unlink(path.c_str()) != 0 && errno != ENOENT) return false;
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
  if (file.is_open() && write_all(file.number(), file_text(entry)) && fsync(file.number()) == 0 &&
      file.close() && rename(path.c_str(), path_of(entry.number).c_str()) == 0) {
    return sync_directory(directory_);
  }
  const int error = errno;
  unlink(path.c_str());
  errno = error;
  return false;
}

// Removes the oldest entries that exceed the limits, but never the latest one. An entry that cannot be
// removed now is removed next time.
void History::remove_oldest(const std::vector<std::int64_t>& numbers) const {
  std::size_t entries = 0;
  std::size_t bytes = 0;
  for (const std::int64_t number : numbers) {
    struct stat status {};
    lstat(path_of(number).c_str(), &status);
    bytes += static_cast<std::size_t>(status.st_size);
    if (++entries > 1 && (entries > limits_.entries || bytes > limits_.bytes))
      unlink(path_of(number).c_str());
  }
}

std::optional<std::string> History::add(const std::string& configuration, const std::string& comment) const {
  if (!make_durably(directory_)) return with_errno(directory_);
  const ExclusiveLock lock(directory_);
  if (!lock.is_held()) return lock.error();
  auto numbers = list_numbers(directory_);
  if (!numbers) return with_errno(directory_);
  const std::int64_t latest = numbers->empty() ? 0 : numbers->front();
  if (latest > 0) {
    const HistoryEntry entry = read_entry(latest);
    if (entry.damage.empty() && entry.configuration == configuration) return std::nullopt;
  }
  const HistoryEntry entry = {latest + 1, std::time(nullptr), caller(), comment, configuration};
  if (!write_entry(entry)) return with_errno(directory_);
  numbers->insert(numbers->begin(), entry.number);
  remove_oldest(*numbers);
  return std::nullopt;
}

std::optional<std::string> load_from_history(const std::string& number, Source& source) {
  HistoryEntry entry;
  if (const auto error = History().find(number, entry)) return "lanfab: " + *error;
  source.name = "entry " + number + " of the history";
  source.text = entry.configuration;
  if (const auto failure = parse_source(source)) return failure->message;
  return std::nullopt;
}

void record_in_history(const std::string& configuration, const std::string& comment) {
  if (const auto error = History().add(configuration, comment))
    report("lanfab: warning: could not add it to the history: " + *error);
}
