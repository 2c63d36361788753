#pragma once

// An example of an adapter for a device whose libraries have C linkage. It defines the functions of
// src/platform by calling those of the same names in the libraries; where the types differ, it converts.
// Include it in one source file, and add that and the accessors, which need no library, to the build:
//
//     cmake ... -DLANFAB_PLATFORM=device
//       "-DLANFAB_ADAPTER=$PWD/adapter.cpp;$PWD/platform/host/libcmd/accessors.cpp"
//
// Leave out functions that already have C++ linkage in the library.

#include <json/json.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>

#include "platform/libcmd.h"
#include "platform/libsysdb.h"
#include "platform/libvantor.h"

// The functions that the libraries export. The namespace separates these declarations from those of
// src/platform; it does not change which functions are linked. You can include the libraries' own headers
// here instead, if you first include, outside of the namespace, the headers that they include.
namespace device {
extern "C" {

// libcmd. The text of a configuration object is the caller's to free.
int cmd_get_value_json(const char* name, char** json_text);
int get_cmd_command_action_index(int argc, char* argv[], int* index);
void return_input_string_as_all_uppercase(char* text);

// libsysdb.
int sysdb_read_int(int database, const char* key, int* value);
int sysdb_write_str(int database, const char* key, const char* value, int flags);
int sysdb_namedb_write_str(int flags, const char* database, const char* key, const char* value, int options);

// libvantor.
int qelsys(const char* format, ...) __attribute__((format(printf, 1, 2)));
int file_exists(const char* path);
int delete_file(const char* path);
int read_var_file(const char* path, char* buffer, std::size_t size);
int execute_systemctl_start(const char* service);
int execute_systemctl_restart(const char* service);
int is_service_active(const char* service);
int ip_link_set_interface_down(const char* ifname);
int get_if_hw_addr(const char* ifname, char* buffer);
int get_if_hw_addr_formatted(const char* ifname, char* buffer);
char* cidr_to_netmask(int prefix, char* buffer);
int netmask_to_cidr(const char* netmask);
int get_cidr_subnet(const char* address, int prefix, char* buffer);
int domain_ip_to_ip_str(const char* name, char* buffer, int size, int, int);

}  // extern "C"
}  // namespace device

namespace adapter {

struct Free {
  void operator()(char* text) const {
    std::free(text);
  }
};
using Text = std::unique_ptr<char, Free>;

// Parses the configuration object `name`. Reports an error to standard error, and then returns false.
inline bool parse(const std::string& name, const char* text, Json::Value& value) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  try {
    if (reader->parse(text, text + std::strlen(text), &value, &errors)) return true;
  } catch (const std::exception& error) {
    // The parser throws when the text is nested too deeply. The program does not expect that.
    errors = error.what();
  }
  std::fprintf(stderr, "configuration \"%s\": invalid JSON: %s\n", name.c_str(), errors.c_str());
  return false;
}

}  // namespace adapter

int cmd_get_value_json(const std::string& name, Json::Value& value) {
  char* json_text = nullptr;
  const int result = device::cmd_get_value_json(name.c_str(), &json_text);
  const adapter::Text owner(json_text);
  if (result != 0) return result;
  return json_text != nullptr && adapter::parse(name, json_text, value) ? 0 : -1;
}

int get_cmd_command_action_index(int argc, char* argv[], int* index) {
  return device::get_cmd_command_action_index(argc, argv, index);
}

std::string return_input_string_as_all_uppercase(std::string text) {
  device::return_input_string_as_all_uppercase(text.data());
  return text;
}

int sysdb_read_int(int database, const char* key, int* value) {
  return device::sysdb_read_int(database, key, value);
}

int sysdb_write_str(int database, const char* key, const char* value, int flags) {
  return device::sysdb_write_str(database, key, value, flags);
}

int sysdb_namedb_write_str(int flags, const char* database, const char* key, const char* value, int options) {
  return device::sysdb_namedb_write_str(flags, database, key, value, options);
}

int qelsys(const char* format, ...) {
  // Formatted here: C has no way to pass the arguments on.
  char* line = nullptr;
  va_list arguments;
  va_start(arguments, format);
  const int length = vasprintf(&line, format, arguments);
  va_end(arguments);
  if (length < 0) return -1;
  const adapter::Text owner(line);
  return device::qelsys("%s", line);
}

int file_exists(const char* path) {
  return device::file_exists(path);
}

int delete_file(const char* path) {
  return device::delete_file(path);
}

int read_var_file(const char* path, char* buffer, std::size_t size) {
  return device::read_var_file(path, buffer, size);
}

int execute_systemctl_start(const char* service) {
  return device::execute_systemctl_start(service);
}

int execute_systemctl_restart(const char* service) {
  return device::execute_systemctl_restart(service);
}

int is_service_active(const char* service) {
  return device::is_service_active(service);
}

int ip_link_set_interface_down(const char* ifname) {
  return device::ip_link_set_interface_down(ifname);
}

int get_if_hw_addr(const char* ifname, char* buffer) {
  return device::get_if_hw_addr(ifname, buffer);
}

int get_if_hw_addr_formatted(const char* ifname, char* buffer) {
  return device::get_if_hw_addr_formatted(ifname, buffer);
}

char* cidr_to_netmask(int prefix, char* buffer) {
  return device::cidr_to_netmask(prefix, buffer);
}

int netmask_to_cidr(const char* netmask) {
  return device::netmask_to_cidr(netmask);
}

int get_cidr_subnet(const char* address, int prefix, char* buffer) {
  return device::get_cidr_subnet(address, prefix, buffer);
}

int domain_ip_to_ip_str(const char* name, char* buffer, int size, int flags, int options) {
  return device::domain_ip_to_ip_str(name, buffer, size, flags, options);
}
