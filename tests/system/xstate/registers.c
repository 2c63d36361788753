/*
 * Runs in the gateway: two processes of two threads each fill the vector registers with different patterns,
 * let the others run and look whether they still have their own. The threads of a process share one process
 * of the machine, so User-mode Linux exchanges their registers at each switch.
 */
#define _GNU_SOURCE
#include <pthread.h>
#include <stdbool.h>
#include <stdio.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

enum { REGISTERS = 16, LONGEST_REGISTER = 32, ROUNDS = 100, SPINS = 10000, ENOUGH_SWITCHES = 1000 };

#define ALL_REGISTERS ".irp n, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15\n"
/* The time of the loop is for the timer, which interrupts one thread to run another. */
#define HOLD(LOAD, STORE)                                                                                    \
  __asm__ volatile(                                                                                          \
      ALL_REGISTERS LOAD                                                                                     \
      ".endr\n"                                                                                              \
      "1: mov %[yield], %%eax\n"                                                                             \
      "syscall\n"                                                                                            \
      "mov %[spins], %%ecx\n"                                                                                \
      "2: dec %%ecx\n"                                                                                       \
      "jnz 2b\n"                                                                                             \
      "dec %[rounds]\n"                                                                                      \
      "jnz 1b\n" ALL_REGISTERS STORE ".endr\n"                                                               \
      : [rounds] "+r"(rounds)                                                                                \
      : [before] "r"(before), [after] "r"(after), [yield] "i"(SYS_sched_yield), [spins] "i"(SPINS)           \
      : "rax", "rcx", "r11", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", \
        "xmm8", "xmm9", "xmm10", "xmm11", "xmm12", "xmm13", "xmm14", "xmm15")

static void hold_avx(const unsigned char* before, unsigned char* after) {
  int rounds = ROUNDS;
  HOLD("vmovdqu 32*\\n(%[before]), %%ymm\\n\n", "vmovdqu %%ymm\\n, 32*\\n(%[after])\n");
}

static void hold_sse(const unsigned char* before, unsigned char* after) {
  int rounds = ROUNDS;
  HOLD("movdqu 16*\\n(%[before]), %%xmm\\n\n", "movdqu %%xmm\\n, 16*\\n(%[after])\n");
}

static bool has_avx(void) {
  return __builtin_cpu_supports("avx");
}

static long context_switches(void) {
  struct rusage usage;
  return getrusage(RUSAGE_SELF, &usage) == 0 ? usage.ru_nvcsw + usage.ru_nivcsw : 0;
}

/* Returns NULL if the registers keep the pattern that begins with `seed` until there were enough switches. */
static void* keep_pattern(void* seed) {
  unsigned char before[REGISTERS * LONGEST_REGISTER];
  unsigned char after[sizeof before];
  for (size_t i = 0; i < sizeof before; ++i) {
    before[i] = (unsigned char)((size_t)(*(unsigned char*)seed) + 7 * i);
  }
  do {
    memset(after, 0, sizeof after);
    (has_avx() ? hold_avx : hold_sse)(before, after);
    if (memcmp(before, after, has_avx() ? sizeof after : sizeof after / 2) != 0) return seed;
  } while (context_switches() < ENOUGH_SWITCHES);
  return NULL;
}

/* Returns whether both threads kept their patterns. */
static bool run_two_threads(unsigned char first, unsigned char second) {
  pthread_t thread;
  void* lost;
  if (pthread_create(&thread, NULL, keep_pattern, &second) != 0) return false;
  const bool kept = keep_pattern(&first) == NULL;
  return pthread_join(thread, &lost) == 0 && lost == NULL && kept;
}

int main(void) {
  const pid_t child = fork();
  const bool kept = child == 0 ? run_two_threads(1, 2) : run_two_threads(3, 4);
  if (child == 0) _exit(kept ? 0 : 1);
  int status;
  const bool both = child > 0 && waitpid(child, &status, 0) == child && status == 0 && kept;
  printf("%s registers %s\n", has_avx() ? "AVX" : "SSE", both ? "kept" : "lost");
  return both ? 0 : 1;
}
