#include "bench/day/day.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <set>
#include <sstream>

#include "bench/day/effects.h"

namespace day {

namespace {

constexpr int64_t kMinute = 60;
constexpr int64_t kMicro = 1000000;
constexpr int64_t kBootLead = 5 * kMinute;  // the router is switched on so long before the day begins
constexpr const char *kBoot = "sh /etc/init.d/rcS";
constexpr const char *kGateway = "203.0.113.1";
constexpr const char *kUsers[] = {"root"};
constexpr const char *kCheck = "/usr/sbin/rc check_conn start";  // each minute, where the WAN mode is not PPP

// The local time of a rule, and back, for the whole process: only this library asks for local time here.
void use_zone(const std::string &rule)
{
    (void)setenv("TZ", rule.empty() ? "UTC0" : rule.c_str(), 1);
    tzset();
}

tm local_time(int64_t seconds)
{
    const time_t time = seconds;
    tm local = {};
    (void)localtime_r(&time, &local);
    return local;
}

std::string zone_rule(const bench::Root &root)
{
    const std::string text = root.read("/etc/TZ").value_or("");
    return text.substr(0, text.find('\n'));
}

std::string date_text(const tm &local)
{
    char text[40] = "";
    (void)strftime(text, sizeof text, "%a %Y-%m-%d", &local);
    return text;
}

std::string time_text(const tm &local)
{
    char text[16] = "";
    (void)strftime(text, sizeof text, "%H:%M:%S", &local);
    return text;
}

std::string moment_text(int64_t seconds)
{
    const tm local = local_time(seconds);
    return date_text(local) + " " + time_text(local).substr(0, 5);
}

// A job that had no effect, from its first time in a stretch of quiet minutes to its last.
struct Quiet {
    std::string what;
    int64_t begin = 0;
    int64_t end = 0;
    size_t times = 1;
};

bool same_events(const std::vector<bench::Event> &one, const std::vector<bench::Event> &other)
{
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](const bench::Event &a, const bench::Event &b) {
                          return a.kind == b.kind && a.text == b.text && a.words == b.words &&
                                 a.number == b.number && a.depth == b.depth;
                      });
}

class Player {
  public:
    Player(const bench::Target &target, const bench::Setup &setup, const Wish &wish,
           const std::function<void(const std::string &)> &progress)
        : wish_(wish),
          progress_(progress),
          root_(target, setup),
          watch_(root_),
          answers_vary_(!setup.replies.empty())
    {
        start_ = begin_of(target, setup);
        now_ = start_ - kBootLead;
        boot_ = now_;
    }

    Day day()
    {
        use_zone(day_.zone);
        day_.begin = moment_text(start_);
        run(kBoot, "power on", kBoot, now_, {});
        const int64_t end = start_ + wish_.hours * kMinute * kMinute;
        day_.end = moment_text(end);
        for (int64_t minute = boot_ - boot_ % kMinute + kMinute; minute < end; minute += kMinute) {
            happen(minute);
            cron(minute);
            if (minute % (kMinute * kMinute) == 0) {
                progress_(moment_text(minute));
            }
        }
        end_quiet();
        watch_.finish(day_.spans);
        return std::move(day_);
    }

  private:
    // The first moment of the day in UTC, by the zone that rc writes for these settings.
    int64_t begin_of(const bench::Target &target, const bench::Setup &setup)
    {
        bench::Root root(target, setup);
        bench::Run run = wish_.like;
        run.words = {"rc", "timezone", "start"};
        (void)root.run(run);
        day_.zone = zone_rule(root);
        use_zone(day_.zone);
        tm from = wish_.from;
        from.tm_isdst = -1;
        return mktime(&from);
    }

    std::string stamp(int64_t seconds)
    {
        const tm local = local_time(seconds);
        const bool other = date_text(local) != date_;
        date_ = date_text(local);
        return (other ? date_ + " " : "") + time_text(local);
    }

    void run(const std::string &command, const std::string &cause, const std::string &what, int64_t at,
             const std::vector<std::string> &environment)
    {
        set_uptime(at);
        bench::Run run = wish_.like;
        run.command = command;
        run.nested = true;
        run.clock = at;
        run.environment = environment;
        const bench::Trace trace = root_.run(run);
        const std::vector<std::string> effects =
            watch_.effects_of(trace, moment_text(at), cause == "power on");
        day_.cut = day_.cut || trace.timed_out;
        repeats_ = effects.empty() && command == last_command_ && same_events(trace.events, last_events_);
        last_command_ = command;
        last_events_ = trace.events;
        const int64_t seconds = (trace.clock_end + kMicro / 2) / kMicro - at;
        keep(trace);
        if (effects.empty() && cause == "cron") {
            add_quiet(what, at);
            return;
        }
        end_quiet();
        day_.rows.push_back({stamp(at), "", cause, what, 1, seconds, effects});
    }

    // The kernel's clock since power on.
    void set_uptime(int64_t at)
    {
        const std::string seconds = std::to_string(at - boot_ + 10);
        root_.write("/proc/uptime", seconds + ".00 " + seconds + ".00\n");
    }

