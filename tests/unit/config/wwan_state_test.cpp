#include "config/wwan_state.h"

#include <filesystem>

#include "lanfab_test.h"

namespace {

class WwanStateTest : public LanfabTest {
 protected:
  // The readers must not log or run anything.
  void TearDown() override {
    EXPECT_THAT(platform().log, IsEmpty());
    EXPECT_THAT(platform().calls, IsEmpty());
  }
};

// A reader of an address and the file that it reads.
struct AddressFile {
  std::string path;
  std::function<void(char*)> read;
};

}  // namespace

static const std::vector<AddressFile>& address_files() {
  static const std::vector<AddressFile> files = {
      {"/var/run/wwan_ipv4", [](char* buffer) { read_wwan_ipv4(buffer); }},
      {"/var/run/wwan_gw", read_wwan_gw},
      {"/var/run/wwan_netmask", read_wwan_netmask},
      {"/var/run/wwan_dns1", read_wwan_dns1},
      {"/var/run/wwan_dns2", read_wwan_dns2},
  };
  return files;
}

// Reads a value into a zeroed buffer of exactly the callers' size; returns the content of the buffer.
static std::string value_of(const AddressFile& file) {
  const std::vector<char> zeroes(16);
  std::vector<char> buffer = zeroes;
  file.read(buffer.data());
  return buffer.data();
}

TEST_F(WwanStateTest, EachReaderReadsItsOwnFile) {
  for (const AddressFile& file : address_files())
    put_file(file.path, file.path.substr(file.path.find('_')) + "\n");
  std::vector<std::string> values;
  for (const AddressFile& file : address_files())
    values.push_back(value_of(file));
  EXPECT_THAT(values, ElementsAre("_ipv4", "_gw", "_netmask", "_dns1", "_dns2"));
}

TEST_F(WwanStateTest, AMissingFileLeavesAnEmptyText) {
  for (const AddressFile& file : address_files())
    EXPECT_EQ(value_of(file), "") << file.path;
}

TEST_F(WwanStateTest, TheLineEndIsNoPartOfTheValue) {
  for (const AddressFile& file : address_files()) {
    SCOPED_TRACE(file.path);
    put_file(file.path, "10.20.30.40");
    EXPECT_EQ(value_of(file), "10.20.30.40");
    put_file(file.path, "10.20.30.41\n");
    EXPECT_EQ(value_of(file), "10.20.30.41");
    put_file(file.path, "10.20.30.42\nsecond line\n");
    EXPECT_EQ(value_of(file), "10.20.30.42");
  }
}

TEST_F(WwanStateTest, TheLongestDottedAddressFits) {
  for (const AddressFile& file : address_files()) {
    put_file(file.path, "255.255.255.255\n");
    EXPECT_EQ(value_of(file), "255.255.255.255") << file.path;
  }
}

TEST_F(WwanStateTest, AValueThatDoesNotFitIsNotAvailable) {
  for (const AddressFile& file : address_files()) {
    put_file(file.path, "255.255.255.2550\n");
    EXPECT_EQ(value_of(file), "") << file.path;
  }
}

TEST_F(WwanStateTest, TheAddressReaderTellsWhetherTheFileWasRead) {
  char buffer[16] = "";
  EXPECT_NE(read_wwan_ipv4(buffer), 0);
  put_file("/var/run/wwan_ipv4", "10.20.30.40\n");
  EXPECT_EQ(read_wwan_ipv4(buffer), 0);
  std::filesystem::remove("/var/run/wwan_ipv4");
  std::filesystem::create_directory("/var/run/wwan_ipv4");
  EXPECT_NE(read_wwan_ipv4(buffer), 0);
}

TEST_F(WwanStateTest, TheLinkIsUpAsTheDatabaseSays) {
  for (const int value : {0, 1, 2, -1}) {
    platform().database["CELL_CONNECTED"] = value;
    EXPECT_EQ(is_cell_connected(), value);
  }
}

TEST_F(WwanStateTest, ALinkThatTheDatabaseDoesNotKnowIsDown) {
  platform().database["cell_connected"] = 1;
  EXPECT_EQ(is_cell_connected(), 0);
}
