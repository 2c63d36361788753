#include "cli/live/programs.h"

#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"

constexpr char kLanfab[] = "/run/lanfab/programs/lanfab";
constexpr char kCmdLanfab[] = "/run/lanfab/programs/cmd_lanfab";
constexpr char kOwnProgram[] = "/proc/self/exe";
constexpr mode_t kPrivate = 0700;

static bool make_directory() {
  struct statvfs system {};
  if (!make_directories(kProgramsDirectory, kPrivate) || statvfs(kProgramsDirectory, &system) != 0)
    return false;
  return (system.f_flag & ST_NOEXEC) == 0 ||
         mount("lanfab", kProgramsDirectory, "tmpfs", MS_NOSUID | MS_NODEV, "mode=0700") == 0;
}

static bool copy_program(const std::string& from, const char* to) {
  File program;
  return read_file(from, program) && write_file({to, kPrivate, program.content});
}

std::optional<std::string> copy_programs(const std::string& cmd_lanfab) {
  remove_programs();
  if (make_directory() && copy_program(kOwnProgram, kLanfab) && copy_program(cmd_lanfab, kCmdLanfab))
    return std::nullopt;
  std::string error = with_errno(kProgramsDirectory);
  if (errno == ENOSPC) error += ": it has no room for the copies of the programs that roll back";
  return error;
}

void remove_programs() {
  for (const std::string& name : list_directory(kProgramsDirectory).value_or(std::vector<std::string>()))
    unlink((std::string(kProgramsDirectory) + "/" + name).c_str());
  umount2(kProgramsDirectory, MNT_DETACH | UMOUNT_NOFOLLOW);
  rmdir(kProgramsDirectory);
}

std::vector<std::string> apply_command_line() {
  return {kLanfab, "record", "apply", kCmdLanfab};
}

// Path of this program or, if that is the copy, of the installed lanfab.
static std::string installed_program() {
  const std::string own = own_program();
  return own == kLanfab ? find_in_path("lanfab").value_or(own) : own;
}

// Quotes a word for the shell. The word must not contain a single quote.
static std::string quoted(const std::string& word) {
  return "'" + word + "'";
}

// On daemon-reload, systemd 252 puts a backslash before each semicolon and dollar sign in the command lines
// of services started by systemd-run, so this command line contains neither.
std::vector<std::string> revert_command_line(const std::string& option) {
  const std::string end = " revert " + option;
  return {"sh", "-c",
          std::string("test -x ") + kLanfab + " && exec " + kLanfab + end + " || exec " +
              quoted(installed_program()) + end};
}
