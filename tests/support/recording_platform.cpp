#include "recording_platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "platform/libcmd.h"
#include "platform/libsysdb.h"
#include "platform/libvantor.h"
#include "recorded_log.h"
#include "util/child_process.h"

RecordingPlatform& platform() {
  static RecordingPlatform instance;
  return instance;
}

namespace {

int record_shell(const std::string& line) {
  platform().calls.push_back(line);
  platform().on_shell(line);
  return platform().shell_status;
}

void record_call(std::initializer_list<std::string> words) {
  std::string call;
  for (const std::string& word : words)
    call += (call.empty() ? "" : " ") + (word.empty() ? "\"\"" : word);
  platform().calls.push_back(call);
}

std::string mac_address(const char* ifname) {
  const auto found = platform().mac_addresses.find(ifname);
  return found == platform().mac_addresses.end() ? "" : found->second;
}

}  // namespace

int cmd_get_value_json(const std::string& name, Json::Value& value) {
  const auto found = platform().configuration.find(name);
  if (found == platform().configuration.end()) return -1;
  value = found->second;
  return 0;
}

int get_cmd_command_action_index(int argc, char* /*argv*/[], int* index) {
  if (argc < 2) return -1;
  *index = 1;
  return 0;
}

std::string return_input_string_as_all_uppercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

int sysdb_read_int(int /*database*/, const char* key, int* value) {
  const auto found = platform().database.find(key);
  if (found == platform().database.end()) return -1;
  *value = found->second;
  return 0;
}

int sysdb_write_str(int database, const char* key, const char* value, int flags) {
  record_call({"sysdb_write_str", std::to_string(database), key, value, std::to_string(flags)});
  return 0;
}

int sysdb_namedb_write_str(int flags, const char* database, const char* key, const char* value, int options) {
  record_call(
      {"sysdb_namedb_write_str", std::to_string(flags), database, key, value, std::to_string(options)});
  return 0;
}

int qelsys(const char* text, ...) {
  va_list arguments;
  va_start(arguments, text);
  const std::string line = formatted(text, arguments);
  va_end(arguments);
  return record_shell(line);
}

int execute_systemctl_start(const char* service) {
  record_call({"execute_systemctl_start", service});
  return 0;
}

int execute_systemctl_restart(const char* service) {
  record_call({"execute_systemctl_restart", service});
  return 0;
}

int is_service_active(const char* service) {
  return platform().active_services.count(service) != 0 ? 1 : 0;
}

int ip_link_set_interface_down(const char* ifname) {
  record_call({"ip_link_set_interface_down", ifname});
  return 0;
}

int get_if_hw_addr(const char* ifname, char* buffer) {
  std::string address = mac_address(ifname);
  address.erase(std::remove(address.begin(), address.end(), ':'), address.end());
  std::snprintf(buffer, 16, "%s", address.c_str());
  return address.empty() ? -1 : 0;
}

int get_if_hw_addr_formatted(const char* ifname, char* buffer) {
  const std::string address = mac_address(ifname);
  std::snprintf(buffer, 18, "%s", address.c_str());
  return address.empty() ? -1 : 0;
}

int domain_ip_to_ip_str(const char* name, char* buffer, int size, int first, int second) {
  record_call(
      {"domain_ip_to_ip_str", name, std::to_string(size), std::to_string(first), std::to_string(second)});
  const auto found = platform().resolvable.find(name);
  if (found == platform().resolvable.end()) return -1;
  std::snprintf(buffer, static_cast<std::size_t>(size) + 1, "%s", found->second.c_str());
  return 0;
}

void run_shell(const std::string& command) {
  record_shell(command);
}

std::vector<std::string>& recorded_log() {
  return platform().log;
}

// Replaces the C library's function at link time.
extern "C" {

void openlog(const char* ident, int option, int facility) {
  record_call({"openlog", ident, std::to_string(option), std::to_string(facility)});
}

}  // extern "C"
