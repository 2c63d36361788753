#pragma once

// Stubs of `ip` and `networkctl`, which print files that a test has written. The stub of `ip` also records
// the requested changes. The kernel's settings in /proc/sys are those of the sandbox.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "test_files.h"

class KernelTools : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* directory : {"/run/tools", "/run/answers", "/run/answers/next", "/run/lanfab", kUnits}) {
      std::filesystem::remove_all(directory);
      std::filesystem::create_directories(directory);
    }
    // After a change, it prints the files from the directory "next".
    put_tool("ip", R"(cd /run/answers
if [ "$1" = -Numeric ]; then
  shift 3
  [ "$1" != -4 ] || shift
  [ ! -e "$1.fails" ] || { echo "$1 is broken" >&2; exit 1; }
  cat "$1.json" 2>/dev/null || true
else
  echo "$*" >>calls
  [ ! -e refuses ] || { echo "Operation not supported" >&2; exit 2; }
  mv next/* . 2>/dev/null || true
fi)");
    put_tool("networkctl", R"(cd /run/answers
cat networkd.json
mv networkd.next networkd.json 2>/dev/null || true)");
    answer("networkd.json", "{}");
    path_ = std::getenv("PATH");
    setenv("PATH", ("/run/tools:" + path_).c_str(), 1);
  }

  void TearDown() override {
    setenv("PATH", path_.c_str(), 1);
    std::filesystem::remove_all("/run/lanfab");
    empty_directory(kUnits);
  }

  static void put_tool(const std::string& name, const std::string& script) {
    const std::string path = "/run/tools/" + name;
    put_file(path, "#!/bin/sh\n" + script + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }

  // Writes a file for the stubs: `ip` prints the file OBJECT.json for the object "link", "address", "route"
  // or "rule", and `networkctl` prints networkd.json.
  static void answer(const std::string& file, const std::string& text) {
    put_file("/run/answers/" + file, text);
  }

  static std::string calls() {
    return exists("/run/answers/calls") ? text_of_file("/run/answers/calls") : "";
  }

  static constexpr char kUnits[] = "/run/systemd/network";

 private:
  std::string path_;
};
