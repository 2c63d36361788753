#include "cli/dry_run/dry_run.h"

#include <gtest/gtest.h>

TEST(DryRun, TheShellsErrorsAboutKernelSettingsAreLeftOut) {
  EXPECT_EQ(without_proc_errors("sh: 1: cannot create /proc/sys/net/ipv4/ip_forward: Permission denied\n"
                                "/bin/sh: 2: cannot create /proc/sys/net/ipv4/ip_forward: Permission denied\n"
                                "cp: cannot stat '/proc/sys/net'\n"
                                "/bin/sh: 3: brctl: not found\n"
                                "sh: 4: cut off"),
            "cp: cannot stat '/proc/sys/net'\n"
            "/bin/sh: 3: brctl: not found\n"
            "sh: 4: cut off");
  EXPECT_EQ(without_proc_errors(""), "");
}
