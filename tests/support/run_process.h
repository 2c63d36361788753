#pragma once

// A process that looks like a run of cmd_lanfab.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <utility>

// A shell with the name and the path of cmd_lanfab. It executes `orders` and then waits until it is killed.
class RunProcess {
 public:
  explicit RunProcess(const char* orders = ":", std::string program = "/run/cmd_lanfab")
      : program_(std::move(program)) {
    std::filesystem::copy_file("/bin/sh", program_);
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    const std::string script = std::string(orders) + "; echo; while :; do read line <&9; done 9<>/run/fifo";
    mkfifo("/run/fifo", 0600);
    process_ = fork();
    if (process_ == 0) {
      dup2(ready[1], STDOUT_FILENO);
      execl(program_.c_str(), "sh", "-c", script.c_str(), nullptr);
      _exit(127);
    }
    close(ready[1]);
    char line = 0;
    EXPECT_EQ(read(ready[0], &line, 1), 1);
    close(ready[0]);
  }
  RunProcess(const RunProcess&) = delete;
  RunProcess& operator=(const RunProcess&) = delete;
  ~RunProcess() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    std::filesystem::remove("/run/fifo");
    remove_program();
  }

  void remove_program() const {
    std::filesystem::remove(program_);
  }

  // The PID of the shell.
  pid_t number() const {
    return process_;
  }

 private:
  std::string program_;
  pid_t process_ = 0;
};
