// The system database as an SQLite table. The file is opened by the first call that needs it: some runs use
// it a few times, most never.

#include <sqlite3.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "platform/libsysdb.h"
#include "sysdb_file.h"

constexpr char kDefaultDatabase[] = "";
// How long a call waits for another writer.
constexpr int kBusyTimeoutMs = 5000;

namespace {

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
  }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

}  // namespace

// Logs the last error.
static void report_error(const char* action, const char* object, sqlite3* database) {
  const int error = sqlite3_system_errno(database);
  syslog(LOG_NOTICE, "%s: cannot %s %s: %s", system_database_file(), action, object,
         error != 0 ? std::strerror(error) : sqlite3_errmsg(database));
}

static bool is_missing(const std::string& path) {
  return access(path.c_str(), F_OK) != 0 && errno == ENOENT;
}

// Opens the file; returns null on failure.
static sqlite3* open_database(const std::string& path, int flags) {
  sqlite3* database = nullptr;
  if (sqlite3_open_v2(path.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
    if (!is_missing(path)) report_error("open", "the database", database);
    sqlite3_close(database);
    return nullptr;
  }
  sqlite3_busy_timeout(database, kBusyTimeoutMs);
  // The file is in /run and does not survive a reboot, so it need not be synced to disk.
  sqlite3_exec(database, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
  return database;
}

const char* system_database_file() {
  const char* configured = std::getenv("LANFAB_SYSDB");
  return configured != nullptr ? configured : kSystemDatabase;
}

// Returns the connection to the file that the environment names; it is closed when the process ends or
// another file is named. Returns null if the file is missing and `create_flag` is 0, or if it cannot be
// opened.
static sqlite3* connection(int create_flag) {
  static sqlite3* database = nullptr;
  static std::string open_path;
  const char* path = system_database_file();
  if (database == nullptr || open_path != path) {
    sqlite3_close(database);
    open_path = path;
    database = open_database(open_path, SQLITE_OPEN_READWRITE | create_flag);
  }
  return database;
}

// Prepares `sql` with the strings bound to its parameters in order; the strings must outlive the statement.
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
  sqlite3* database = connection(SQLITE_OPEN_CREATE);
  if (database == nullptr) return -1;
  constexpr char kWrite[] = "INSERT OR REPLACE INTO entries VALUES(?, ?, ?)";
  Statement write = prepare(database, kWrite, {database_name, key, value});
  if (write == nullptr) {
    // The first write after boot: the file has no table yet.
    constexpr char kCreate[] =
        "CREATE TABLE IF NOT EXISTS entries(database TEXT, key TEXT, value TEXT, PRIMARY KEY(database, key))";
    sqlite3_exec(database, kCreate, nullptr, nullptr, nullptr);
    write = prepare(database, kWrite, {database_name, key, value});
  }
  if (write != nullptr && sqlite3_step(write.get()) == SQLITE_DONE) return 0;
  report_error("write", key, database);
  return -1;
}

int sysdb_read_int(int /*database*/, const char* key, int* value) {
  sqlite3* database = connection(0);
  if (database == nullptr) return -1;
  const Statement read =
      prepare(database, "SELECT value FROM entries WHERE database = ? AND key = ?", {kDefaultDatabase, key});
  if (read == nullptr || sqlite3_step(read.get()) != SQLITE_ROW) {
    // A new file has no table and no entries.
    const int error = sqlite3_errcode(database);
    if (error != SQLITE_ERROR && error != SQLITE_DONE) report_error("read", key, database);
    return -1;
  }
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
