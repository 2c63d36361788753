#include "config/wwan_state.h"

#include "platform/libsysdb.h"
#include "platform/libvantor.h"

int read_wwan_ipv4(char* buffer) {
  return read_var_file(kWwanIpv4File, buffer, kIpv4TextSize);
}

void read_wwan_gw(char* buffer) {
  read_var_file(kWwanGatewayFile, buffer, kIpv4TextSize);
}

void read_wwan_netmask(char* buffer) {
  read_var_file(kWwanNetmaskFile, buffer, kIpv4TextSize);
}

void read_wwan_dns1(char* buffer) {
  read_var_file(kWwanDns1File, buffer, kIpv4TextSize);
}

void read_wwan_dns2(char* buffer) {
  read_var_file(kWwanDns2File, buffer, kIpv4TextSize);
}

int is_cell_connected() {
  int connected = 0;
  sysdb_read_int(0, "CELL_CONNECTED", &connected);
  return connected;
}
