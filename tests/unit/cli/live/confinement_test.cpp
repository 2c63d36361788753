#include "cli/live/confinement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(ConfinementTest, TheSettingsOfTheServiceAreOptions) {
  EXPECT_THAT(service_options("[Unit]\nDescription=x\n[Service]\nUMask = 022\n  NoNewPrivileges=yes\n"
                              "[Install]\nWantedBy=multi-user.target\n"),
              ElementsAre("--property=UMask=022", "--property=NoNewPrivileges=yes"));
}

TEST(ConfinementTest, DropInsAddToThem) {
  EXPECT_THAT(
      service_options("# /lib/a.service\n[Service]\nReadWritePaths=/run -/var/x\n\n"
                      "# /etc/a.service.d/b.conf\n[Service]\nReadWritePaths=\nReadWritePaths=/data\n"),
      ElementsAre("--property=ReadWritePaths=/run -/var/x",
                  "--property=ReadWritePaths=", "--property=ReadWritePaths=/data"));
}

TEST(ConfinementTest, WhatIsTheServicesOwnIsLeftOut) {
  EXPECT_THAT(service_options("[Service]\nType=oneshot\nRemainAfterExit=yes\nExecStart=a\nExecStartPre=-b\n"
                              "ExecReload=c\nTimeoutStartSec=3min\nRestart=no\nRestartSec=1\n"
                              "ExecPaths=/usr\nRestrictRealtime=yes\n"),
              ElementsAre("--property=ExecPaths=/usr", "--property=RestrictRealtime=yes"));
}

TEST(ConfinementTest, CommentsAreSkippedAndLinesJoined) {
  EXPECT_THAT(service_options("[Service]\n; UMask=0\n#UMask=0\nSystemCallFilter=@chown \\\n# in between\n"
                              "  @timer\nnonsense\n"),
              ElementsAre("--property=SystemCallFilter=@chown  @timer"));
}

TEST(ConfinementTest, WithoutAServiceThereAreNone) {
  EXPECT_THAT(service_options(""), IsEmpty());
  EXPECT_THAT(service_options("# Unit lanfab.service is masked.\n"), IsEmpty());
}
