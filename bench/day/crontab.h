// A system crontab as Debian's cron takes it: variables, lines with a user column, and one bad line that
// makes it refuse the whole file.
//
// Choice: the day's cron keeps the rules of Debian's, tried on it: a file with one bad line, or without a
// last line end, does not count at all; `TZ=` without a value is such a line. Choice: the day's cron takes
// its local time from `/etc/TZ`, and leaves out what stands behind a "%" of a command.
#pragma once

#include <bitset>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace day {

struct Job {
    size_t line = 0;  // of the file, from 1
    std::string text;
    std::bitset<60> minutes;
    std::bitset<24> hours;
    std::bitset<32> days;      // 1 to 31
    std::bitset<13> months;    // 1 to 12
    std::bitset<7> weekdays;   // Sunday is 0
    bool any_day = false;      // the day of the month begins with "*"
    bool any_weekday = false;  // the weekday does
    bool wild = false;         // minute or hour does: such a job follows the clock on the wall when it jumps
    std::string user;
    std::string command;  // up to the first "%" that has no "\" before it; the rest would be its input
    bool at_start = false;
};

struct Refusal {
    size_t line = 0;  // 0: the end of the file
    std::string text;
    std::string why;  // cron's own words: "bad day-of-week"
};

struct Crontab {
    std::vector<std::pair<std::string, std::string>> variables;
    std::vector<Job> jobs;
    std::optional<Refusal> refusal;  // there are no jobs then
};

// `users`: the names that a job may run as.
Crontab read_crontab(std::string_view text, const std::vector<std::string> &users);

// Whether cron starts the job in this minute of local time.
bool is_due(const Job &job, const tm &local);

}  // namespace day
