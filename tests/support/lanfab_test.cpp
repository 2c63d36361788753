#include "lanfab_test.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

static void empty_folder(const fs::path& folder) {
  for (const auto& entry : fs::directory_iterator(folder))
    fs::remove_all(entry);
}

void LanfabTest::SetUp() {
  ASSERT_TRUE(exists("/dev/sandbox")) << "start the tests through tests/support/sandbox or ctest";
  platform() = RecordingPlatform();
  empty_folder("/run");
  empty_folder("/var/volatile");
  empty_folder("/var/data");
  fs::create_directories("/var/run/systemd/network");
  fs::create_directories("/var/volatile/qel/.wwan_unit_backup");
  fs::create_directories("/var/data/qel/.wg");
}

Json::Value json(const std::string& text) {
  Json::Value value;
  std::string complaints;
  std::istringstream stream(text);
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &complaints)) << complaints;
  return value;
}

NetworkContext context_of(const std::string& network) {
  platform().configuration["network"] = json(network);
  NetworkContext ctx(false);
  platform().calls.clear();
  platform().log.clear();
  return ctx;
}

std::string text_written_by(const std::function<void(std::FILE*)>& write) {
  char* buffer = nullptr;
  std::size_t size = 0;
  std::FILE* stream = open_memstream(&buffer, &size);
  write(stream);
  std::fclose(stream);
  std::string text(buffer, size);
  std::free(buffer);
  return text;
}

std::string printed_by(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

std::string text_of_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string unit(const std::string& name) {
  return text_of_file("/var/run/systemd/network/" + name);
}

void put_file(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  ASSERT_TRUE(file.flush()) << path;
}

bool exists(const std::string& path) {
  return fs::exists(path);
}
