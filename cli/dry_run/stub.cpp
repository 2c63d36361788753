#include "cli/dry_run/stub.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "cli/base/file.h"
#include "cli/dry_run/stub_files.h"

const std::set<std::string>& stubbed_tools() {
  static const std::set<std::string> kTools = {
      "ip", "networkctl", "route_table_add", "route_table_flush", "systemctl", "telnet-init"};
  return kTools;
}

bool prepare_stubs(const std::vector<std::string>& active_services) {
  File services{kStubServices, 0644, ""};
  for (const std::string& service : active_services)
    services.content += service + "\n";
  return write_file({kStub, 0755, stub_program()}) && write_file({kStubCalls, 0644, ""}) &&
         write_file(services);
}

// Any content of the file is read as calls, since the run itself can write to it, too.
std::vector<std::vector<std::string>> recorded_calls(Meter& meter) {
  struct stat status {};
  File file;
  if (lstat(kStubCalls, &status) != 0 || !S_ISREG(status.st_mode)) return {};
  meter.add(static_cast<std::size_t>(status.st_size));
  read_file(kStubCalls, file);
  meter.add(static_cast<std::size_t>(std::count(file.content.begin(), file.content.end(), '\0')) *
            (sizeof(std::string) + sizeof(std::vector<std::string>)));
  std::vector<std::vector<std::string>> calls;
  std::istringstream words(file.content);
  for (std::string word; std::getline(words, word, '\0');) {
    std::vector<std::string>& call = calls.emplace_back();
    for (unsigned long left = std::strtoul(word.c_str(), nullptr, 10);
         left > 0 && std::getline(words, word, '\0'); --left)
      call.push_back(word);
  }
  return calls;
}
