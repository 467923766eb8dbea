// What a caller's signals mean for rc's commands. The emulator does not hand an ignored signal on to the
// programs it starts, so this is tried on the workstation's processor.
#include <gtest/gtest.h>

#include "tests/programs.h"

namespace {

// Starts the DHCP server as `kind` of caller; whether its daemon outlives output that is not read.
bool daemon_outlives_readers(const char *kind)
{
    bench::Setup setup;
    setup.settings = {{"dhcp_server_enable", "1"}, {"lan_ipaddr", "192.168.0.1"}};
    setup.effects = {{"udhcpd", "", "sh -c 'kill -PIPE $$; echo survived >/tmp/survived'"}};
    bench::Root root(built_rc(), setup);
    bench::Run run;
    run.words = {"rc-direct", "caller", kind, "/usr/sbin/rc", "dhcpd", "start"};
    run.program = program_folder() / "rc-direct";
    run.nested = true;
    EXPECT_EQ(root.run(run).status, 0);
    EXPECT_TRUE(root.exists("/etc/udhcpd.conf"));
    return root.exists("/tmp/survived");
}

TEST(Caller, HandsItsActionForUnreadOutputOn)
{
    EXPECT_FALSE(daemon_outlives_readers("unread"));
    EXPECT_TRUE(daemon_outlives_readers("unread-ignored"));
}

}  // namespace