    // For the caller's questions about tools; quiet runs are all alike.
    void keep(const bench::Trace &trace)
    {
        if (day_.traces.size() < kMostTraces) {
            day_.traces.push_back(trace);
        }
    }

    // The connection check asks no clock. When it has done the same twice, with nothing between and no
    // effect, it does so until something else runs; answers of tools that the caller varies may be used up
    // before.
    bool is_settled(const std::string &command) const
    {
        return repeats_ && !answers_vary_ && command == kCheck && last_command_ == kCheck;
    }

    // ---- quiet minutes: what cron does without effect

    void add_quiet(const std::string &what, int64_t at)
    {
        const auto there = std::find_if(quiet_.begin(), quiet_.end(),
                                        [&](const Quiet &quiet) { return quiet.what == what; });
        if (there == quiet_.end()) {
            quiet_.push_back({what, at, at, 1});
        } else {
            there->end = at;
            ++there->times;
        }
    }

    void end_quiet()
    {
        for (const Quiet &quiet : quiet_) {
            const std::string begin = stamp(quiet.begin);
            const std::string end = quiet.end == quiet.begin ? "" : stamp(quiet.end);
            day_.rows.push_back({begin, end, "quiet", quiet.what, quiet.times, 0, {}});
        }
        quiet_.clear();
    }

    // ---- cron

    void cron(int64_t minute)
    {
        const std::string text = root_.read("/etc/crontab").value_or("");
        if (text != crontab_text_) {
            crontab_text_ = text;
            crontab_ = read_crontab(text, {std::begin(kUsers), std::end(kUsers)});
            report_crontab(minute);
        }
        use_zone(zone_rule(root_));
        for (const Job &job : jobs_due(minute)) {
            if (is_settled(job.command)) {
                add_quiet(job.command, minute);
                continue;
            }
            run(job.command, "cron", job.command, minute, environment());
        }
    }

    void report_crontab(int64_t minute)
    {
        if (!crontab_.refusal) {
            return;
        }
        const Refusal &refusal = *crontab_.refusal;
        const std::string where = refusal.line == 0 ? "" : "line " + std::to_string(refusal.line) + ", ";
        end_quiet();
        day_.rows.push_back({stamp(minute),
                             "",
                             "cron",
                             "/etc/crontab is refused whole",
                             1,
                             0,
                             {where + "\"" + bench::escape(refusal.text) + "\": " + refusal.why,
                              "nothing in it runs until it is written anew without that line"}});
    }

    // When the clock on the wall jumps ahead by up to three hours, jobs of the hours left out run once then;
    // when it goes back by as much, those that had run do not run again. Jobs for each minute or hour follow
    // the clock.
    std::vector<Job> jobs_due(int64_t minute)
    {
        constexpr int64_t kFar = int64_t{3} * 60;
        const int64_t wall = minute / kMinute + local_time(minute).tm_gmtoff / kMinute;
        const int64_t jump = wall_ == 0 ? 0 : wall - wall_ - 1;
        std::vector<Job> due;
        const auto add = [&](int64_t utc_minute, bool wild, bool fixed) {
            const tm local = wall_fields(utc_minute);
            for (const Job &job : crontab_.jobs) {
                if ((job.wild ? wild : fixed) && is_due(job, local)) {
                    due.push_back(job);
                }
            }
        };
        if (jump == 0 || jump > kFar || jump < -kFar) {
            add(wall, true, true);
            wall_ = wall;
        } else if (jump > 0) {
            add(wall, true, false);
            while (wall_ < wall) {
                add(++wall_, false, true);
            }
        } else {
            add(wall, true, false);  // fixed jobs wait until the clock is past what has been
        }
        return due;
    }

    // A minute of the clock on the wall as date and time.
    static tm wall_fields(int64_t wall)
    {
        const time_t seconds = wall * kMinute;
        tm fields = {};
        (void)gmtime_r(&seconds, &fields);
        return fields;
    }

    std::vector<std::string> environment() const
    {
        std::vector<std::string> list = {"HOME=/root", "LOGNAME=root", "SHELL=/bin/sh", "PATH=/usr/bin:/bin"};
        for (const auto &[name, value] : crontab_.variables) {
            list.push_back(name + "=" + value);
        }
        return list;
    }

    // ---- events

    void happen(int64_t minute)
    {
        for (const Event &event : wish_.events) {
            if (start_ + event.minute * kMinute == minute) {
                happen(event.what, minute);
            }
        }
    }

    void happen(const std::string &what, int64_t minute)
    {
        const std::string word = what.substr(0, what.find(' '));
        const std::string rest = what.size() > word.size() ? what.substr(word.size() + 1) : "";
        if (word == "wan-lost") {
            run(": >/.bench/board/line.lost; " + link_down(), "event", what, minute, {});
        } else if (word == "wan-back") {
            run("rm -f /.bench/board/line.lost; " + link_up(), "event", what, minute, {});
        } else if (word == "wan-address") {
            address_ = rest;
            run(is_dial_up() ? link_down() + "; " + link_up() : lease(), "event", what, minute, {});
        } else if (word == "set") {
            const size_t equals = rest.find('=');
            root_.set({{rest.substr(0, equals), bench::unescape(rest.substr(equals + 1))}});
            run(":", "event", "set " + rest.substr(0, equals), minute, {});
        } else {
            run("/usr/sbin/" + what, "event", what, minute, {});
        }
    }

