#include "cli/dry_run/database.h"

#include <sqlite3.h>

#include "libsysdb/sysdb_file.h"

static std::string text_in(sqlite3_stmt* row, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
  return text != nullptr ? text : "";
}

std::map<std::string, std::string> read_database() {
  std::map<std::string, std::string> entries;
  sqlite3* database = nullptr;
  sqlite3_stmt* rows = nullptr;
  if (sqlite3_open_v2(kSystemDatabase, &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK &&
      sqlite3_prepare_v2(database, "SELECT database, key, value FROM entries", -1, &rows, nullptr) ==
          SQLITE_OK) {
    while (sqlite3_step(rows) == SQLITE_ROW) {
      const std::string name = text_in(rows, 0);
      entries[(name.empty() ? "" : name + "/") + text_in(rows, 1)] = text_in(rows, 2);
    }
  }
  sqlite3_finalize(rows);
  sqlite3_close(database);
  return entries;
}
