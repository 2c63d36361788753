#include "cli/compare/file_differences.h"

#include <cstdio>
#include <map>

#include "cli/base/terminal.h"
#include "cli/compare/unified_diff.h"

constexpr char kNoFile[] = "/dev/null";

std::string quoted_if_needed(const std::string& path) {
  if (printable(path) == path) return path;
  std::string quoted = "\"";
  for (const char c : path) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\%03o", static_cast<unsigned>(static_cast<unsigned char>(c)));
    const bool is_plain = c > ' ' && c <= '~' && c != '"' && c != '\\';
    quoted += is_plain ? std::string(1, c) : escape;
  }
  return quoted + "\"";
}

static const File* file_at(const FilesByPath& files, const std::string& path) {
  const auto found = files.find(path);
  return found != files.end() ? &found->second : nullptr;
}

static FileDifference difference_of(const std::string& path, const File* before, const File* after) {
  const std::string name = quoted_if_needed(path);
  UnifiedDiff diff =
      unified_diff(before != nullptr ? name : kNoFile, before != nullptr ? before->content : "",
                   after != nullptr ? name : kNoFile, after != nullptr ? after->content : "");
  return {
      path, before, after, std::move(diff.text), "", {path, std::move(diff.removed), std::move(diff.added)}};
}

// The difference without the two lines that name the files.
static std::string hunks_of(const std::string& difference) {
  const std::size_t begin = difference.find("\n@@");
  return begin == std::string::npos ? std::string() : difference.substr(begin);
}

std::vector<FileDifference> find_differences(const FilesByPath& before, const FilesByPath& after) {
  FilesByPath both = before;
  both.insert(after.begin(), after.end());
  std::vector<FileDifference> differences;
  std::map<std::string, std::string> paths;  // of the first file with these hunks, by hunks
  for (const auto& [path, any] : both) {
    FileDifference difference = difference_of(path, file_at(before, path), file_at(after, path));
    if (difference.text.empty() && !difference.has_other_mode()) continue;
    const std::string hunks = hunks_of(difference.text);
    const auto [first, is_new] = paths.emplace(hunks, path);
    if (!is_new && !hunks.empty()) difference.same_as = first->second;
    differences.push_back(std::move(difference));
  }
  return differences;
}

static bool has_equal_content(const File* file, const File* other) {
  if (file == nullptr || other == nullptr) return file == other;
  return file->content == other->content;
}

std::vector<ChangedFile> changed_files(const std::vector<FileDifference>& differences) {
  std::map<std::string, const FileDifference*> by_path;
  std::vector<ChangedFile> files;
  for (const FileDifference& difference : differences) {
    by_path[difference.path] = &difference;
    const auto original = by_path.find(difference.same_as);
    const bool is_copy = original != by_path.end() &&
                         has_equal_content(difference.before, original->second->before) &&
                         has_equal_content(difference.after, original->second->after);
    if (!is_copy) files.push_back(difference.lines);
  }
  return files;
}