    bool is_dial_up() const { return root_.setting("wan_mode").value_or("").starts_with('p'); }

    std::string interface() const
    {
        const std::string name = root_.setting("wan_ifname").value_or("");
        return !name.empty() ? name : is_dial_up() ? "ppp0" : "nas0";
    }

    // The PPP daemon's own scripts, when there is a link that can go and come.
    std::string link_down()
    {
        return is_dial_up() ? "[ ! -s /etc/ppp/ip-down ] || sh /etc/ppp/ip-down ppp0 nas0 0 " + address_ +
                                  " " + kGateway
                            : ":";
    }

    std::string link_up()
    {
        if (!is_dial_up()) {
            return ":";
        }
        root_.set_interface({interface(), address_, 32, ""});
        return "DNS1=198.51.100.53 DNS2=198.51.100.54 sh /etc/ppp/ip-up ppp0 nas0 0 " + address_ + " " +
               kGateway;
    }

    std::string lease()
    {
        if (!root_.setting("wan_mode").value_or("").starts_with('d')) {
            throw bench::Error("wan-address: only a PPP or DHCP connection is given another address");
        }
        root_.set_interface({interface(), address_, 24, ""});
        return "interface=" + interface() + " ip=" + address_ + " subnet=255.255.255.0 router=" + kGateway +
               " dns=198.51.100.53 sh /etc/udhcpc.script bound";
    }

    static constexpr size_t kMostTraces = 200;

    const Wish &wish_;
    const std::function<void(const std::string &)> &progress_;
    bench::Root root_;
    Watch watch_;
    bool answers_vary_ = false;
    bool repeats_ = false;  // the last run was as the one before, of the same command
    std::string last_command_;
    std::vector<bench::Event> last_events_;
    Day day_;
    int64_t start_ = 0;
    int64_t now_ = 0;
    int64_t boot_ = 0;
    int64_t wall_ = 0;  // the minute of the clock on the wall that cron has come to; 0: none yet
    std::string date_;
    std::string address_ = "203.0.113.10";
    std::string crontab_text_;
    Crontab crontab_;
    std::vector<Quiet> quiet_;
};

bool is_address(const std::string &text)
{
    int parts[4];
    int end = 0;
    const int got =
        sscanf(text.c_str(), "%3d.%3d.%3d.%3d%n", &parts[0], &parts[1], &parts[2], &parts[3], &end);
    return got == 4 && static_cast<size_t>(end) == text.size() &&
           std::all_of(std::begin(parts), std::end(parts), [](int part) { return part >= 0 && part <= 255; });
}

// Why nothing of that kind can happen; empty when it can.
std::string fault_of(const std::string &what)
{
    const std::string word = what.substr(0, what.find(' '));
    const std::string rest = what.size() > word.size() ? what.substr(word.size() + 1) : "";
    if (word == "wan-lost" || word == "wan-back") {
        return rest.empty() ? "" : word + " takes no word";
    }
    if (word == "wan-address") {
        return is_address(rest) ? "" : "wan-address needs an address";
    }
    if (word == "set") {
        return rest.find('=') != std::string::npos && rest[0] != '=' ? "" : "set needs KEY=VALUE";
    }
    if (word == "rc") {
        return !rest.empty() ? "" : "rc needs its words";
    }
    return "an event is wan-lost, wan-back, wan-address ADDRESS, set KEY=VALUE or rc WORDS";
}

}  // namespace

Event parse_event(const std::string &text, const tm &from)
{
    int hour = 0;
    int minute = 0;
    int end = 0;
    if (sscanf(text.c_str(), "%2d:%2d %n", &hour, &minute, &end) != 2 || end == 0 || hour < 0 || hour > 23 ||
        minute < 0 || minute > 59) {
        throw bench::Error("an event begins with its time, like '14:05 wan-lost'");
    }
    const std::string what = text.substr(static_cast<size_t>(end));
    const std::string fault = fault_of(what);
    if (!fault.empty()) {
        throw bench::Error(fault);
    }
    constexpr int kDay = 24 * 60;
    return {(hour * 60 + minute - from.tm_hour * 60 - from.tm_min + kDay) % kDay, what};
}

Day play(const bench::Target &target, const bench::Setup &setup, const Wish &wish,
         const std::function<void(const std::string &)> &progress)
{
    const char *before = getenv("TZ");
    const std::string zone = before == nullptr ? "" : before;
    Day day = Player(target, setup, wish, progress).day();
    if (before == nullptr) {
        (void)unsetenv("TZ");
    } else {
        (void)setenv("TZ", zone.c_str(), 1);
    }
    tzset();
    return day;
}

}  // namespace day
