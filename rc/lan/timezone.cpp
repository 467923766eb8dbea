// Time zone: writes the POSIX rule of the chosen zone to /etc/TZ, and tells the local time by it.
//
// Reads:  fw_time_zone time_daylight time_zone
// Writes: /etc/TZ
// Runs:   echo
//
// Only some C libraries look at /etc/TZ by themselves, and they differ where a rule names a summer time
// without dates. So the conversion here hands them a whole rule, in the environment and for itself alone.

#include "rc/lan/lan.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"

namespace {

struct TimeZone {
    const char *index;  // value of fw_time_zone: hours from UTC, a letter tells zones of one offset apart
    const char *rule;   // POSIX rule with daylight saving; empty where the zone has none
};

// Deliberate: the rules are what they are, irregular ones too ("-7a" has no daylight part, "-3c" is plain
// UTC+3, the rule of "-3b" ends in February, some rules state no dates or times).
// clang-format off
constexpr TimeZone kTimeZones[] = {
    {"-12",     ""},
    {"-11",     ""},
    {"-10",     "HAW10"},
    {"-9",      "AKST9AKDT"},
    {"-8",      "PST8PDT"},
    {"-7a",     "MST7"},
    {"-7b",     "MST7MDT"},
    {"-6a",     "CST6CDT"},
    {"-6b",     ""},
    {"-6c",     ""},
    {"-5a",     ""},
    {"-5b",     "EST5EDT,M3.2.0,M11.1.0"},
    {"-5c",     ""},
    {"-4a",     "AST4ADT"},
    {"-4b",     ""},
    {"-4c",     ""},
    {"-3:30",   "NST+3:30NDT+2:30,M4.1.0/00:01:00,M10.5.0/00:01:00"},
    {"-3b",     "BRST+3BRDT+2,M10.3.0,M2.3.0"},
    {"-3c",     "UTC+3"},
    {"-2",      ""},
    {"-1",      ""},
    {"GMTa",    ""},
    {"GMTb",    "GMT+0BST-1,M3.5.0/01:00:00,M10.5.0/02:00:00"},
    {"+1a",     "CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"+1b",     "CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"+1c",     "CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00"},
    {"+1d",     ""},
    {"+2a",     "EET-2EEST-3,M3.5.0/03:00:00,M10.5.0/04:00:00"},
    {"+2b",     ""},
    {"+2c",     ""},
    {"+2d",     ""},
    {"+2e",     "EET-2EEST-3,M3.5.0/03:00:00,M10.5.0/04:00:00"},
    {"+2f",     ""},
    {"+3a",     ""},
    {"+3b",     "MSK-3MSD,M3.5.0/2,M10.5.0/3"},
    {"+3c",     ""},
    {"+3:30",   ""},
    {"+4a",     ""},
    {"+4b",     ""},
    {"+4:30",   ""},
    {"+5a",     ""},
    {"+5b",     ""},
    {"+5:30",   ""},
    {"+6a",     ""},
    {"+6b",     ""},
    {"+7",      ""},
    {"+8a",     ""},
    {"+8b",     ""},
    {"+8c",     ""},
    {"+8d",     ""},
    {"+9a",     ""},
    {"+9b",     ""},
    {"+9c",     ""},
    {"+9:30a",  "CST-9:30CDT-10:30,M10.5.0/02:00:00,M3.5.0/03:00:00"},
    {"+9:30b",  ""},
    {"+10a",    ""},
    {"+10b",    "EST-10EDT-11,M10.5.0/02:00:00,M3.5.0/03:00:00"},
    {"+10c",    ""},
    {"+10d",    "EST-10EDT-11,M10.1.0/02:00:00,M3.5.0/03:00:00"},
    {"+10e",    ""},
    {"+11a",    ""},
    {"+12a",    "NZST-12NZDT-13,M10.1.0/02:00:00,M3.3.0/03:00:00"},
    {"+12b",    ""},
};
// clang-format on

consteval bool indexes_are_unique()
{
    for (const TimeZone *zone = kTimeZones; zone != std::end(kTimeZones); ++zone) {
        for (const TimeZone *other = zone + 1; other != std::end(kTimeZones); ++other) {
            if (std::string_view(zone->index) == other->index) {
                return false;
            }
        }
    }
    return true;
}

static_assert(indexes_are_unique());

// Writes the rule unquoted, as it is.
void write_rule(const char *rule)
{
    SYSTEM("/bin/echo %s > /etc/TZ", rule);
}

void apply_zone(const TimeZone &zone, int saving)
{
    std::string reported = zone.rule;
    if (reported.empty() || saving != 1) {
        write_rule(nvram_text("time_zone").c_str());
        reported = nvram_text("time_zone");
    } else {
        write_rule(zone.rule);
    }
    (void)printf("/bin/echo %s > /etc/TZ\n", reported.c_str());
}

// ---- rules in POSIX form: each function moves past one part, or finds that it is not there ---------------

// Digits of a number from `least` to `most`.
bool pass_number(const char *&at, int least, int most)
{
    int number = 0;
    const char *end = at;
    for (; *end >= '0' && *end <= '9' && number <= most; ++end) {
        number = 10 * number + (*end - '0');
    }
    const bool passed = end != at && number >= least && number <= most;
    at = end;
    return passed;
}

bool pass_char(const char *&at, char expected)
{
    if (*at != expected) {
        return false;
    }
    ++at;
    return true;
}

bool is_letter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Three letters or more, or as many letters, digits and signs between "<" and ">".
bool pass_name(const char *&at)
{
    const bool quoted = pass_char(at, '<');
    const char *begin = at;
    while (is_letter(*at) || (quoted && ((*at >= '0' && *at <= '9') || *at == '+' || *at == '-'))) {
        ++at;
    }
    return at - begin >= 3 && (!quoted || pass_char(at, '>'));
}

// hh, hh:mm or hh:mm:ss
bool pass_time(const char *&at)
{
    return pass_number(at, 0, 24) &&
           (!pass_char(at, ':') ||
            (pass_number(at, 0, 59) && (!pass_char(at, ':') || pass_number(at, 0, 59))));
}

bool pass_offset(const char *&at)
{
    (void)(pass_char(at, '+') || pass_char(at, '-'));
    return pass_time(at);
}

// Mm.w.d, Jn or n, and a time behind "/".
bool pass_date(const char *&at)
{
    bool passed = false;
    if (pass_char(at, 'M')) {
        passed = pass_number(at, 1, 12) && pass_char(at, '.') && pass_number(at, 1, 5) &&
                 pass_char(at, '.') && pass_number(at, 0, 6);
    } else if (pass_char(at, 'J')) {
        passed = pass_number(at, 1, 365);
    } else {
        passed = pass_number(at, 0, 365);
    }
    return passed && (!pass_char(at, '/') || pass_time(at));
}

// A zone's rule, completed where it names a summer time without dates; plain UTC for any other text.
std::string complete_rule(const char *text)
{
    const char *at = text;
    if (!pass_name(at) || !pass_offset(at)) {
        return "UTC0";
    }
    if (*at == '\0') {
        return text;
    }
    if (!pass_name(at) || (*at != ',' && *at != '\0' && !pass_offset(at))) {
        return "UTC0";
    }
    if (*at == '\0') {
        return std::string(text) + ",M3.2.0,M11.1.0";
    }
    const bool dated = pass_char(at, ',') && pass_date(at) && pass_char(at, ',') && pass_date(at);
    return dated && *at == '\0' ? text : "UTC0";
}

}  // namespace

tm router_time(time_t seconds)
{
    char line[128] = "";
    if (const File file = open_file("/etc/TZ", "r")) {
        (void)!fgets(line, sizeof line, file.get());
    }
    // Of a line that does not fit, nothing counts.
    const bool whole = strlen(line) + 1 < sizeof line;
    line[strcspn(line, "\n")] = '\0';
    (void)setenv("TZ", complete_rule(whole ? line : "").c_str(), 1);
    tm local = {};
    if (const tm *converted = localtime(&seconds)) {
        local = *converted;
    }
    (void)unsetenv("TZ");
    return local;
}

int start_timezone()
{
    const std::string chosen = nvram_text("fw_time_zone");
    const int saving = nvram_int("time_daylight");
    for (const TimeZone &zone : kTimeZones) {
        if (chosen == zone.index) {
            apply_zone(zone, saving);
        }
    }
    return 0;
}
