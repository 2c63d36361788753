#include "cli/status/watch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <sstream>
#include <vector>

#include "cli/base/file.h"
#include "cli/base/signals.h"
#include "cli/base/subprocess.h"

// Shortest and longest time between updates. Changes come in groups, which are shown together.
constexpr int kShortestMs = 500;
constexpr int kLongestMs = 2000;
constexpr char kCtrlC = 3;

namespace {

// The terminal in a mode in which keys, including Ctrl-C, are read immediately and without echo, with the
// alternate screen for the page. The destructor restores the terminal.
class Screen {
 public:
  Screen() : has_keys_(tcgetattr(STDIN_FILENO, &former_) == 0) {
    if (has_keys_) {
      termios settings = former_;
      settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
      tcsetattr(STDIN_FILENO, TCSAFLUSH, &settings);
    }
    std::fputs("\033[?1049h\033[?25l", stdout);
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen() {
    std::fputs("\033[?25h\033[?1049l", stdout);
    std::fflush(stdout);
    if (has_keys_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &former_);
  }

  bool has_keys() const {
    return has_keys_;
  }

  // Shows as many lines as fit on the screen; the last one is always the page's last line, its summary.
  static void show(const std::string& page) {
    winsize size{};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
    const std::size_t room = std::max<std::size_t>(size.ws_row > 0 ? size.ws_row : 24, 4) - 1;
    std::vector<std::string> lines;
    std::istringstream text(page);
    for (std::string line; std::getline(text, line);)
      lines.push_back(line);
    if (lines.size() > room) {
      const auto cut = lines.begin() + static_cast<std::ptrdiff_t>(room) - 2;
      lines.erase(cut + 1, lines.end() - 1);
      *cut = "  ...";
    }
    std::fputs("\033[H", stdout);
    for (const std::string& line : lines)
      std::printf("%s\033[K\n", line.c_str());
    std::fputs("\033[J", stdout);
    std::fflush(stdout);
  }

 private:
  termios former_{};
  bool has_keys_;
};

// Termination signals and SIGWINCH, which can be polled together with other descriptors.
class Signals {
  const BlockedSignals blocked_;

 public:
  Signals()
      : blocked_{SIGINT, SIGTERM, SIGHUP, SIGWINCH}, descriptor(signalfd(-1, &blocked_.set, SFD_CLOEXEC)) {}
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;
  ~Signals() {
    close(descriptor);
  }

  // Reads the signal that has arrived.
  int take() const {
    signalfd_siginfo info{};
    const bool is_whole = read(descriptor, &info, sizeof info) == sizeof info;
    return is_whole ? static_cast<int>(info.ssi_signo) : SIGTERM;
  }

  const int descriptor;
};

// Runs `ip monitor`, which prints changes. If it cannot be run, changes are not noticed.
class Changes {
 public:
  Changes() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return;
    const Descriptor writer(ends[1]);
    const Descriptor null(open("/dev/null", O_WRONLY | O_CLOEXEC));
    Subprocess monitor{{"ip", "monitor", "link", "address", "route"}};
    monitor.output = writer.number();
    monitor.errors = null.number();
    process_ = start(monitor);
    descriptor = ends[0];
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
  }
  Changes(const Changes&) = delete;
  Changes& operator=(const Changes&) = delete;
  ~Changes() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      wait_for_child(process_);
    }
    if (descriptor >= 0) close(descriptor);
  }

  // Discards the changes that were printed.
  void take() {
    char block[4096];
    ssize_t size = 0;
    while ((size = read(descriptor, block, sizeof block)) > 0) {
    }
    if (size != 0) return;
    // `ip monitor` has ended.
    close(descriptor);
    descriptor = -1;
  }

  int descriptor = -1;

 private:
  pid_t process_ = -1;
};

// The key or signal that ends the watch.
struct End {
  bool has_come = false;
  int signal = 0;
};

}  // namespace

static bool is_ending_key() {
  char key = 0;
  return read(STDIN_FILENO, &key, 1) <= 0 || key == 'q' || key == kCtrlC;
}

// Waits this many milliseconds, or less if there is a key or a signal, `also_for` becomes readable, or the
// size of the terminal changes.
static End wait(const Screen& screen, const Signals& signals, int also_for, int milliseconds) {
  std::array<pollfd, 3> descriptors = {{{signals.descriptor, POLLIN, 0},
                                        {screen.has_keys() ? STDIN_FILENO : -1, POLLIN, 0},
                                        {also_for, POLLIN, 0}}};
  if (poll(descriptors.data(), descriptors.size(), milliseconds) <= 0) return {};
  if (descriptors[0].revents != 0) {
    const int signal = signals.take();
    return {signal != SIGWINCH, signal};
  }
  return {descriptors[1].revents != 0 && is_ending_key(), 0};
}

int watch(const std::function<std::string()>& page) {
  // Started before the signals are blocked, since the child would inherit that.
  Changes changes;
  const Signals signals;
  const Screen screen;
  while (true) {
    Screen::show(page());
    End end = wait(screen, signals, -1, kShortestMs);
    if (!end.has_come) end = wait(screen, signals, changes.descriptor, kLongestMs - kShortestMs);
    if (end.has_come) return end.signal;
    if (changes.descriptor >= 0) changes.take();
  }
}
