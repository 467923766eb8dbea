// rcbench shell: what it says of settings that meet the shell, a file, only as a number, or nothing.
#include <gtest/gtest.h>

#include "tests/running.h"

namespace {

TEST(Shell, OneSettingOfEachKind)
{
    const Ran ran =
        Folder().run(RCBENCH_TOOL " shell mail_sh_hour ddns_user_name mail_login restore_default");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.errors, "");
    EXPECT_EQ(
        ran.output,
        "restore_default\n"
        "  nowhere\n"
        "mail_login\n"
        "  file    rc syslogd restart    /etc/syslog.conf: mail_login={}\n"
        "mail_sh_hour\n"
        "  bare    rc firewall restart   (crontab) 0 {} * * 1 root killall -1...\n"
        "  file    rc firewall restart   /etc/crontab: 0 {} * * 1 root killall -1...\n"
        "  refuse  all but letters, digits and @%_+=:,./-\n"
        "ddns_user_name\n"
        "  single  rc ddns start         /usr/sbin/ez-ipupdate -S dyndns -u '{}:' -h  -i ppp0 -A \"Vel...\n"
        "  refuse  '\n");
}

TEST(Shell, WordsThatAreNoSetting)
{
    const Ran ran = Folder().run(RCBENCH_TOOL " shell wan_mod");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.output, "");
    EXPECT_EQ(ran.errors, "rcbench: wan_mod is no setting; see rcbench shell --help\n");
}

}  // namespace
