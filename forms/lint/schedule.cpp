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
    const bool is_whole_day = record.value("start_hour") == 0 && record.value("end_hour") == 24;
    if (record.value("end_hour") == 24 && !is_whole_day) {
        findings
            .add(Grade::kWarning, "schedule-24", "fw_schedule", record, "end_hour",
                 "cron knows no hour 24 and nothing closes it at midnight; the router will write such a line "
                 "all "
                 "the same; give 23:59")
            .claims = {has("schedule create", "/etc/crontab",
                           std::to_string(record.value("end_minute")) + " 24 * * " + days +
                               " root /usr/sbin/rc schedule restart\n")};
    } else if (start == end) {
        findings.add(Grade::kWarning, "schedule-empty", "fw_schedule", record, "",
                     "ends when it begins, so it is never open; 0:0-24:0 is the whole day");
    } else if (start > end && !is_whole_day) {
        findings
            .add(Grade::kWarning, "schedule-midnight", "fw_schedule", record, "end_hour",
                 "ends after midnight; the router will close it on the days on which it opens, and what is "
                 "after "
                 "midnight counts for the day it is in")
            .claims = {has("schedule create", "/etc/crontab",
                           std::to_string(record.value("end_minute")) + " " +
                               std::to_string(record.value("end_hour")) + " * * " + days +
                               " root /usr/sbin/rc schedule restart\n")};
    }
    if (record.number == 2) {
        findings.add(Grade::kWarning, "schedule-second", "fw_schedule", record, "",
                     "only the first record decides whether the schedule is open");
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
