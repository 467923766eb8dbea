// A crontab as Debian's cron 3.0 takes it. What is refused, and with which words, was tried on that program.
#include "bench/day/crontab.h"

#include <gtest/gtest.h>

#include "tests/day/moment.h"

namespace {

day::Crontab read(const std::string &text)
{
    return day::read_crontab(text, {"root"});
}

std::string refusal(const std::string &text)
{
    const day::Crontab crontab = read(text);
    return crontab.refusal ? std::to_string(crontab.refusal->line) + " " + crontab.refusal->why : "";
}

// Why cron refuses a line with these times; empty: it does not.
std::string fault(const std::string &times)
{
    const std::string why = refusal(times + " root true\n");
    return why.empty() ? "" : why.substr(2);
}

bool runs(const std::string &times, const tm &local)
{
    const day::Crontab crontab = read(times + " root true\n");
    return crontab.jobs.size() == 1 && day::is_due(crontab.jobs[0], local);
}

TEST(Crontab, FieldsAreRefusedAsCronRefusesThem)
{
    EXPECT_EQ(fault("60 * * * *"), "bad minute");
    EXPECT_EQ(fault("5/10 * * * *"), "bad minute");
    EXPECT_EQ(fault("*/0 * * * *"), "bad minute");
    EXPECT_EQ(fault("1,,2 * * * *"), "bad minute");
    EXPECT_EQ(fault("1, * * * *"), "bad minute");
    EXPECT_EQ(fault("5x * * * *"), "bad minute");
    EXPECT_EQ(fault("5-7x * * * *"), "bad minute");
    EXPECT_EQ(fault("-5 * * * *"), "bad minute");
    EXPECT_EQ(fault("99999999999 * * * *"), "bad minute");
    EXPECT_EQ(fault("0 24 * * *"), "bad hour");
    EXPECT_EQ(fault("0 -1 * * *"), "bad hour");
    EXPECT_EQ(fault("0 % * * *"), "bad hour");
    EXPECT_EQ(fault("* * 0 * *"), "bad day-of-month");
    EXPECT_EQ(fault("* * * 13 *"), "bad month");
    EXPECT_EQ(fault("* * * * 8"), "bad day-of-week");
    EXPECT_EQ(fault("* * * * sunday"), "bad day-of-week");
    EXPECT_EQ(fault("30 8 * * "), "bad day-of-week");
    EXPECT_EQ(fault("@never"), "bad time specifier");
}

TEST(Crontab, FieldsThatCronTakes)
{
    for (const char *times : {"1-5/2 * * * *", "5-1 * * * *", "0-59 * * * 7", "* * * jan-mar mon,tue",
                              "@daily", "*5 * * * *", "0 * * * 0-7/2", "5~10 * * * *", "0 8:30 * * *",
                              "*/61 * * * *", "0 9,10-12/2,*/6 * * *", "* * * * MON", "5-10-15 * * * *"}) {
        EXPECT_EQ(fault(times), "") << times;
    }
    EXPECT_EQ(fault("* * * * fri-sun"), "");
    EXPECT_FALSE(runs("* * * * fri-sun", moment(3, 7, 0, 0)));  // Sunday is 0 here: it runs backwards
}

TEST(Crontab, OneBadLineRefusesTheWholeFile)
{
    const day::Crontab crontab = read("A=b\n* * * * * root true\n0 24 * * 1 root true\n");
    EXPECT_TRUE(crontab.jobs.empty());
    EXPECT_TRUE(crontab.variables.empty());
    ASSERT_TRUE(crontab.refusal);
    EXPECT_EQ(crontab.refusal->line, 3U);
    EXPECT_EQ(crontab.refusal->text, "0 24 * * 1 root true");
    EXPECT_EQ(crontab.refusal->why, "bad hour");
    EXPECT_EQ(refusal("* * * * * nobodyx true\n"), "1 bad username");
    EXPECT_EQ(refusal("* * * * * root\n"), "1 bad command");
    EXPECT_EQ(refusal("* * * * * root true"), "0 missing newline before the end of the file");
    EXPECT_EQ(refusal(""), "");
}

TEST(Crontab, Variables)
{
    const day::Crontab crontab = read("# a remark\n  A = \"b c\"\n\nTZ=CET-1CEST,M3.5.0\n\"Q\"=x y \n=z\n");
    ASSERT_EQ(crontab.variables.size(), 4U);
    EXPECT_EQ(crontab.variables[0], (std::pair<std::string, std::string>{"A", "b c"}));
    EXPECT_EQ(crontab.variables[1].second, "CET-1CEST,M3.5.0");
    EXPECT_EQ(crontab.variables[2], (std::pair<std::string, std::string>{"Q", "x y"}));
    // A variable without a value is no variable, and no job either.
    EXPECT_EQ(refusal("TZ=\n"), "1 bad minute");
    EXPECT_EQ(refusal("A b=c\n"), "1 bad minute");
    EXPECT_EQ(refusal("A='b\n"), "1 bad minute");
}

TEST(Crontab, TheMomentsOfAJob)
{
    const tm monday = moment(3, 2, 8, 30);
    EXPECT_TRUE(runs("30 8 * * 1,2,3,4,5", monday));
    EXPECT_FALSE(runs("30 8 * * 0,6", monday));
    EXPECT_FALSE(runs("30 9 * * 1", monday));
    EXPECT_TRUE(runs("*/15 8-9 2 3 *", monday));
    EXPECT_FALSE(runs("*/14 8-9 2 3 *", moment(3, 2, 8, 30)));
    EXPECT_TRUE(runs("0 0 * * 7", moment(3, 1, 0, 0)));
    EXPECT_TRUE(runs("@hourly", moment(3, 1, 5, 0)));
    EXPECT_FALSE(runs("@reboot", moment(3, 1, 0, 0)));
    EXPECT_FALSE(runs("5-1 * * * *", moment(3, 1, 0, 3)));
}

// Day of the month and weekday: either will do where both name days, both must where one begins with "*".
TEST(Crontab, DaysAndWeekdays)
{
    EXPECT_TRUE(runs("0 0 13 * 1", moment(3, 2, 0, 0)));   // a Monday
    EXPECT_TRUE(runs("0 0 13 * 1", moment(3, 13, 0, 0)));  // the 13th
    EXPECT_FALSE(runs("0 0 13 * 1", moment(3, 3, 0, 0)));
    EXPECT_FALSE(runs("0 0 */2 * 1", moment(3, 2, 0, 0)));  // a Monday, but no odd day
    EXPECT_TRUE(runs("0 0 */2 * 1", moment(3, 9, 0, 0)));
}

TEST(Crontab, TheCommandEndsAtAPercentSign)
{
    const day::Crontab crontab = read("* * * * * root  date +\\%H%input\n");
    ASSERT_EQ(crontab.jobs.size(), 1U);
    EXPECT_EQ(crontab.jobs[0].command, "date +%H");
    EXPECT_EQ(crontab.jobs[0].user, "root");
    EXPECT_TRUE(crontab.jobs[0].wild);
}

}  // namespace
