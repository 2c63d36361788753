#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/libsysdb.h"
#include "platform_test.h"

namespace {

class SysdbTest : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    setenv("LANFAB_SYSDB", file_.c_str(), 1);
  }

  // A separate file for each test: the platform keeps the file open.
  const std::string file_ =
      std::string("/run/") + testing::UnitTest::GetInstance()->current_test_info()->name() + ".sqlite3";
};

}  // namespace

// Returns the rows of a statement, with bars between columns, as another program sees them.
static std::vector<std::string> query(const std::string& file, const std::string& sql) {
  std::vector<std::string> rows;
  sqlite3* database = nullptr;
  EXPECT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
  const auto add_row = [](void* result, int count, char** columns, char**) {
    std::string row;
    for (int i = 0; i < count; ++i)
      row += (i == 0 ? "" : "|") + std::string(columns[i] != nullptr ? columns[i] : "NULL");
    static_cast<std::vector<std::string>*>(result)->push_back(row);
    return 0;
  };
  char* error = nullptr;
  EXPECT_EQ(sqlite3_exec(database, sql.c_str(), add_row, &rows, &error), SQLITE_OK) << error;
  sqlite3_free(error);
  sqlite3_close(database);
  return rows;
}

static std::vector<std::string> entries(const std::string& file) {
  return query(file, "SELECT database, key, value FROM entries ORDER BY database, key");
}

// Returns the number of this process's descriptors that are open on the file.
static std::ptrdiff_t open_descriptors_of(const std::string& file) {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::count_if(begin(descriptors), end(descriptors), [&](const auto& descriptor) {
    std::error_code closed_meanwhile;
    return std::filesystem::read_symlink(descriptor, closed_meanwhile) == file;
  });
}

// Returns the result of reading a key with this value; 42 if that fails and leaves the value unchanged.
static int read_back(const char* text) {
  EXPECT_EQ(sysdb_write_str(0, "CELL_CONNECTED", text, 0), 0);
  int value = 42;
  const int result = sysdb_read_int(0, "CELL_CONNECTED", &value);
  EXPECT_EQ(result == 0, value != 42) << text;
  return value;
}

TEST_F(SysdbTest, TheDefaultDatabaseHasNoName) {
  EXPECT_EQ(sysdb_write_str(0, "SYS_MACADDR", "02005e000010", 0), 0);
  EXPECT_THAT(entries(file_), ElementsAre("|SYS_MACADDR|02005e000010"));
}

TEST_F(SysdbTest, ANamedDatabaseIsApartFromTheDefaultOne) {
  EXPECT_EQ(sysdb_namedb_write_str(0, "NET", "NET_ETH0_MODE", "Router", 0), 0);
  EXPECT_EQ(sysdb_write_str(0, "NET_ETH0_MODE", "else", 0), 0);
  EXPECT_THAT(entries(file_), ElementsAre("|NET_ETH0_MODE|else", "NET|NET_ETH0_MODE|Router"));
}

TEST_F(SysdbTest, AnEntryIsReplaced) {
  for (const char* mode : {"Router", "Disabled"})
    EXPECT_EQ(sysdb_namedb_write_str(0, "NET", "NET_ETH1_MODE", mode, 0), 0);
  for (const char* address : {"02005e000010", ""})
    EXPECT_EQ(sysdb_write_str(0, "SYS_MACADDR", address, 0), 0);
  EXPECT_THAT(entries(file_), ElementsAre("|SYS_MACADDR|", "NET|NET_ETH1_MODE|Disabled"));
}

TEST_F(SysdbTest, TheFileIsOpenedOnce) {
  int value = 42;
  sysdb_write_str(0, "SYS_MACADDR", "02005e000010", 0);
  sysdb_namedb_write_str(0, "NET", "NET_ETH1_MODE", "Router", 0);
  sysdb_read_int(0, "SYS_MACADDR", &value);
  EXPECT_EQ(open_descriptors_of(file_), 1);
}

TEST_F(SysdbTest, TextsAreKeptAsTheyAre) {
  EXPECT_EQ(sysdb_namedb_write_str(0, "a'b", "c\"d", "'); DROP TABLE entries; --", 0), 0);
  EXPECT_THAT(entries(file_), ElementsAre("a'b|c\"d|'); DROP TABLE entries; --"));
}

TEST_F(SysdbTest, AWholeDecimalIntegerIsRead) {
  EXPECT_EQ(read_back("0"), 0);
  EXPECT_EQ(read_back("1"), 1);
  EXPECT_EQ(read_back("-1"), -1);
  EXPECT_EQ(read_back("007"), 7);
  EXPECT_EQ(read_back("2147483647"), 2147483647);
  EXPECT_EQ(read_back("-2147483648"), -2147483647 - 1);
}

