#include "cli/status/deviating_files.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <sstream>

#include "cli/compare/facts.h"
#include "cli/dry_run/dry_run.h"
#include "networkd/unit_file.h"

// Files in this directory are not read as part of the state of this machine.
constexpr char kNotCompared[] = "/var/data/";
// Each WWAN_APPLY appends its lines to this script again.
constexpr char kDeleteInterfacesScript[] = "/var/run/.delete_interfaces";

// Files by path; only the content that matters is stored.
using Files = std::map<std::string, File>;

// Content to compare. In a script to which runs append lines repeatedly, only the set of lines matters.
static std::string content_that_matters(const File& file) {
  if (file.path != kDeleteInterfacesScript) return file.content;
  std::istringstream text(file.content);
  std::set<std::string> lines;
  for (std::string line; std::getline(text, line);)
    lines.insert(line);
  std::string content;
  for (const std::string& line : lines)
    content += line + "\n";
  return content;
}

static void add(File file, Files& files) {
  if (file.path.compare(0, std::strlen(kNotCompared), kNotCompared) == 0) return;
  file.content = content_that_matters(file);
  files[file.path] = std::move(file);
}

static bool are_equal(const File& one, const File& other) {
  return one.mode == other.mode && one.content == other.content;
}

// Whether the two have equal files at this path, or both have none.
static bool agree(const Files& one, const Files& other, const std::string& path) {
  const auto first = one.find(path);
  const auto second = other.find(path);
  if (first == one.end() || second == other.end()) return first == one.end() && second == other.end();
  return are_equal(first->second, second->second);
}

// Path of a unit up to the number that begins its name; empty for other files.
static std::string unit_number(const std::string& path) {
  const std::size_t length = std::strlen(kUnitDir);
  const std::size_t hyphen = path.find('-', length);
  return path.compare(0, length, kUnitDir) == 0 && hyphen != std::string::npos ? path.substr(0, hyphen) : "";
}

// The first line of an error message, without the name of this program.
static std::string reason_of(const std::string& message) {
  constexpr char kName[] = "lanfab: ";
  const std::size_t begin = message.compare(0, std::strlen(kName), kName) == 0 ? std::strlen(kName) : 0;
  return message.substr(begin, message.find('\n') - begin);
}

namespace {

class Check {
 public:
  explicit Check(const Source& source) : source_(source) {}

  DeviatingFiles run(bool has_link) {
    DryRun dry_run;
    if (!make("apply", "here", dry_run)) return std::move(result_);
    files_ = left_by(dry_run);
    compare(dry_run);
    if (!result_.files.empty() && !has_link) drop_former_link();
    if (!result_.files.empty()) name_actions();
    return std::move(result_);
  }

 private:
  // Makes a dry run. Returns false and sets result_.error if there is no result, or if an APPLY fails.
  bool make(const char* action, const char* cell, DryRun& dry_run) {
    DryRunOptions options;
    options.action = action;
    options.cell = cell;
    options.seconds = kDryRunSeconds;
    if (const auto error = make_dry_run(source_, options, dry_run)) {
      result_.error = DeviatingFiles::Error{reason_of(*error), false};
      return false;
    }
    const int status = dry_run.result.status;
    if (status == 0 || std::strcmp(action, "apply") != 0) return true;
    const std::string how = status < 0 ? std::string("is ended by a signal: ") + strsignal(-status)
                                       : "fails with the exit status " + std::to_string(status);
    result_.error = DeviatingFiles::Error{"a dry run " + how, true};
    return false;
  }

  static Files left_by(const DryRun& dry_run) {
    Files files;
    for (const ResultFile& file : dry_run.result.files)
      add(file.file, files);
    return files;
  }

  void compare(const DryRun& dry_run) {
    Files present;
    for (const File& file : dry_run.initial_state.tree.files)
      add(file, present);
    for (const auto& [path, file] : files_) {
      const auto found = present.find(path);
      if (found == present.end()) {
        result_.files.push_back({path, DeviatingFile::Kind::kMissing, ""});
      } else if (found->second.content != file.content) {
        result_.files.push_back({path, DeviatingFile::Kind::kContent, ""});
      } else if (found->second.mode != file.mode) {
        result_.files.push_back({path, DeviatingFile::Kind::kMode, ""});
      }
    }
    for (const std::string& path : dry_run.result.removed)
      result_.files.push_back({path, DeviatingFile::Kind::kSurplus, ""});
    std::sort(result_.files.begin(), result_.files.end(),
              [](const DeviatingFile& one, const DeviatingFile& other) { return one.path < other.path; });
  }

  // Drops the files that a WWAN_APPLY with a link writes differently than the APPLY without one. Compares
  // surplus units by their numbers, since the former link may have had another interface.
  void drop_former_link() {
    DryRun with_link;
    if (!make("wwan_apply", "up", with_link)) return;
    std::set<std::string> paths;
    std::set<std::string> new_units;
    for (const ResultFile& file : with_link.result.files) {
      Files own;
      add(file.file, own);
      const std::string& path = file.file.path;
      if (file.change == Change::kUntouched || agree(own, files_, path)) continue;
      paths.insert(path);
      if (files_.count(path) == 0) new_units.insert(unit_number(path));
    }
    new_units.erase("");
    const auto is_of_link = [&paths, &new_units](const DeviatingFile& file) {
      return paths.count(file.path) != 0 ||
             (file.kind == DeviatingFile::Kind::kSurplus && new_units.count(unit_number(file.path)) != 0);
    };
    std::vector<DeviatingFile>& files = result_.files;
    files.erase(std::remove_if(files.begin(), files.end(), is_of_link), files.end());
  }

  // Sets the action that fixes each file. An APPLY fixes all of them, so if one file needs it, all files get
  // it.
  void name_actions() {
    for (const char* action : {"dnsmasq", "wwan_apply"}) {
      DryRun dry_run;
      if (!make(action, "here", dry_run)) return;
      const Files files = left_by(dry_run);
      for (DeviatingFile& file : result_.files)
        if (file.action.empty() && agree(files, files_, file.path)) file.action = action;
    }
    const auto needs_apply = [](const DeviatingFile& file) { return file.action.empty(); };
    if (std::none_of(result_.files.begin(), result_.files.end(), needs_apply)) return;
    for (DeviatingFile& file : result_.files)
      file.action = "apply";
  }

  const Source& source_;
  Files files_;  // after an APPLY
  DeviatingFiles result_;
};

}  // namespace

DeviatingFiles find_deviating_files(const Source& source, bool has_link) {
  return Check(source).run(has_link);
}
