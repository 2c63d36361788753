#include "platform/libvantor.h"

int qelsys(const char*, ...) {
  return -1;
}

int file_exists(const char*) {
  return 0;
}

int delete_file(const char*) {
  return -1;
}

int read_var_file(const char*, char*, std::size_t) {
  return -1;
}

int execute_systemctl_start(const char*) {
  return -1;
}

int execute_systemctl_restart(const char*) {
  return -1;
}

int is_service_active(const char*) {
  return 0;
}

int ip_link_set_interface_down(const char*) {
  return -1;
}

int get_if_hw_addr(const char*, char*) {
  return -1;
}

int get_if_hw_addr_formatted(const char*, char*) {
  return -1;
}

char* cidr_to_netmask(int, char* buffer) {
  return buffer;
}

int netmask_to_cidr(const char*) {
  return -1;
}

int get_cidr_subnet(const char*, int, char*) {
  return -1;
}

int domain_ip_to_ip_str(const char*, char*, int, int, int) {
  return -1;
}
