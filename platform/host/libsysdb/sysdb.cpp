// The system database as one SQLite table. The file is opened by the call that needs it and not before: most
// runs touch it a handful of times or not at all.

#include <sqlite3.h>

#include <charconv>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "platform/libsysdb.h"

constexpr char kDefaultFile[] = "/var/run/sysdb.sqlite3";
constexpr char kDefaultDatabase[] = "";
// How long a call waits for another process that is writing.
constexpr int kBusyTimeoutMs = 5000;

namespace {

struct CloseDatabase {
  void operator()(sqlite3* database) const {
    sqlite3_close(database);
  }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
  }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

}  // namespace

static Database open_database(int flags) {
  const char* path = std::getenv("LANFAB_SYSDB");
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(path != nullptr ? path : kDefaultFile, &database, flags, nullptr);
  Database owner(database);
  if (result != SQLITE_OK) return nullptr;
  sqlite3_busy_timeout(database, kBusyTimeoutMs);
  return owner;
}

// Prepares `sql` with the texts bound to its parameters in order; the texts must outlive the statement.
static Statement prepare(sqlite3* database, const char* sql, std::initializer_list<const char*> texts) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database, sql, -1, &statement, nullptr) != SQLITE_OK) return nullptr;
  Statement owner(statement);
  int position = 1;
  for (const char* text : texts) {
    if (sqlite3_bind_text(statement, position++, text, -1, SQLITE_STATIC) != SQLITE_OK) return nullptr;
  }
  return owner;
}

static int write_entry(const char* database_name, const char* key, const char* value) {
  const Database database = open_database(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (database == nullptr) return -1;
  constexpr char kCreate[] =
      "CREATE TABLE IF NOT EXISTS entries(database TEXT, key TEXT, value TEXT, PRIMARY KEY(database, key))";
  if (sqlite3_exec(database.get(), kCreate, nullptr, nullptr, nullptr) != SQLITE_OK) return -1;
  const Statement write =
      prepare(database.get(), "INSERT OR REPLACE INTO entries VALUES(?, ?, ?)", {database_name, key, value});
  return write != nullptr && sqlite3_step(write.get()) == SQLITE_DONE ? 0 : -1;
}

int sysdb_read_int(int /*database*/, const char* key, int* value) {
  const Database database = open_database(SQLITE_OPEN_READONLY);
  if (database == nullptr) return -1;
  const Statement read = prepare(database.get(), "SELECT value FROM entries WHERE database = ? AND key = ?",
                                 {kDefaultDatabase, key});
  if (read == nullptr || sqlite3_step(read.get()) != SQLITE_ROW) return -1;
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(read.get(), 0));
  if (text == nullptr) return -1;
  const std::string_view number(text);
  int parsed = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), parsed);
  if (error != std::errc() || end != number.data() + number.size()) return -1;
  *value = parsed;
  return 0;
}

int sysdb_write_str(int /*database*/, const char* key, const char* value, int /*flags*/) {
  return write_entry(kDefaultDatabase, key, value);
}

int sysdb_namedb_write_str(int /*flags*/, const char* database, const char* key, const char* value,
                           int /*options*/) {
  return write_entry(database, key, value);
}
