// The schedule: whether it can be open when its rules want it.
#include "forms/lint/internal.h"

namespace forms {

namespace {

bool wants_schedule(const Store &store)
{
    for (const char *key : {"fw_in_rules", "fw_out_rules"}) {
        for (const Record &rule : fine_records(store, key)) {
            if (rule["on"] == "1" && (rule["action"] == "1" || rule["action"] == "3")) {
                return true;
            }
        }
    }
    return store.number("fw_block") == 2;
}

std::string days_of(const Record &record)
{
    std::string list;
    for (size_t day = 0; day < record["days"].size(); ++day) {
        if (record["days"][day] == '1') {
            list += (list.empty() ? "" : ",") + std::to_string(day);
        }
    }
    return list;
}

std::string day_name(size_t day)
{
    constexpr const char *kNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                      "Thursday", "Friday", "Saturday"};
    return kNames[day % 7];
}

std::string clock(long minutes)
{
    const long minute = minutes % 60;
    return std::to_string(minutes / 60) + (minute < 10 ? ":0" : ":") + std::to_string(minute);
}

Claim wakes(long minutes, const std::string &days)
{
    return has("schedule create", "/etc/crontab",
               std::to_string(minutes % 60) + " " + std::to_string(minutes / 60) + " * * " + days +
                   " root /usr/sbin/rc schedule restart\n");
}

// Nothing closes it on the morning after a day on which it opens, unless that is one of its days too: then it
// stays open until the next of its days ends.
void lint_midnight(const Record &record, long start, long end, Findings &findings)
{
    const std::string &days = record["days"];
    const auto is_on = [&](size_t day) { return days[day % 7] == '1'; };
    size_t last = 0;
    while (last < 7 && !(is_on(last) && !is_on(last + 1))) {
        ++last;
    }
    if (last == 7) {
        return;  // every day: it opens and closes as it says
    }
    size_t next = last + 2;
    while (!is_on(next)) {
        ++next;
    }
    findings
        .add(Grade::kWarning, "schedule-midnight", "fw_schedule", record, "end_hour",
             "ends after midnight, and " + day_name(last + 1) +
                 " is none of its days; the router will look at " + clock(end) +
                 " on its own days alone, so what opens on " + day_name(last) + " at " + clock(start) +
                 " stays open until " + day_name(next) + " " + clock(end) + " or until rc is run")
        .claims = {wakes(start, days_of(record)), wakes(end, days_of(record))};
}

Claim closed()
{
    return runs("schedule start", "echo 0 > /proc/net/ipt_condition/schedule ");
}

void lint_record(const Record &record, Findings &findings)
{
    const long start = record.value("start_hour") * 60 + record.value("start_minute");
    const long end = record.value("end_hour") * 60 + record.value("end_minute");
    const std::string days = days_of(record);
    if (days.empty()) {
        Finding &finding = findings.add(Grade::kError, "schedule-no-day", "fw_schedule", record, "days",
                                        "names no day; the router will never open it");
        if (record.number == 1) {
            finding.claims = {closed()};
        } else {
            finding.message = "names no day, and cron refuses such a line";
        }
        return;
    }
    if (record.number > 1) {  // it opens and closes nothing
        if (record.number == 2) {
            findings.add(Grade::kWarning, "schedule-second", "fw_schedule", record, "",
                         "only the first record decides whether the schedule is open");
        }
        return;
    }
    const bool is_whole_day = record.value("start_hour") == 0 && record.value("end_hour") == 24;
    if (record.value("end_hour") == 24 && !is_whole_day) {
        findings
            .add(Grade::kWarning, "schedule-24", "fw_schedule", record, "end_hour",
                 "the router will write a line for the hour 24, which cron does not know, so nothing closes "
                 "it and it stays open; give 23:59")
            .claims = {wakes(end, days)};
    } else if (start == end) {
        findings.add(Grade::kWarning, "schedule-empty", "fw_schedule", record, "",
                     "ends when it begins, so it does not open; 0:0-24:0 is the whole day");
    } else if (start > end && !is_whole_day) {
        lint_midnight(record, start, end, findings);
    }
}

}  // namespace

void lint_schedule(const Store &store, Findings &findings)
{
    if (store.get("fw_schedule").empty()) {
        if (wants_schedule(store)) {
            findings
                .add(Grade::kWarning, "schedule-missing", "fw_schedule",
                     "rules go by the schedule and it is empty; the router will never open it")
                .claims = {closed()};
        }
        return;
    }
    for (const Record &record : fine_records(store, "fw_schedule")) {
        lint_record(record, findings);
    }
}

}  // namespace forms
