#include "lanfab_test.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

void LanfabTest::SetUp() {
  ASSERT_TRUE(exists("/dev/sandbox")) << "start the tests through tests/support/sandbox or ctest";
  platform() = RecordingPlatform();
  empty_directory("/run");
  empty_directory("/var/volatile");
  empty_directory("/var/data");
  fs::create_directories("/var/run/systemd/network");
  fs::create_directories("/var/volatile/qel/.wwan_unit_backup");
  fs::create_directories("/var/data/qel/.wg");
}

NetworkContext context_of(const std::string& network) {
  NetworkContext ctx(json(network));
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

Lines heads(const std::string& text) {
  Lines found;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && (line.front() == '#' || line.front() == '[')) found.push_back(line);
  }
  return found;
}

std::string printed_by(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

std::string unit(const std::string& name) {
  return text_of_file("/var/run/systemd/network/" + name);
}

Lines unit_names() {
  Lines names;
  for (const auto& entry : fs::directory_iterator("/var/run/systemd/network"))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

void block_unit(const std::string& name) {
  fs::create_directories("/var/run/systemd/network/" + name);
}

void fill_disk_for(const std::string& path) {
  fs::remove(path);
  fs::create_symlink("/dev/full", path);
}

void fill_disk_for_unit(const std::string& name) {
  fill_disk_for("/var/run/systemd/network/" + name);
}

Lines log_of(const std::string& priority) {
  const Lines& log = platform().log;
  Lines found;
  std::copy_if(log.begin(), log.end(), std::back_inserter(found),
               [&](const std::string& line) { return line.rfind(priority + " ", 0) == 0; });
  return found;
}

Lines recorded_interfaces() {
  const std::string command = "/sbin/ip link delete dev ";
  Lines interfaces;
  std::ifstream script("/var/run/.delete_interfaces");
  for (std::string line; std::getline(script, line);) {
    interfaces.push_back(line.rfind(command, 0) == 0 ? line.substr(command.size()) : line);
  }
  return interfaces;
}
