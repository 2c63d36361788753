// The device's configuration library in C, as the adapter declares it.
#define _GNU_SOURCE
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

static const char network[] =
    "{\"wired\": {\"eth0\": {\"enable\": true, \"network\": {\"mode\": \"router\", \"protocol\": \"static\","
    " \"ipv4\": \"192.0.2.1\", \"netmask\": 24}}}}";

int cmd_get_value_json(const char* name, char** json_text) {
  if (strcmp(name, "network") == 0) *json_text = strdup(network);
  if (strcmp(name, "deep") == 0) {
    *json_text = calloc(5001, 1);
    memset(*json_text, '[', 5000);
  }
  if (strcmp(name, "half") == 0) *json_text = strdup("{\"wired\":");
  return strcmp(name, "missing") == 0 ? 3 : 0;
}

int get_cmd_command_action_index(int argc, char* argv[], int* index) {
  *index = argc - 1;
  return argv[argc] == NULL && argc > 1 ? 0 : -2;
}

void return_input_string_as_all_uppercase(char* text) {
  for (; *text != '\0'; ++text)
    *text = (char)toupper((unsigned char)*text);
}
