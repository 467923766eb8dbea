// The zone table, row by row: the local time that each gives, and the minute of every change to and from
// summer time in two years, on both processors. What is expected is written here as dates of the calendar.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "bench/router.h"
#include "tests/programs.h"

namespace {

using Lines = std::vector<std::string>;

// Seconds since 1970 of a date and a time of day, both as UTC.
long seconds_of(int year, int month, int day, int minute_of_day)
{
    tm date = {};
    date.tm_year = year - 1900;
    date.tm_mon = month - 1;
    date.tm_mday = day;
    return timegm(&date) + 60L * minute_of_day;
}

std::string date_text(long seconds)
{
    const time_t time = seconds;
    tm date = {};
    gmtime_r(&time, &date);
    char text[32];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M %w", &date);
    return text;
}

// A change on a day of each year, at a minute of the local time that held until then.
struct Change {
    int month;
    int day_2026;
    int day_2027;
    int minute;
};

struct Summer {
    Change begin;
    Change end;
    int minutes;  // ahead of UTC
};

constexpr int kTwo = 2 * 60;
constexpr int kThree = 3 * 60;

constexpr Change kSecondSundayOfMarch = {3, 8, 14, kTwo};
constexpr Change kFirstSundayOfNovember = {11, 1, 7, kTwo};

constexpr Change last_sunday_of_march(int minute)
{
    return {3, 29, 28, minute};
}

constexpr Change last_sunday_of_october(int minute)
{
    return {10, 25, 31, minute};
}

struct Row {
    const char *index;
    int minutes;  // ahead of UTC
    std::optional<Summer> summer = {};
    bool has_rule = true;  // false: the setting time_zone holds the zone, whatever the table
};

// clang-format off
const Row kRows[] = {
    {"-12", -720, {}, false},
    {"-11", -660, {}, false},
    {"-10", -600},
    {"-9", -540, Summer{kSecondSundayOfMarch, kFirstSundayOfNovember, -480}},
    {"-8", -480, Summer{kSecondSundayOfMarch, kFirstSundayOfNovember, -420}},
    {"-7a", -420},
    {"-7b", -420, Summer{kSecondSundayOfMarch, kFirstSundayOfNovember, -360}},
    {"-6a", -360, Summer{kSecondSundayOfMarch, kFirstSundayOfNovember, -300}},
    {"-6b", -360, {}, false},
    {"-6c", -360, {}, false},
    {"-5a", -300, {}, false},
    {"-5b", -300, Summer{kSecondSundayOfMarch, kFirstSundayOfNovember, -240}},
    {"-5c", -300, {}, false},
    {"-4a", -240, Summer{kSecondSundayOfMarch, kFirstSundayOfNovember, -180}},
    {"-4b", -240, {}, false},
    {"-4c", -240, {}, false},
    {"-3:30", -210, Summer{{4, 5, 4, 1}, {10, 25, 31, 1}, -150}},
    {"-3b", -180, Summer{{10, 18, 17, kTwo}, {2, 15, 21, kTwo}, -120}},
    {"-3c", -180},
    {"-2", -120, {}, false},
    {"-1", -60, {}, false},
    {"GMTa", 0, {}, false},
    {"GMTb", 0, Summer{last_sunday_of_march(60), last_sunday_of_october(kTwo), 60}},
    {"+1a", 60, Summer{last_sunday_of_march(kTwo), last_sunday_of_october(kThree), 120}},
    {"+1b", 60, Summer{last_sunday_of_march(kTwo), last_sunday_of_october(kThree), 120}},
    {"+1c", 60, Summer{last_sunday_of_march(kTwo), last_sunday_of_october(kThree), 120}},
    {"+1d", 60, {}, false},
    {"+2a", 120, Summer{last_sunday_of_march(kThree), last_sunday_of_october(4 * 60), 180}},
    {"+2b", 120, {}, false},
    {"+2c", 120, {}, false},
    {"+2d", 120, {}, false},
    {"+2e", 120, Summer{last_sunday_of_march(kThree), last_sunday_of_october(4 * 60), 180}},
    {"+2f", 120, {}, false},
    {"+3a", 180, {}, false},
    {"+3b", 180, Summer{last_sunday_of_march(kTwo), last_sunday_of_october(kThree), 240}},
    {"+3c", 180, {}, false},
    {"+3:30", 210, {}, false},
    {"+4a", 240, {}, false},
    {"+4b", 240, {}, false},
    {"+4:30", 270, {}, false},
    {"+5a", 300, {}, false},
    {"+5b", 300, {}, false},
    {"+5:30", 330, {}, false},
    {"+6a", 360, {}, false},
    {"+6b", 360, {}, false},
    {"+7", 420, {}, false},
    {"+8a", 480, {}, false},
    {"+8b", 480, {}, false},
    {"+8c", 480, {}, false},
    {"+8d", 480, {}, false},
    {"+9a", 540, {}, false},
    {"+9b", 540, {}, false},
    {"+9c", 540, {}, false},
    {"+9:30a", 570, Summer{{10, 25, 31, kTwo}, {3, 29, 28, kThree}, 630}},
    {"+9:30b", 570, {}, false},
    {"+10a", 600, {}, false},
    {"+10b", 600, Summer{{10, 25, 31, kTwo}, {3, 29, 28, kThree}, 660}},
    {"+10c", 600, {}, false},
    {"+10d", 600, Summer{{10, 4, 3, kTwo}, {3, 29, 28, kThree}, 660}},
    {"+10e", 600, {}, false},
    {"+11a", 660, {}, false},
    {"+12a", 720, Summer{{10, 4, 3, kTwo}, {3, 15, 21, kThree}, 780}},
    {"+12b", 720, {}, false},
};
// clang-format on
static_assert(std::size(kRows) == 63);

// The zone as a user without a rule of the table has it in `time_zone`: POSIX counts westwards.
std::string plain_zone(int minutes)
{
    char text[32];
    snprintf(text, sizeof text, "LOC%s%d:%02d", minutes > 0 ? "-" : "", abs(minutes) / 60, abs(minutes) % 60);
    return text;
}

// What a change shows: the minute before it and the minute of it, each as the local time it is.
struct Asked {
    Lines seconds;
    Lines expected;

