// The schedule to the minute, and its records as cron lines.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "rc/firewall/internal.h"

namespace {

constexpr int kDay = 24 * 60;

tm at(int weekday, int hour, int minute)
{
    tm local = {};
    local.tm_wday = weekday;
    local.tm_hour = hour;
    local.tm_min = minute;
    return local;
}

bool open_at(const char *record, int weekday, int hour, int minute)
{
    return period_open(parse_period(record), at(weekday, hour, minute));
}

std::string cron_lines(const char *record)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    create_schedule(record, stream);
    fclose(stream);
    std::string lines(text, size);
    free(text);
    return lines;
}

// Walks a day minute by minute and switches at the boundaries, as cron does: what the schedule should be in
// each minute of a scheduled day. The flag also shows the minute before the start as inside.
std::vector<bool> day_by_switching(int start, int end)
{
    std::vector<bool> day(kDay, false);
    for (int minute = 0; minute < kDay; ++minute) {
        const bool crosses = end < start;
        const bool after_start = minute + 1 >= start;
        const bool before_end = minute < end;
        day[static_cast<size_t>(minute)] = crosses ? after_start || before_end : after_start && before_end;
    }
    return day;
}

void compare_day(int start, int end)
{
    char record[64];
    snprintf(record, sizeof record, "1111111:%d:%d-%d:%d", start / 60, start % 60, end / 60, end % 60);
    const std::vector<bool> day = day_by_switching(start, end);
    const SchedulePeriod period = parse_period(record);
    for (int minute = 0; minute < kDay; ++minute) {
        ASSERT_EQ(period_open(period, at(3, minute / 60, minute % 60)), day[static_cast<size_t>(minute)])
            << record << " at " << minute / 60 << ":" << minute % 60;
    }
}

TEST(Schedule, IsRightInEveryMinuteForEveryBoundary)
{
    for (int start = 0; start < kDay && !HasFatalFailure(); start += 29) {
        for (int end = 0; end < kDay && !HasFatalFailure(); end += 31) {
            compare_day(start, end);
        }
    }
}

TEST(Schedule, OfficeHours)
{
    const char *const record = "0111110:8:30-17:0";
    EXPECT_FALSE(open_at(record, 1, 8, 28));
    EXPECT_TRUE(open_at(record, 1, 8, 29));
    EXPECT_TRUE(open_at(record, 1, 8, 30));
    EXPECT_TRUE(open_at(record, 5, 16, 59));
    EXPECT_FALSE(open_at(record, 5, 17, 0));
    EXPECT_FALSE(open_at(record, 0, 12, 0));
    EXPECT_FALSE(open_at(record, 6, 12, 0));
}

TEST(Schedule, OverMidnightCountsTodaysWeekday)
{
    const char *const friday = "0000010:22:0-6:0";
    EXPECT_FALSE(open_at(friday, 5, 21, 58));
    EXPECT_TRUE(open_at(friday, 5, 21, 59));
    EXPECT_TRUE(open_at(friday, 5, 23, 59));
    EXPECT_FALSE(open_at(friday, 6, 2, 0));
    EXPECT_TRUE(open_at(friday, 5, 5, 59));
    EXPECT_FALSE(open_at(friday, 5, 6, 0));
}

TEST(Schedule, WholeDayIgnoresTheMinutes)
{
    EXPECT_TRUE(open_at("1111111:0:0-24:0", 4, 23, 59));
    EXPECT_TRUE(open_at("1111111:0:45-24:50", 4, 0, 0));
    EXPECT_FALSE(open_at("1111011:0:0-24:0", 4, 12, 0));
}

TEST(Schedule, EqualBoundariesAreOneMinuteBeforeThem)
{
    EXPECT_TRUE(open_at("1111111:12:0-12:0", 2, 11, 59));
    EXPECT_FALSE(open_at("1111111:12:0-12:0", 2, 12, 0));
}

TEST(Schedule, EveryWeekdayHasItsPlace)
{
    for (int scheduled = 0; scheduled < kWeekdays; ++scheduled) {
        std::string record = "0000000:0:0-24:0";
        record[static_cast<size_t>(scheduled)] = '1';
        for (int today = 0; today < kWeekdays; ++today) {
            EXPECT_EQ(open_at(record.c_str(), today, 12, 0), today == scheduled) << record << " on " << today;
        }
    }
}

TEST(Schedule, BrokenRecordsAreClosedOrReadAsFarAsTheyGo)
{
    EXPECT_FALSE(open_at("", 1, 12, 0));
    EXPECT_FALSE(open_at(":1:2-3:4", 1, 1, 30));
    EXPECT_FALSE(open_at("111", 5, 0, 0));
    EXPECT_TRUE(open_at("01", 1, 0, 0) == open_at("01:0:0-0:0", 1, 0, 0));
    EXPECT_FALSE(open_at("1111111:2147483647:2147483647-1:0", 1, 12, 0));
    EXPECT_TRUE(open_at("1111111:-2147483648:0-2147483647:59", 1, 12, 0));
    EXPECT_TRUE(open_at("11111110000:8:0-17:0", 6, 12, 0));
}

TEST(CronLines, OfAPeriod)
{
    EXPECT_EQ(cron_lines("0111110:8:30-17:0"),
              "30 8 * * 1,2,3,4,5 root /usr/sbin/rc schedule restart\n"
              "0 17 * * 1,2,3,4,5 root /usr/sbin/rc schedule restart\n");
}

TEST(CronLines, OfAWholeDay)
{
    EXPECT_EQ(cron_lines("1111111:0:0-24:0"), "0 0 * * 0,1,2,3,4,5,6 root /usr/sbin/rc schedule restart\n");
    EXPECT_EQ(cron_lines("1000001:0:15-24:45"), "0 0 * * 0,6 root /usr/sbin/rc schedule restart\n");
}

TEST(CronLines, OfNoDay)
{
    EXPECT_EQ(cron_lines("0000000:8:30-17:0"),
              "30 8 * *  root /usr/sbin/rc schedule restart\n"
              "0 17 * *  root /usr/sbin/rc schedule restart\n");
}

TEST(CronLines, OfAnEmptyRecord)
{
    EXPECT_EQ(cron_lines(""), "");
}

TEST(CronLines, OfEverySetOfDays)
{
    for (int set = 0; set < 1 << kWeekdays; ++set) {
        std::string record;
        std::string list;
        for (int day = 0; day < kWeekdays; ++day) {
            const bool chosen = (set >> day & 1) != 0;
            record += chosen ? '1' : '0';
            if (chosen) {
                list += (list.empty() ? "" : ",") + std::to_string(day);
            }
        }
        EXPECT_EQ(cron_lines((record + ":0:0-24:0").c_str()),
                  "0 0 * * " + list + " root /usr/sbin/rc schedule restart\n");
    }
}

}  // namespace
