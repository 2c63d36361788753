// The entry of a fuzz target where libFuzzer is not linked: runs it on every file of the named directories
// and on `-runs=N` inputs of random bytes, the same ones each time. Prints an input that ends the target.
//
// To see it again: write the bytes to a file and name the directory of that file.

#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

constexpr std::size_t kMaxRandomSize = 512;
// Of processor time, which other processes do not use up. An input takes a thousandth of this.
constexpr time_t kSecondsForOneInput = 30;

namespace {

// The input at work, where the parent process finds it however the child ends.
struct Current {
  std::size_t size;
  std::uint8_t bytes[65536];
};

}  // namespace

static void run(Current& current, const std::string& input) {
  current.size = std::min(input.size(), sizeof current.bytes);
  std::memcpy(current.bytes, input.data(), current.size);
  // SIGPROF ends an endless loop.
  const itimerval limit = {{0, 0}, {kSecondsForOneInput, 0}};
  setitimer(ITIMER_PROF, &limit, nullptr);
  LLVMFuzzerTestOneInput(current.bytes, current.size);
}

static void run_files(Current& current, const std::string& directory) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(directory))
    paths.push_back(entry.path());
  std::sort(paths.begin(), paths.end());
  for (const auto& path : paths) {
    std::ifstream file(path, std::ios::binary);
    run(current, {std::istreambuf_iterator<char>(file), {}});
  }
}

static void run_random_inputs(Current& current, unsigned long count) {
  std::mt19937 random;
  for (; count > 0; --count) {
    std::string input(random() % kMaxRandomSize, '\0');
    std::generate(input.begin(), input.end(), [&random] { return static_cast<char>(random() % 256); });
    run(current, input);
  }
}

static void run_all(Current& current, int argc, char* argv[]) {
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "-runs=", 6) == 0) {
      run_random_inputs(current, std::strtoul(argv[i] + 6, nullptr, 10));
    } else {
      run_files(current, argv[i]);
    }
  }
}

int main(int argc, char* argv[]) {
  void* shared = mmap(nullptr, sizeof(Current), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return 2;
  auto& current = *static_cast<Current*>(shared);
  const pid_t child = fork();
  if (child < 0) return 2;
  if (child == 0) {
    run_all(current, argc, argv);
    // Not _exit: the sanitizer looks for leaks at the end.
    std::exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (status == 0) return 0;
  std::fprintf(stderr, "the input, in hexadecimal:\n");
  for (std::size_t i = 0; i < current.size; ++i)
    std::fprintf(stderr, "%02x", current.bytes[i]);
  std::fprintf(stderr, "\n");
  return 1;
}
