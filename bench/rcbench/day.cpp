// rcbench day: a day of the router, with what cron starts and what happens to the line, as a table.

#include "bench/day/day.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

#include "bench/rcbench/pages.h"
#include "bench/rcbench/runs.h"
#include "bench/rcbench/style.h"
#include "bench/show/json.h"

namespace rcbench {

namespace {

constexpr int kMostHours = 24 * 31;

struct DayRequest {
    std::shared_ptr<RouterRequest> router = std::make_shared<RouterRequest>();
    std::string from = std::string(kUsualDay) + " 00:00";
    int hours = 24;
    std::vector<std::string> events;
    bool json = false;
};

Options day_options(const std::shared_ptr<DayRequest> &r)
{
    using Text = const std::string &;
    // clang-format off
    return {
        {.help = "The day"},
        {.name = "from", .argument = "'YYYY-MM-DD HH:MM'",
         .help = "when it begins, in the router's local time (2026-03-02 00:00, a Monday); the router is switched "
                 "on five minutes before",
         .take = [r](Text text) { r->from = text; }},
        {.name = "hours", .argument = "NUMBER",
         .help = "how long it is (24)",
         .take = [r](Text text) { r->hours = number_from("--hours", text, 1, kMostHours); }},
        {.name = "event", .argument = "'HH:MM WHAT'",
         .help = "what happens then: wan-lost, wan-back, wan-address ADDRESS, set KEY=VALUE, rc WORDS; may be "
                 "given several times",
         .take = [r](Text text) { r->events.push_back(text); }},
        {.help = "What is shown"},
        {.name = "json",
         .help = "for machines: one object",
         .take = [r](Text) { r->json = true; }},
    };
    // clang-format on
}

tm begin_of(const std::string &text)
{
    tm when = {};
    const char *end = strptime(text.c_str(), "%Y-%m-%d %H:%M", &when);
    if (end == nullptr || *end != '\0') {
        throw forms::usage_error("--from " + forms::shown(text) + ": not a time like '2026-03-02 00:00'");
    }
    tm counted = when;
    (void)timegm(&counted);
    if (counted.tm_mday != when.tm_mday || counted.tm_mon != when.tm_mon) {
        throw forms::Failure(forms::kUnusable, "--from " + forms::shown(text) + ": there is no such day");
    }
    return when;
}

day::Wish wish_of(const DayRequest &request)
{
    if (request.router->clock) {
        throw forms::usage_error("day has --from in place of --clock");
    }
    day::Wish wish;
    wish.from = begin_of(request.from);
    wish.hours = request.hours;
    wish.like = run_like(*request.router);
    for (const std::string &text : request.events) {
        try {
            wish.events.push_back(day::parse_event(text, wish.from));
        } catch (const bench::Error &error) {
            throw forms::usage_error("--event " + forms::shown(text) + ": " + error.what());
        }
        if (wish.events.back().minute >= wish.hours * 60) {
            throw forms::usage_error("--event " + forms::shown(text) + ": the day ends before");
        }
    }
    return wish;
}

std::string row_text(const day::Row &row)
{
    std::string text = row.begin + (row.end.empty() ? "" : " to " + row.end) + "  ";
    if (row.cause == "quiet") {
        return text + bench::escape(row.what) +
               (row.times == 1 ? "" : ", " + bench::grouped(row.times) + " times") + ": nothing changes";
    }
    text += row.cause + ": " + bench::escape(row.what);
    return text + (row.seconds == 0 ? "" : "   (" + bench::grouped(static_cast<size_t>(row.seconds)) + " s)");
}

void print_day(const day::Day &day)
{
    const bench::Printer printer = {stdout, fitted({})};
    printf("%s to %s, time zone %s\n\n", day.begin.c_str(), day.end.c_str(),
           day.zone.empty() ? "UTC" : bench::escape(day.zone).c_str());
    for (const day::Row &row : day.rows) {
        printer.line(row.cause == "quiet" ? bench::Tint::kOutput : bench::Tint::kStrong, row_text(row));
        for (const std::string &effect : row.effects) {
            printer.line(bench::Tint::kPlain, "    " + bench::escape(effect));
        }
    }
    if (!day.spans.empty()) {
        printf("\n");
    }
    for (const day::Span &span : day.spans) {
        printf("%s: %s to %s\n", span.what.c_str(), span.begin.c_str(),
               span.end.empty() ? "the end" : span.end.c_str());
    }
}

std::string joined(const std::vector<std::string> &texts)
{
    std::string all;
    for (const std::string &one : texts) {
        all += (all.empty() ? "" : "\n") + one;
    }
    return all;
}

void write_day(const RouterRequest &router, const day::Day &day)
{
    std::vector<std::vector<std::string>> rows;
    for (const day::Row &row : day.rows) {
        const std::string end = row.end.empty() ? "" : " to " + row.end;
        rows.push_back(
            {row.begin + end, row.cause, row.what, std::to_string(row.times), joined(row.effects)});
    }
    std::vector<std::vector<std::string>> spans;
    for (const day::Span &span : day.spans) {
        spans.push_back({span.what, span.begin, span.end.empty() ? "the end" : span.end});
    }
    const std::string zone = day.zone.empty() ? "UTC" : day.zone;
    write_page(router, "A day of the router", day.begin + " to " + day.end + ", time zone " + zone,
               {{"spans", "Internet and schedule", page::table({"What", "From", "To"}, spans)},
                {"rows", "What happened", page::table({"Time", "Cause", "What", "Times", "Changes"}, rows)}});
}

// What a job's command or an event holds may be a secret.
day::Day masked(day::Day day, const page::Secrets &secrets)
{
    for (day::Row &row : day.rows) {
        row.what = secrets.masked(row.what);
        for (std::string &effect : row.effects) {
            effect = secrets.masked(effect);
        }
    }
    return day;
}

bench::Json json_day(const day::Day &day)
{
    bench::Json rows = bench::Json::array();
    for (const day::Row &row : day.rows) {
        bench::Json effects = bench::Json::array();
        for (const std::string &effect : row.effects) {
            effects.push_back(bench::json_text(effect));
        }
        rows.push_back({{"begin", row.begin},
                        {"end", row.end.empty() ? bench::Json(nullptr) : bench::Json(row.end)},
                        {"cause", row.cause},
                        {"what", bench::json_text(row.what)},
                        {"times", row.times},
                        {"seconds", row.seconds},
                        {"effects", effects}});
    }
    bench::Json spans = bench::Json::array();
    for (const day::Span &span : day.spans) {
        spans.push_back({{"what", span.what},
                         {"begin", span.begin},
                         {"end", span.end.empty() ? bench::Json(nullptr) : bench::Json(span.end)}});
    }
    return {{"zone", bench::json_text(day.zone)},
            {"begin", day.begin},
            {"end", day.end},
            {"rows", rows},
            {"spans", spans}};
}

// What the events set.
WishedRun settings_of(const day::Wish &wish)
{
    WishedRun run;
    for (const day::Event &event : wish.events) {
        const size_t equals = event.what.find('=');
        if (event.what.starts_with("set ") && equals != std::string::npos) {
            run.changes.push_back(
                {event.what.substr(4, equals - 4), bench::unescape(event.what.substr(equals + 1))});
        }
    }
    return run;
}

int work(const DayRequest &request, const Words &words)
{
    if (!words.empty()) {
        throw forms::usage_error("day takes no words, only options: " + forms::shown(words[0]));
    }
    const day::Wish wish = wish_of(request);
    RouterRequest router = *request.router;
    router.blank = true;  // a router that is switched on takes its settings from flash or defaults
    const bench::Target target = target_of(router);
    note_unknown_keys(router, {});
    const bool watched = isatty(STDERR_FILENO) != 0;
    const page::Secrets secrets = secrets_of(router, target, {settings_of(wish)});
    const day::Day played =
        day::play(target, setup_of(router, target, true), wish, [&](const std::string &time) {
            if (watched) {
                (void)fprintf(stderr, "\r%s ", time.c_str());
            }
        });
    if (watched) {
        (void)fputs("\r\033[K", stderr);
    }
    const day::Day day = masked(played, secrets);
    if (router.html) {
        write_day(router, day);
    } else if (request.json) {
        (void)fputs(bench::written(json_day(day)).c_str(), stdout);
    } else {
        print_day(day);
    }
    return day.cut ? forms::kFailed : forms::kDone;
}

constexpr const char *kAbout = R"(
Plays a day of the router: it is switched on, cron starts what /etc/crontab says at its minute, the clock moves
by pauses and from minute to minute. What changes for the people in the house is printed with its time; minutes in
which nothing changes are folded. Below it stands from when to when the Internet was down and the schedule open.
)";

constexpr const char *kMore = R"(
cron here keeps the rules of Debian's: one bad line and the whole file is refused, which is said with the line.
)";

}  // namespace

Command make_day()
{
    const auto request = std::make_shared<DayRequest>();
    return {{.name = "rcbench day",
             .usage = {"[OPTIONS]", "[OPTIONS] --event '14:05 wan-lost' --event '14:20 wan-back'"},
             .about = kAbout,
             .options = joined({router_options(request->router), day_options(request)}),
             .more = kMore},
            [request](const Words &words) { return work(*request, words); }};
}

}  // namespace rcbench
