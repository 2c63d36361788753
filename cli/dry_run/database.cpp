#include "cli/dry_run/database.h"

#include <sqlite3.h>

#include <memory>

#include "libsysdb/sysdb_file.h"

static std::string text_in(sqlite3_stmt* row, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
  return text != nullptr ? text : "";
}

namespace {

struct CloseDatabase {
  void operator()(sqlite3* database) const {
    sqlite3_close(database);
  }
};

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
  }
};

}  // namespace

std::map<std::string, std::string> read_database(Meter& meter) {
  // A run could have written a value of any length.
  constexpr int kLongestValue = 1'000'000;
  std::map<std::string, std::string> entries;
  sqlite3* opened = nullptr;
  const int error = sqlite3_open_v2(kSystemDatabase, &opened, SQLITE_OPEN_READONLY, nullptr);
  const std::unique_ptr<sqlite3, CloseDatabase> database(opened);
  if (error != SQLITE_OK) return entries;
  sqlite3_limit(opened, SQLITE_LIMIT_LENGTH, kLongestValue);
  sqlite3_stmt* prepared = nullptr;
  sqlite3_prepare_v2(opened, "SELECT database, key, value FROM entries", -1, &prepared, nullptr);
  const std::unique_ptr<sqlite3_stmt, FinalizeStatement> rows(prepared);
  while (sqlite3_step(prepared) == SQLITE_ROW) {
    const std::string name = text_in(prepared, 0);
    const std::string key = (name.empty() ? "" : name + "/") + text_in(prepared, 1);
    const std::string value = text_in(prepared, 2);
    meter.add(key.size() + value.size() + sizeof(std::pair<std::string, std::string>));
    entries[key] = value;
  }
  return entries;
}
