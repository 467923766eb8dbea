// Any text as a system crontab: jobs that fall due, or one line why the whole file does not count.
#include <algorithm>
#include <string>

#include "bench/day/crontab.h"
#include "tests/fuzz/fuzz.h"

namespace {

// The first minute of a leap year and its last: between them they have every kind of field.
tm moment(int month, int day, int hour, int minute)
{
    tm made = {};
    made.tm_year = 128;
    made.tm_mon = month;
    made.tm_mday = day;
    made.tm_hour = hour;
    made.tm_min = minute;
    return made;
}

void check_job(const day::Job &job, size_t lines)
{
    MUST(job.line >= 1 && job.line <= lines && !job.user.empty());
    if (job.at_start) {
        return;
    }
    MUST(!job.days.test(0) && !job.months.test(0));
    for (const tm &now : {moment(0, 1, 0, 0), moment(11, 31, 23, 59)}) {
        const bool fits = job.minutes.test(static_cast<size_t>(now.tm_min)) &&
                          job.hours.test(static_cast<size_t>(now.tm_hour)) &&
                          job.months.test(static_cast<size_t>(now.tm_mon) + 1);
        MUST(fits || !day::is_due(job, now));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view text = input_of(data, size);
    const day::Crontab crontab = day::read_crontab(text, {"root", "nobody"});
    const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    if (crontab.refusal) {
        MUST(crontab.jobs.empty() && !crontab.refusal->why.empty());
        MUST(crontab.refusal->line <= lines + 1);
    }
    for (const day::Job &job : crontab.jobs) {
        check_job(job, lines);
    }
    return 0;
}
