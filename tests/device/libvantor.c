// The device's utilities in C, as the adapter declares them. Calls that would affect the system only return
// results that encode the arguments.
#define _GNU_SOURCE
#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

__attribute__((format(printf, 1, 2))) int qelsys(const char* format, ...) {
  char* line = NULL;
  va_list arguments;
  va_start(arguments, format);
  const int length = vasprintf(&line, format, arguments);
  va_end(arguments);
  const int status = length < 0 ? -1 : system(line);
  free(line);
  return status;
}

int file_exists(const char* path) {
  return access(path, F_OK) == 0;
}

int delete_file(const char* path) {
  return unlink(path);
}

int read_var_file(const char* path, char* buffer, size_t size) {
  snprintf(buffer, size, "%zu of %s", size, path);
  return 4;
}

int execute_systemctl_start(const char* service) {
  return 100 + (int)strlen(service);
}

int execute_systemctl_restart(const char* service) {
  return 200 + (int)strlen(service);
}

int is_service_active(const char* service) {
  return strcmp(service, "systemd-networkd") == 0;
}

int ip_link_set_interface_down(const char* ifname) {
  return 300 + (int)strlen(ifname);
}

int get_if_hw_addr(const char* ifname, char* buffer) {
  snprintf(buffer, 16, "plain %s", ifname);
  return 5;
}

int get_if_hw_addr_formatted(const char* ifname, char* buffer) {
  snprintf(buffer, 18, "formatted %s", ifname);
  return 6;
}

char* cidr_to_netmask(int prefix, char* buffer) {
  snprintf(buffer, 16, "mask %d", prefix);
  return buffer;
}

int netmask_to_cidr(const char* netmask) {
  return (int)strlen(netmask);
}

int get_cidr_subnet(const char* address, int prefix, char* buffer) {
  snprintf(buffer, 24, "%s/%d", address, prefix);
  return 7;
}

int domain_ip_to_ip_str(const char* name, char* buffer, int size, int flags, int options) {
  snprintf(buffer, (size_t)size + 1, "%s %d %d", name, flags, options);
  return size;
}
