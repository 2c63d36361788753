// The system database as one SQLite table. The file is opened once, by the first call that needs it: some
// runs touch it a handful of times, most not at all.

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
// How long a call waits for another process that is writing.
constexpr int kBusyTimeoutMs = 5000;

namespace {

struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
  }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

}  // namespace

// Logs why something has just failed.
static void report_error(const char* action, const char* object, sqlite3* database) {
  const int error = sqlite3_system_errno(database);
  syslog(LOG_NOTICE, "%s: cannot %s %s: %s", system_database_file(), action, object,
         error != 0 ? std::strerror(error) : sqlite3_errmsg(database));
}

static bool is_missing(const std::string& path) {
  return access(path.c_str(), F_OK) != 0 && errno == ENOENT;
}

// Null when the file cannot be opened.
static sqlite3* open_database(const std::string& path, int flags) {
  sqlite3* database = nullptr;
  if (sqlite3_open_v2(path.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
    if (!is_missing(path)) report_error("open", "the database", database);
    sqlite3_close(database);
    return nullptr;
  }
  sqlite3_busy_timeout(database, kBusyTimeoutMs);
  // The file is in /run and does not outlive the machine: there is no disk to wait for.
  sqlite3_exec(database, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
  return database;
}

const char* system_database_file() {
  const char* configured = std::getenv("LANFAB_SYSDB");
  return configured != nullptr ? configured : kSystemDatabase;
}

// The connection to the file that the environment names; it ends with the process, or when another file is
// named. Null when the file is missing and `create_flag` is 0, or when it cannot be opened.
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
  sqlite3* database = connection(SQLITE_OPEN_CREATE);
  if (database == nullptr) return -1;
  constexpr char kWrite[] = "INSERT OR REPLACE INTO entries VALUES(?, ?, ?)";
  Statement write = prepare(database, kWrite, {database_name, key, value});
  if (write == nullptr) {
    // The first write since the device started: the file has no table yet.
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
    // A file that is new has no table and no entry yet.
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
