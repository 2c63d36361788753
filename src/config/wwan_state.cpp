#include "config/wwan_state.h"

#include "platform/libsysdb.h"
#include "platform/libvantor.h"

constexpr char kInterfaceFile[] = "/var/run/wwan_intf";
constexpr char kIpv4File[] = "/var/run/wwan_ipv4";
constexpr char kPrefixFile[] = "/var/run/wwan_cidr";
constexpr char kNetmaskFile[] = "/var/run/wwan_netmask";
constexpr char kGatewayFile[] = "/var/run/wwan_gw";
constexpr char kMtuFile[] = "/var/run/wwan_mtu";
constexpr char kDns1File[] = "/var/run/wwan_dns1";
constexpr char kDns2File[] = "/var/run/wwan_dns2";

void read_wwan_intf(char* buffer) {
  read_var_file(kInterfaceFile, buffer, kWwanInterfaceTextSize);
}

void read_wwan_cidr(char* buffer) {
  read_var_file(kPrefixFile, buffer, kWwanPrefixTextSize);
}

void read_wwan_mtu(char* buffer) {
  read_var_file(kMtuFile, buffer, kWwanMtuTextSize);
}

int read_wwan_ipv4(char* buffer) {
  return read_var_file(kIpv4File, buffer, kIpv4TextSize);
}

void read_wwan_gw(char* buffer) {
  read_var_file(kGatewayFile, buffer, kIpv4TextSize);
}

void read_wwan_netmask(char* buffer) {
  read_var_file(kNetmaskFile, buffer, kIpv4TextSize);
}

void read_wwan_dns1(char* buffer) {
  read_var_file(kDns1File, buffer, kIpv4TextSize);
}

void read_wwan_dns2(char* buffer) {
  read_var_file(kDns2File, buffer, kIpv4TextSize);
}

int is_cell_connected() {
  int connected = 0;
  sysdb_read_int(0, "CELL_CONNECTED", &connected);
  return connected;
}