TEST_F(SysdbTest, AnyOtherTextFailsAndLeavesTheValueAlone) {
  for (const char* text : {"", " ", "one", "1x", "x1", "1 ", " 1", "1.0", "1e3", "0x1", "-", "2147483648",
                           "-2147483649", "99999999999999999999"})
    EXPECT_EQ(read_back(text), 42) << text;
}

TEST_F(SysdbTest, AnIntegerThatAnotherProgramWroteAsANumberIsRead) {
  sysdb_write_str(0, "CELL_CONNECTED", "0", 0);
  query(file_, "UPDATE entries SET value = 1");
  int value = 42;
  EXPECT_EQ(sysdb_read_int(0, "CELL_CONNECTED", &value), 0);
  EXPECT_EQ(value, 1);
}

TEST_F(SysdbTest, AMissingKeyFails) {
  int value = 42;
  EXPECT_NE(sysdb_read_int(0, "CELL_CONNECTED", &value), 0) << "no file";
  EXPECT_FALSE(exists(file_)) << "reading makes no file";
  sysdb_write_str(0, "cell_connected", "1", 0);
  EXPECT_NE(sysdb_read_int(0, "CELL_CONNECTED", &value), 0) << "no such key";
  sysdb_namedb_write_str(0, "NET", "CELL_CONNECTED", "1", 0);
  EXPECT_NE(sysdb_read_int(0, "CELL_CONNECTED", &value), 0) << "a key of another database";
  query(file_, "INSERT INTO entries VALUES('', 'CELL_CONNECTED', NULL)");
  EXPECT_NE(sysdb_read_int(0, "CELL_CONNECTED", &value), 0) << "no value";
  query(file_, "DROP TABLE entries");
  EXPECT_NE(sysdb_read_int(0, "CELL_CONNECTED", &value), 0) << "no table";
  EXPECT_EQ(value, 42);
  EXPECT_THAT(log_of_test, IsEmpty());
}

TEST_F(SysdbTest, AFileThatIsNoDatabaseFails) {
  put_file(file_, std::string(4096, 'x'));
  int value = 42;
  EXPECT_NE(sysdb_read_int(0, "CELL_CONNECTED", &value), 0);
  EXPECT_NE(sysdb_write_str(0, "SYS_MACADDR", "", 0), 0);
  EXPECT_NE(sysdb_namedb_write_str(0, "NET", "NET_ETH0_MODE", "", 0), 0);
  EXPECT_EQ(value, 42);
  const std::string reason = ": file is not a database";
  EXPECT_THAT(log_of_test, ElementsAre("notice " + file_ + ": cannot read CELL_CONNECTED" + reason,
                                       "notice " + file_ + ": cannot write SYS_MACADDR" + reason,
                                       "notice " + file_ + ": cannot write NET_ETH0_MODE" + reason));
}

TEST_F(SysdbTest, AFileThatCannotBeOpenedFails) {
  std::filesystem::create_directory("/run/directory");
  setenv("LANFAB_SYSDB", "/run/directory", 1);
  int value = 42;
  EXPECT_NE(sysdb_read_int(0, "CELL_CONNECTED", &value), 0);
  EXPECT_NE(sysdb_write_str(0, "SYS_MACADDR", "", 0), 0);
  EXPECT_NE(sysdb_namedb_write_str(0, "NET", "NET_ETH0_MODE", "", 0), 0);
  EXPECT_EQ(value, 42);
  EXPECT_THAT(log_of_test, Each("notice /run/directory: cannot open the database: Is a directory"));
  EXPECT_EQ(log_of_test.size(), 3U);
}

TEST_F(SysdbTest, WithoutAFileOfItsOwnTheSystemsIsUsed) {
  unsetenv("LANFAB_SYSDB");
  EXPECT_EQ(sysdb_write_str(0, "CELL_CONNECTED", "1", 0), 0);
  EXPECT_THAT(entries("/var/run/sysdb.sqlite3"), ElementsAre("|CELL_CONNECTED|1"));
  int value = 42;
  EXPECT_EQ(sysdb_read_int(0, "CELL_CONNECTED", &value), 0);
  EXPECT_EQ(value, 1);
}

TEST_F(SysdbTest, AnEntryThatTheTableRefusesFails) {
  query(file_, "CREATE TABLE entries(database TEXT, key TEXT, value TEXT CHECK(value <> 'no'))");
  EXPECT_NE(sysdb_write_str(0, "KEY", "no", 0), 0);
  EXPECT_EQ(sysdb_write_str(0, "KEY", "yes", 0), 0);
  EXPECT_THAT(entries(file_), ElementsAre("|KEY|yes"));
}
