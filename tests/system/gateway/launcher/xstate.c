/*
 * Preloaded into User-mode Linux: makes PTRACE_SETREGSET accept the beginning of the XSAVE area.
 *
 * User-mode Linux 6.1 saves and restores the first 2.7 KB of a process's extended registers. On processors
 * with a larger area (AMX needs 11 KB) the machine's kernel accepts nothing but the whole area. If it
 * refuses, this reads the whole area, replaces its beginning and writes it back.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <elf.h>
#include <errno.h>
#include <stdarg.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/types.h>
#include <sys/uio.h>

typedef long Ptrace(enum __ptrace_request request, pid_t pid, void* address, void* data);

/* Not on the stack, which is small, nor from malloc: User-mode Linux has its memory behind the heap. */
static struct iovec buffer;

static int grow_buffer(void) {
  const size_t size = buffer.iov_len > 0 ? 2 * buffer.iov_len : 16384;
  void* grown = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (grown == MAP_FAILED) return -1;
  if (buffer.iov_base != NULL) munmap(buffer.iov_base, buffer.iov_len);
  buffer.iov_base = grown;
  buffer.iov_len = size;
  return 0;
}

/* The kernel fills as much of the buffer as it can: only an area that leaves space is whole. */
static int read_whole_area(Ptrace* next, pid_t pid, struct iovec* area) {
  do {
    *area = buffer;
    if (area->iov_len > 0 && next(PTRACE_GETREGSET, pid, (void*)NT_X86_XSTATE, area) != 0) return -1;
    if (area->iov_len < buffer.iov_len) return 0;
  } while (grow_buffer() == 0);
  return -1;
}

static int set_beginning(Ptrace* next, pid_t pid, const struct iovec* beginning) {
  struct iovec area;
  if (read_whole_area(next, pid, &area) != 0 || beginning->iov_len >= area.iov_len) return -1;
  memcpy(area.iov_base, beginning->iov_base, beginning->iov_len);
  return (int)next(PTRACE_SETREGSET, pid, (void*)NT_X86_XSTATE, &area);
}

long ptrace(enum __ptrace_request request, ...) {
  static Ptrace* next;
  va_list arguments;
  va_start(arguments, request);
  const pid_t pid = va_arg(arguments, pid_t);
  void* const address = va_arg(arguments, void*);
  void* const data = va_arg(arguments, void*);
  va_end(arguments);
  if (next == NULL) next = __extension__(Ptrace*) dlsym(RTLD_NEXT, "ptrace");
  /* The C library's wrapper returns the value of the PTRACE_PEEK requests. */
  const long result = next(request, pid, address, data);
  if (request != PTRACE_SETREGSET || (uintptr_t)address != NT_X86_XSTATE || result == 0) return result;
  const int error = errno;
  if (set_beginning(next, pid, data) == 0) return 0;
  errno = error;
  return result;
}
