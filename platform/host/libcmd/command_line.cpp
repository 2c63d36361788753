#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/libcmd.h"

constexpr char kVersion[] = "cmd_lanfab " LANFAB_VERSION "\n";

constexpr char kUsage[] =
    "usage: cmd_lanfab ACTION [--pulse-ethernet]\n"
    "\n"
    "  apply       regenerate everything: at boot and after a change of the configuration\n"
    "  wwan_apply  regenerate what depends on the cellular link\n"
    "  dnsmasq     regenerate the configuration of dnsmasq alone\n"
    "\n"
    "An action changes the network of this machine. See cmd_lanfab(8).\n";

// An option before the action is not an action: --help must not start a run, which would wait for the lock.
int get_cmd_command_action_index(int argc, char* argv[], int* index) {
  if (argc >= 2 && argv[1][0] != '-') {
    *index = 1;
    return 0;
  }
  const bool asks_version = argc >= 2 && std::strcmp(argv[1], "--version") == 0;
  std::fputs(asks_version ? kVersion : kUsage, stderr);
  return -1;
}

std::string return_input_string_as_all_uppercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}
