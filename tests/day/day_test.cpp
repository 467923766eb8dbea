// A day of the router: what cron starts, what the line does, what of it is told.
#include "bench/day/day.h"

#include <gtest/gtest.h>

#include "tests/day/moment.h"
#include "tests/programs.h"

namespace {

using Lines = std::vector<std::string>;

bench::Setup setup(const std::vector<bench::Setting> &changes, const bench::Target &target)
{
    bench::Setup made;
    made.image_replies = true;
    made.settings.reset();
    made.defaults = bench::image_settings(target.image);
    for (const bench::Setting &entry : changes) {
        bench::set_entry(made.defaults, entry);
    }
    made.interfaces = {{"br0", "192.168.0.1"}, {"ppp0", "203.0.113.10"}, {"nas0", "203.0.113.10"}};
    return made;
}

day::Day play(const tm &from, int hours, const std::vector<bench::Setting> &changes, const Lines &events = {})
{
    const bench::Target target = built_rc();
    day::Wish wish;
    wish.from = from;
    wish.hours = hours;
    for (const std::string &event : events) {
        wish.events.push_back(day::parse_event(event, from));
    }
    return day::play(target, setup(changes, target), wish, [](const std::string &) {});
}

// The rows after that of power on, and their effects indented.
Lines told(const day::Day &day)
{
    Lines lines;
    for (size_t i = 1; i < day.rows.size(); ++i) {
        const day::Row &row = day.rows[i];
        lines.push_back(row.begin + (row.end.empty() ? "" : " to " + row.end) + " " + row.cause + " " +
                        row.what + (row.times == 1 ? "" : " x" + std::to_string(row.times)));
        for (const std::string &effect : row.effects) {
            lines.push_back("  " + effect);
        }
    }
    return lines;
}

TEST(Day, TheScheduleOpensAndClosesAtItsMinutes)
{
    const day::Day day =
        play(moment(3, 2, 8, 0), 10, {{"fw_schedule", "0111110:8:30-17:0\1"}, {"mail_sendlog", "0"}});
    EXPECT_EQ(told(day),
              (Lines{"08:30:00 cron /usr/sbin/rc schedule restart",
                     "  schedule opens: 2 scheduled rules act from now on, 1 scheduled rule acts no more",
                     "12:00:00 quiet /usr/sbin/rc ddns start", "17:00:00 cron /usr/sbin/rc schedule restart",
                     "  schedule closes: 2 scheduled rules act no more, 1 scheduled rule acts from now on"}));
    ASSERT_EQ(day.spans.size(), 1U);
    EXPECT_EQ(day.spans[0].what + day.spans[0].begin + day.spans[0].end,
              "schedule openMon 2026-03-02 08:30Mon 2026-03-02 17:00");
    EXPECT_EQ(day.begin, "Mon 2026-03-02 08:00");
    EXPECT_EQ(day.end, "Mon 2026-03-02 18:00");
}

TEST(Day, AScheduleThatTakesTheInternetAwaySaysSo)
{
    const char *const block = "1:ANY:1:0.0.0.0/0:0.0.0.0/0:0\x01";
    const char *const allow = "1:ANY:3:192.168.0.5:0.0.0.0/0:0\x01";
    const std::string hours = "0111110:8:30-9:0\x01";
    const std::string drops = ": a scheduled rule drops all that they send, unless one before it lets it out";
    const std::vector<bench::Setting> common = {
        {"mail_sendlog", "0"}, {"fw_schedule", hours}, {"fw_in_rules", ""}};
    std::vector<bench::Setting> settings = common;
    settings.push_back({"fw_out_rules", block});
    EXPECT_EQ(told(play(moment(3, 2, 8, 10), 1, settings, {})),
              (Lines{"08:30:00 cron /usr/sbin/rc schedule restart",
                     "  schedule opens: 1 scheduled rule acts from now on, 1 scheduled rule acts no more",
                     "  no Internet for all hosts of the LAN" + drops,
                     "09:00:00 cron /usr/sbin/rc schedule restart",
                     "  schedule closes: 1 scheduled rule acts no more, 1 scheduled rule acts from now on"}));
    settings = common;
    settings.push_back({"fw_out_rules", allow});
    const Lines lines = told(play(moment(3, 2, 8, 10), 1, settings, {}));
    EXPECT_EQ(lines.back(), "  no Internet for 192.168.0.5" + drops);
}

TEST(Day, TheLineIsLostAndComesBack)
{
    const day::Day day = play(moment(3, 2, 13, 0), 2, {{"mail_sendlog", "0"}, {"fw_schedule", ""}},
                              {"14:05 wan-lost", "14:20 wan-back", "14:30 wan-address 203.0.113.77"});
    EXPECT_EQ(told(day),
              (Lines{"14:05:00 event wan-lost", "  Internet down", "  lamp g3 off", "14:20:00 event wan-back",
                     "  Internet up", "  lamp g3 on", "14:30:00 event wan-address 203.0.113.77",
                     "  Internet address 203.0.113.77", "  packet filter: 4 rules come, 4 go",
                     "  writes /var/tmp/vpn.conf", "  starts anew dnrd, miniupnpd"}));
    ASSERT_EQ(day.spans.size(), 1U);
    EXPECT_EQ(day.spans[0].what, "Internet down");
}

TEST(Day, MinutesInWhichNothingChangesAreFolded)
{
    const day::Day day =
        play(moment(3, 2, 13, 10), 1, {{"wan_mode", "dhcpc"}, {"mail_sendlog", "0"}}, {"13:30 wan-lost"});
    EXPECT_EQ(told(day), (Lines{"13:06:00 to 13:29:00 quiet /usr/sbin/rc check_conn start x24",
                                "13:30:00 event wan-lost", "13:30:00 cron /usr/sbin/rc check_conn start",
                                "  lamp g3 off", "  lamp g7 on",
                                "13:31:00 to 14:09:00 quiet /usr/sbin/rc check_conn start x39"}));
    EXPECT_LT(day.traces.size(), 10U);  // what is sure to be the same is not run again
}

TEST(Day, EachFoldedJobHasItsOwnTimes)
{
    const day::Day day = play(moment(3, 2, 11, 55), 1, {{"wan_mode", "dhcpc"}, {"mail_sendlog", "0"}});
    EXPECT_EQ(told(day), (Lines{"11:51:00 to 12:54:00 quiet /usr/sbin/rc check_conn start x64",
                                "12:00:00 quiet /usr/sbin/rc ddns start"}));
}

TEST(Day, ABadScheduleStopsEverythingThatCronDoes)
{
    const day::Day day = play(moment(3, 2, 11, 0), 2, {{"fw_schedule", "0111110:8:30-24:0\1"}});
    EXPECT_EQ(told(day),
              (Lines{"10:56:00 cron /etc/crontab is refused whole",
                     "  line 12, \"0 24 * * 1,2,3,4,5 root /usr/sbin/rc schedule restart\": bad hour",
                     "  nothing in it runs until it is written anew without that line"}));
}

TEST(Day, AJobOfAnHourThatSummerTimeLeavesOutRunsWhenTheClockHasJumped)
{
    const day::Day day =
        play(moment(3, 29, 1, 0), 3, {{"fw_schedule", "1000000:2:30-4:30\1"}, {"mail_sendlog", "0"}});
    EXPECT_EQ(told(day).at(0), "03:00:00 cron /usr/sbin/rc schedule restart");
}

TEST(Day, EventsThatNoRouterKnowsAreRefused)
{
    const tm from = moment(3, 2, 12, 0);
    EXPECT_EQ(day::parse_event("11:00 wan-lost", from).minute, 23 * 60);
    EXPECT_EQ(day::parse_event("12:01 rc firewall restart", from).what, "rc firewall restart");
    for (const char *text : {"wan-lost", "25:00 wan-lost", "14:05 wan-lost now", "14:05 wan-address x",
                             "14:05 set x", "14:05 fire", "14:05 rc"}) {
        EXPECT_THROW((void)day::parse_event(text, from), bench::Error) << text;
    }
}

}  // namespace
