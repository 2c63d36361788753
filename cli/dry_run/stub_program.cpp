// The program that replaces `ip`, `systemctl` and the other tools in the sandbox: it records how it was
// called. A run calls it dozens of times, so it is a separate program that needs only libc. lanfab contains
// its executable file as data.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/dry_run/stub_files.h"

// The exit status of a shell for an unknown command.
constexpr int kNotFound = 127;
// The exit status of `systemctl is-active` for an inactive service.
constexpr int kInactive = 3;

// The number of words and the words, each followed by a zero byte. Null if there is no memory; the caller
// must free the result.
static char* call_of(int argc, char* argv[], std::size_t& size) {
  char number[16];
  size = static_cast<std::size_t>(std::snprintf(number, sizeof number, "%d", argc)) + 1;
  for (int i = 0; i < argc; ++i)
    size += std::strlen(argv[i]) + 1;
  char* const call = static_cast<char*>(std::malloc(size));
  if (call == nullptr) return nullptr;
  char* end =
      static_cast<char*>(std::memcpy(call, number, std::strlen(number) + 1)) + std::strlen(number) + 1;
  for (int i = 0; i < argc; ++i) {
    const std::size_t length = std::strlen(argv[i]) + 1;
    std::memcpy(end, argv[i], length);
    end += length;
  }
  return call;
}

// Writes the call in one piece, so that simultaneous calls do not mix.
static bool record(int argc, char* argv[]) {
  std::size_t size = 0;
  char* const call = call_of(argc, argv, size);
  const int calls = open(kStubCalls, O_WRONLY | O_APPEND | O_CLOEXEC);
  const bool is_recorded = call != nullptr && write(calls, call, size) == static_cast<ssize_t>(size);
  std::free(call);
  return is_recorded;
}

static bool is_active(const char* service) {
  std::FILE* const services = std::fopen(kStubServices, "re");
  if (services == nullptr) return false;
  bool is_found = false;
  char* line = nullptr;
  std::size_t space = 0;
  while (!is_found && getline(&line, &space, services) > 0) {
    line[std::strcspn(line, "\n")] = '\0';
    const std::size_t length = std::strlen(line);
    is_found = std::strncmp(service, line, length) == 0 &&
               (service[length] == '\0' || std::strcmp(service + length, ".service") == 0);
  }
  std::free(line);
  std::fclose(services);
  return is_found;
}

int main(int argc, char* argv[]) {
  if (argc < 1 || !record(argc, argv)) return kNotFound;
  const char* const slash = std::strrchr(argv[0], '/');
  const char* const name = slash != nullptr ? slash + 1 : argv[0];
  const bool asks = argc > 2 && std::strcmp(name, "systemctl") == 0 && std::strcmp(argv[1], "is-active") == 0;
  return asks && !is_active(argv[argc - 1]) ? kInactive : 0;
}
