// `lanfab report`: a bundle of information for remote troubleshooting.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "cli/base/output.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/report/archive.h"
#include "cli/report/bundle.h"

namespace {

struct ReportOptions {
  std::string file;  // if empty, lanfab-report-TIME.tar.gz
  bool force = false;
};

}  // namespace

// Name of the directory in the bundle, and default name of the bundle without its suffix.
static std::string name_now() {
  const std::time_t now = std::time(nullptr);
  std::tm fields{};
  char name[64] = "";
  if (gmtime_r(&now, &fields) != nullptr)
    std::strftime(name, sizeof name, "lanfab-report-%Y%m%dT%H%M%SZ", &fields);
  return name;
}

static std::string list_of(const std::vector<ReportItem>& items) {
  std::string text;
  for (const ReportItem& item : items) {
    const std::string size = item.content.empty() ? "-" : std::to_string(item.content.size());
    char line[128];
    std::snprintf(line, sizeof line, "%9s  ", size.c_str());
    text += line + printable(item.name.substr(1)) + "\n";
    if (!item.error.empty()) text += "           " + printable(item.error) + "\n";
  }
  return text;
}

static std::vector<File> files_of(const std::vector<ReportItem>& items, const std::string& list) {
  std::vector<File> files = {{"/contents.txt", 0600, list}};
  for (const ReportItem& item : items)
    if (!item.content.empty()) files.push_back({item.name, 0600, item.content});
  return files;
}

// Writes the bundle. Returns the exit status: 0 when it is written, even if items are missing, or 2 on
// failure.
static int write_report(const ReportOptions& options) {
  const std::string name = name_now();
  const std::string path = options.file.empty() ? name + ".tar.gz" : options.file;
  OutputFile output(path);
  if (const auto error = output.open()) return fail("lanfab: " + *error);
  struct stat status {};
  // Checked before the queries, which take time.
  if (!options.force && lstat(path.c_str(), &status) == 0)
    return fail("lanfab: " + printable(path) + ": file exists; use --force to replace it");
  const std::vector<ReportItem> items = collect_report();
  const std::string list = list_of(items);
  std::string archive;
  if (const auto error = pack(files_of(items, list), name, archive)) return fail("lanfab: " + *error);
  if (const auto error = options.force ? output.write(archive) : output.create(archive))
    return fail("lanfab: " + *error);
  std::printf("%s contains these files (sizes in bytes):\n%s", printable(path).c_str(), list.c_str());
  std::printf("Keys, passwords and tokens are masked. Addresses and host names are not.\n");
  return 0;
}

Command report_command() {
  static ReportOptions options;
  return {"report",
          "Collect what is needed for troubleshooting into one file",
          {{"-o FILE", "the bundle; default: lanfab-report-TIME.tar.gz", &options.file, Completion::kFile},
           {"--force", "replace FILE if it exists", &options.force}},
          "The bundle has the configuration, the generated files, the status, versions, logs and the state\n"
          "of the network, without keys, passwords and tokens.\n\n"
          "Example: lanfab report -o report.tar.gz",
          [] { return write_report(options); }};
}
