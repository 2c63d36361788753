// The program that replaces `ip`, `systemctl` and the other tools in the sandbox: it records how it
// was called. A run calls dozens, so it needs no library but libc, and is part of no other program: lanfab
// carries it as bytes.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/dry_run/stub_files.h"

// As a shell says that there is no such command.
constexpr int kNotFound = 127;
// As systemctl says that a service is not active.
constexpr int kInactive = 3;

// The number of the words, and each word with a zero byte behind it. Nothing without memory; the caller frees
// it.
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

// In one piece, so that two calls at a time do not mix.
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