    void at(long seconds_utc, int minutes_ahead)
    {
        seconds.push_back(std::to_string(seconds_utc));
        expected.push_back(date_text(seconds_utc + 60L * minutes_ahead));
    }

    void change(const Change &change, int before, int after)
    {
        for (const int year : {2026, 2027}) {
            const int day = year == 2026 ? change.day_2026 : change.day_2027;
            const long utc = seconds_of(year, change.month, day, change.minute) - 60L * before;
            at(utc - 60, before);
            at(utc, after);
        }
    }
};

Asked questions(const Row &row, bool daylight)
{
    Asked asked;
    if (daylight && row.summer) {
        asked.change(row.summer->begin, row.minutes, row.summer->minutes);
        asked.change(row.summer->end, row.summer->minutes, row.minutes);
    } else {
        asked.at(seconds_of(2026, 1, 15, 754), row.minutes);
        asked.at(seconds_of(2027, 7, 15, 754), row.minutes);
    }
    return asked;
}

// The local times that rc-direct shows for these moments.
Lines times_shown(bench::Root &root, const Lines &seconds)
{
    bench::Run run;
    run.words = {"rc-direct", "router_times"};
    run.words.insert(run.words.end(), seconds.begin(), seconds.end());
    Lines shown;
    for (const bench::Event &event : root.run(run).events) {
        if (event.kind == bench::Kind::kOut && !event.text.starts_with("/bin/echo")) {
            shown.push_back(event.text);
        }
    }
    return shown;
}

void check_row(const bench::Target &target, const Row &row, bool daylight)
{
    SCOPED_TRACE(std::string(row.index) + (daylight ? ", daylight saving on" : ", daylight saving off"));
    bench::Setup setup;
    setup.settings = {{"fw_time_zone", row.index},
                      {"time_daylight", daylight ? "1" : "0"},
                      {"time_zone", plain_zone(row.minutes)}};
    const Asked asked = questions(row, daylight);
    bench::Root root(target, setup);
    EXPECT_EQ(times_shown(root, asked.seconds), asked.expected);
}

void check_rows(bench::Target target)
{
    target.program = target.program.parent_path() / "rc-direct";
    for (const Row &row : kRows) {
        check_row(target, row, true);
        if (row.has_rule) {
            check_row(target, row, false);
        }
    }
}

// ---- texts in /etc/TZ ------------------------------------------------------------------------------------

struct Text {
    std::string text;
    int minutes;  // ahead of UTC on 15 July 2026
};

const Text kTexts[] = {
    // A zone without summer time.
    {"EST5\n", -300},
    {"EST+5\n", -300},
    {"EST5:59\n", -359},
    {"EST0\n", 0},
    {"EST-05\n", 300},
    {"Est-5:30", 330},
    {"IST-5:30:30\n", 330},
    {"UTC+24\n", -1440},
    {"<+03>-3\n", 180},
    {"<-0330>3:30\n", -210},
    {"EST5\nCET-1\n", -300},
    // A summer name without dates: the second Sunday of March to the first of November.
    {"AST4ADT\n", -180},
    {"AST4ADT2\n", -120},
    {"AST4ADT2:30\n", -150},
    {"<-04>4<-03>\n", -180},
    // Dates.
    {"EST5EDT,M3.2.0,M11.1.0\n", -240},
    {"EST5EDT,J74,J305\n", -240},
    {"EST5EDT,73/1,304/1:30:15\n", -240},
    {"EST5EDT,J197,J305\n", -300},
    {"EST5EDT,J1,J365\n", -240},
    {"EST5EDT,0,365\n", -240},
    {"EST5EDT,M1.1.0,M12.5.6/24\n", -240},
    {"EST5EDT4,M10.5.0/24,M3.5.6/0\n", -300},
    // Anything else is UTC.
    {"", 0},
    {"\n", 0},
    {"\nEST5\n", 0},
    {":EST5\n", 0},
    {":Europe/Rome\n", 0},
    {"Europe/Rome\n", 0},
    {"EST\n", 0},
    {"ES5\n", 0},
    {"<ES>5\n", 0},
    {"<EST5\n", 0},
    {"EST>5\n", 0},
    {"<E_T>5\n", 0},
    {"5EST\n", 0},
    {"EST25\n", 0},
    {"EST5:60\n", 0},
    {"EST5:\n", 0},
    {"EST5:30:60\n", 0},
    {"EST--5\n", 0},
    {" EST5\n", 0},
    {"EST5 \n", 0},
    {"EST5\r\n", 0},
    {"EST5ED\n", 0},
    {"EST5EDT25\n", 0},
    {"EST5EDT,\n", 0},
    {"EST5,M3.2.0,M11.1.0\n", 0},
    {"EST5EDT,M3.2.0\n", 0},
    {"EST5EDT,M3.2.0,\n", 0},
    {"EST5EDT,M0.2.0,M11.1.0\n", 0},
    {"EST5EDT,M13.2.0,M11.1.0\n", 0},
    {"EST5EDT,M3.0.0,M11.1.0\n", 0},
    {"EST5EDT,M3.6.0,M11.1.0\n", 0},
    {"EST5EDT,M3.2.7,M11.1.0\n", 0},
    {"EST5EDT,M3.2,M11.1.0\n", 0},
    {"EST5EDT,J0,J305\n", 0},
    {"EST5EDT,J74,J366\n", 0},
    {"EST5EDT,366,304\n", 0},
    {"EST5EDT,M3.2.0/25,M11.1.0\n", 0},
    {"EST5EDT,M3.2.0,M11.1.0x\n", 0},
    {"EST99999999999999999999\n", 0},
    {std::string(124, 'E') + "5\n", -300},
    {std::string(125, 'E') + "5\n", 0},
    {"EST5" + std::string(200, ' ') + "\n", 0},
};

void check_texts(bench::Target target)
{
    target.program = target.program.parent_path() / "rc-direct";
    bench::Root root(target, {});
    const long noon = seconds_of(2026, 7, 15, 12 * 60);
    for (const Text &text : kTexts) {
        SCOPED_TRACE(text.text);
        root.write("/etc/TZ", text.text);
        EXPECT_EQ(times_shown(root, {std::to_string(noon)}), Lines{date_text(noon + 60L * text.minutes)});
    }
    root.remove("/etc/TZ");
    EXPECT_EQ(times_shown(root, {std::to_string(noon)}), Lines{date_text(noon)});
    root.make_directory("/etc/TZ");
    EXPECT_EQ(times_shown(root, {std::to_string(noon)}), Lines{date_text(noon)});
}

TEST(Zones, OnlyTextInPosixFormCounts)
{
    check_texts(built_rc());
}

TEST(Zones, OnlyTextInPosixFormCountsOnTheTarget)
{
    const auto target = built_rc_of_target();
    if (!target) {
        GTEST_SKIP() << kNeedsTarget;
    }
    check_texts(*target);
}

// ---- the table -------------------------------------------------------------------------------------------

TEST(Zones, EveryRowGivesItsLocalTime)
{
    check_rows(built_rc());
}

TEST(Zones, EveryRowGivesItsLocalTimeOnTheTarget)
{
    const auto target = built_rc_of_target();
    if (!target) {
        GTEST_SKIP() << kNeedsTarget;
    }
    check_rows(*target);
}

}  // namespace
