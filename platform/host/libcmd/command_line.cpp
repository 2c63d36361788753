#include <algorithm>
#include <cctype>
#include <string>

#include "platform/libcmd.h"

int get_cmd_command_action_index(int argc, char* /*argv*/[], int* index) {
  if (argc < 2) return -1;
  *index = 1;
  return 0;
}

std::string return_input_string_as_all_uppercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}
