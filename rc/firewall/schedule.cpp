// Schedule: cron asks at every boundary whether the schedule is open, and the kernel's flag says so.
//
// Reads:  fw_schedule time_daylight time_zone wan_mode mail_sendlog mail_sh_hour mail_sh_day
// Writes: /etc/crontab /proc/net/ipt_condition/schedule
// Runs:   cp echo
// Needs:  timezone /usr/etc/crontab
//
// The crontab also carries the router's other jobs by the clock: dynamic DNS, connection check, log mails.

#include "rc/firewall/internal.h"

#include <cstdlib>
#include <ctime>

#include "rc/files.h"
#include "rc/firewall/firewall.h"
#include "rc/lan/lan.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/record.h"

namespace {

constexpr size_t kScheduleSize = 31 + 1;

// The period's weekdays as cron writes them.
struct DayList {
    char text[2 * kWeekdays];  // 1,2,3; empty when there are none
};

DayList day_list(const SchedulePeriod &period)
{
    DayList list;
    char *at = list.text;
    for (int day = 0; day < kWeekdays && period.days[day] != '\0'; ++day) {
        if (period.days[day] == '1') {
            if (at != list.text) {
                *at++ = ',';
            }
            *at++ = static_cast<char>('0' + day);
        }
    }
    *at = '\0';
    return list;
}

void write_log_mail_line(FILE *crontab)
{
    const char when = nvram_first("mail_sendlog");
    if (when == '2') {
        (void)fputs("0 * * * * root killall -1 syslogd\n", crontab);
    } else if (when == '3') {
        (void)fprintf(crontab, "0 %s * * * root killall -1 syslogd\n", nvram_text("mail_sh_hour").c_str());
    } else if (when == '4') {
        const std::string hour = nvram_text("mail_sh_hour");
        const std::string day = nvram_text("mail_sh_day");
        (void)fprintf(crontab, "0 %s * * %s root killall -1 syslogd\n", hour.c_str(), day.c_str());
    }
}

void write_fixed_lines(FILE *crontab)
{
    const std::string daylight = nvram_text("time_daylight");
    if (daylight.c_str()[0] == '1') {
        (void)fprintf(crontab, "DAYLIGHT=%s\n", daylight.c_str());
    }
    (void)fprintf(crontab, "TZ=%s\n\n", nvram_text("time_zone").c_str());
    (void)fputs("0 12 * * * root /usr/sbin/rc ddns start\n", crontab);
    if (nvram_first("wan_mode") != 'p') {
        (void)fputs("0-59 * * * * root /usr/sbin/rc check_conn start\n", crontab);
    }
}

// Deliberate: minutes are not looked at.
bool whole_day(const SchedulePeriod &period)
{
    return period.start_hour == 0 && period.end_hour == 24;
}

// Minutes since midnight, for any numbers.
long long minutes(int hour, int minute)
{
    return hour * 60LL + minute;
}

}  // namespace

SchedulePeriod parse_period(const char *record)
{
    SchedulePeriod period = {};
    Scan scan = {record};
    if (scan_fields(scan, ':', period.days, period.start_hour, period.start_minute) == 3 &&
        scan_char(scan, '-')) {
        (void)scan_fields(scan, ':', period.end_hour, period.end_minute);
    }
    return period;
}

bool period_open(const SchedulePeriod &period, const tm &local)
{
    // Deliberate: today's weekday counts, also for the hours after midnight of a period begun yesterday.
    if (period.days[local.tm_wday] != '1') {
        return false;
    }
    if (whole_day(period)) {
        return true;
    }
    const long long start = minutes(period.start_hour, period.start_minute);
    const long long end = minutes(period.end_hour, period.end_minute);
    // Deliberate: one minute ahead, so that a check run by cron in the very minute of a boundary finds the
    // start minute inside and the end minute outside.
    const long long now = minutes(local.tm_hour, local.tm_min) + 1;
    if (end < start) {
        return now >= start || now <= end;
    }
    return now >= start && now <= end;
}

void create_schedule(const char *record, FILE *crontab)
{
    if (record[0] == '\0') {
        return;
    }
    const SchedulePeriod period = parse_period(record);
    const DayList days = day_list(period);
    if (whole_day(period)) {
        (void)fprintf(crontab, "0 0 * * %s root /usr/sbin/rc schedule restart\n", days.text);
        return;
    }
    (void)fprintf(crontab, "%d %d * * %s root /usr/sbin/rc schedule restart\n", period.start_minute,
                  period.start_hour, days.text);
    // Deliberate: the end has the weekdays of the start, also when it lies after midnight.
    (void)fprintf(crontab, "%d %d * * %s root /usr/sbin/rc schedule restart\n", period.end_minute,
                  period.end_hour, days.text);
}

int create_crontab()
{
    char schedule[kScheduleSize];
    my_nvram_get("fw_schedule", schedule);
    run("/bin/cp /usr/etc/crontab /etc/crontab");
    const File crontab = open_file("/etc/crontab", "a+");
    if (!crontab) {
        return -1;
    }
    write_fixed_lines(crontab.get());
    std::string_view list = schedule;
    std::string_view record;
    while (next_record(list, record)) {
        create_schedule(std::string(record).c_str(), crontab.get());
    }
    write_log_mail_line(crontab.get());
    return 0;
}

int check_sche()
{
    const std::string schedule = nvram_text("fw_schedule");
    (void)unsetenv("TZ");
    (void)start_timezone();
    // Deliberate: only the first record counts here.
    std::string_view list = schedule;
    std::string_view record;
    (void)next_record(list, record);
    const SchedulePeriod period = parse_period(std::string(record).c_str());
    (void)printf("%d:%d\n", period.start_hour, period.start_minute);
    return period_open(period, router_time(time(nullptr))) ? 1 : 0;
}

int start_schedule()
{
    (void)create_crontab();
    SYSTEM("echo %d > /proc/net/ipt_condition/schedule ", check_sche());
    return 0;
}
