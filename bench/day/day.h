// A day of the router: it is switched on, cron starts what its crontab says, things happen to the line, and
// each moment at which something changes becomes a row.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bench/day/crontab.h"
#include "bench/router.h"

namespace day {

// Something that happens to the router, as typed: '14:05 wan-lost', '02:14:05 wan-back' of the second day.
struct Event {
    int minute = 0;  // after the day's begin
    std::string what;
};

// The moment and what happens; throws bench::Error for what no router knows. `from`: local time of the begin.
Event parse_event(const std::string &text, const tm &from);

struct Wish {
    tm from = {};  // local time of the router
    int hours = 24;
    std::vector<Event> events;
    bench::Run like;  // limits
};

struct Row {
    std::string begin;  // local time, "14:05:00", with the date where it is another one than the row before's
    std::string end;    // of several minutes folded into one row: the last one's time; else empty
    std::string cause;  // "power on", "cron", "event", "quiet"
    std::string what;   // the command, the event
    size_t times = 1;   // of a folded row: how often
    int64_t seconds = 0;  // how long it took by its pauses
    std::vector<std::string> effects;
};

struct Span {
    std::string what;  // "Internet down", "schedule open"
    std::string begin;
    std::string end;  // empty: still so at the end
};

struct Day {
    std::string zone;  // the rule in /etc/TZ
    std::string begin;
    std::string end;
    std::vector<Row> rows;
    std::vector<Span> spans;
    std::vector<bench::Trace> traces;
    bool cut = false;  // the bench ended a run
};

// Plays the day in a router of this kind; the working copy comes from flash or defaults, as at each start.
// `progress` is told the time now and then.
Day play(const bench::Target &target, const bench::Setup &setup, const Wish &wish,
         const std::function<void(const std::string &)> &progress);

}  // namespace day
