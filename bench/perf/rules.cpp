// Rule build: `rc firewall create` with outbound access rules of one line each.

#include <sys/inotify.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "bench/perf/measuring.h"
#include "bench/perf/perf.h"

namespace perf {

namespace {

constexpr const char *kGroup = "Rule build (rc firewall create), outbound rules of one line";
constexpr const char *kRules = "/tmp/rules";
constexpr const char *kCrontab = "/etc/crontab";
constexpr const char *kTriggers = "/proc/special/pnat";
constexpr const char *kOutputs[] = {kRules, kCrontab, kTriggers};
constexpr int kSmallest = 10;
constexpr int kSmall = 100;
constexpr int kLarge = 1000;
constexpr int kHuge = 5000;
constexpr int kHugeFiles = 32;

// Whose services the rules name.
enum class Services {
    kImage,  // eight of those that the image's defaults have
    kOwn,    // as many of the user's own as there are rules, each named by one rule
};

std::string own_service(int i)
{
    return "SERVICE-" + std::to_string(i);
}

std::string access_rules(int count, Services services)
{
    constexpr const char *kServices[] = {"HTTP", "FTP", "SMTP", "POP3", "SSH", "TELNET", "IMAP", "SMB"};
    std::string list;
    for (int i = 0; i < count; ++i) {
        list += "1:" +
                (services == Services::kOwn ? own_service(i)
                                            : kServices[static_cast<size_t>(i) % std::size(kServices)]) +
                (i % 2 == 0 ? ":0" : ":2") + ":192.168.0." + std::to_string(2 + i % 250) + ":0.0.0.0/0:0\x01";
    }
    return list;
}

std::string definitions(int count)
{
    std::string list;
    for (int i = 0; i < count; ++i) {
        list += own_service(i) + ":tcp:" + std::to_string(1024 + i) + "-" + std::to_string(1024 + i) + "\x01";
    }
    return list;
}

std::vector<bench::Setting> with_rules(std::vector<bench::Setting> settings, int count, Services services)
{
    for (bench::Setting &setting : settings) {
        if (setting.key == "fw_in_rules") {
            setting.value.clear();
        } else if (setting.key == "fw_out_rules") {
            setting.value = access_rules(count, services);
        } else if (setting.key == "fw_services" && services == Services::kOwn) {
            setting.value = definitions(count);
        }
    }
    return settings;
}

bench::Setup router(const bench::Target &target, int count, Services services)
{
    bench::Setup setup;
    setup.image_defaults = true;
    setup.settings = with_rules(bench::image_settings(target.image), count, services);
    setup.interfaces = {{"ppp0", "203.0.113.10", 32}, {"br0", "192.168.0.1", 24}};
    return setup;
}

const Words kBuild = {kRc, "firewall", "create"};

// Counts how often rc opens the store while it builds the rules. Throws when it writes the store, too: then
// the store was not complete.
int count_reads(bench::Root &root)
{
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (watch < 0 ||
        inotify_add_watch(watch, root.host_path("/tmp/nvram").c_str(), IN_OPEN | IN_CLOSE | IN_MODIFY) < 0) {
        throw bench::Error("cannot watch the settings store");
    }
    (void)measure(root, {kBuild}, {});
    alignas(inotify_event) char events[65536];
    int reads = 0;
    ssize_t got = 0;
    while ((got = read(watch, events, sizeof events)) > 0) {
        for (ssize_t at = 0; at < got;) {
            inotify_event event;
            memcpy(&event, events + at, sizeof event);
            reads += (event.mask & IN_OPEN) != 0 ? 1 : 0;
            if ((event.mask & (IN_MODIFY | IN_Q_OVERFLOW)) != 0) {
                throw bench::Error("the settings store was written, or too much happened to it");
            }
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
    close(watch);
    return reads;
}

std::string wanted(const char *path)
{
    std::string name = path;
    for (char &c : name) {
        c = c == '/' ? '_' : c;
    }
    return "/tmp/wanted" + name;
}

// A router with so many rules, the commands that are compared on it, and what they took.
struct Case {
    int count;
    bench::Root root;
    std::string rules = {};  // what rc wrote
    int reads = 0;
    Words floor = {};
    Samples ours = {};
    Samples floors = {};

    Case(const bench::Target &target, int rule_count, Services services = Services::kImage)
        : count(rule_count), root(target, router(target, count, services))
    {
        (void)measure(root, {kBuild}, {});
        reads = count_reads(root);
        rules = root.read(kRules).value_or("");
        floor = {inside(PERF_RULES_FLOOR), std::to_string(reads), "/tmp/nvram"};
        for (const char *path : kOutputs) {
            root.write(wanted(path), root.read(path).value_or(""));
            floor.insert(floor.end(), {wanted(path), path});
        }
    }

    // The files must hold what rc writes, whoever wrote them.
    void check(const std::string &who)
    {
        for (const char *path : kOutputs) {
            if (root.read(path) != root.read(wanted(path))) {
                throw bench::Error(who + " and rc differ in " + path);
            }
        }
    }
};

std::string name_of(int count, const char *what)
{
    return (count >= 1000 ? std::to_string(count / 1000) + ",000" : std::to_string(count)) + " rules, " +
           what;
}

Figure compared(const std::string &name, const char *unit, double ours, double other)
{
    Figure figure;
    figure.group = kGroup;
    figure.name = name;
    figure.unit = unit;
    figure.ours = ours;
    figure.against = "floor";
    figure.other = other;
    figure.ratio = ours / other;
    return figure;
}

void count_instructions(Case &one, const std::string &name, double goal, std::vector<Figure> &figures)
{
    const double ours = instructions(one.root, kBuild);
    Figure figure = compared(name, "instr", ours, instructions(one.root, one.floor));
    if (goal > 0) {
        figure.goal = "<= " + std::to_string(static_cast<int>(goal / 1e6)) + ",000,000";
        figure.met = ours <= goal;
    }
    figures.push_back(figure);
}

// Times of all cases in rounds, so that a busy spell of the machine does not hit one of them alone.
void measure_times(const std::vector<Case *> &cases, int runs)
{
    constexpr int kRounds = 4;
    for (int round = 0; round < kRounds; ++round) {
        for (Case *one : cases) {
            Conditions conditions;
            conditions.runs = std::max(1, runs / kRounds);
            conditions.files = one->count == kHuge ? kHugeFiles : 0;
            const std::vector<Samples> samples = measure(one->root, {kBuild, one->floor}, conditions);
            one->ours.insert(one->ours.end(), samples[0].begin(), samples[0].end());
            one->floors.insert(one->floors.end(), samples[1].begin(), samples[1].end());
            one->check("the floor");
        }
    }
}

void add_time(const Case &one, std::vector<Figure> &figures)
{
    const Spread ours = spread(one.ours, &Sample::own);
    const Spread floor = spread(one.floors, &Sample::own);
    const char *what = one.count == kHuge ? "at most 32 open files" : "processor time";
    Figure figure = compared(name_of(one.count, what), "us", ours.least, floor.least);
    figure.median = ours.median;
    figures.push_back(figure);
}

void add_growth(const Case &small, const Case &large, std::vector<Figure> &figures)
{
    const double lines = large.count - small.count;
    const double from = spread(small.ours, &Sample::own).least;
    const double to = spread(large.ours, &Sample::own).least;
    const double floor_from = spread(small.floors, &Sample::own).least;
    const double floor_to = spread(large.floors, &Sample::own).least;
    Figure line = compared("each further line", "us", (to - from) / lines, (floor_to - floor_from) / lines);
    line.goal = "<= 0.5 us";
    line.met = line.ours <= 0.5;
    figures.push_back(line);
    Figure growth;
    growth.group = kGroup;
    growth.name = "1,000 rules against 100";
    growth.unit = "us";
    growth.ours = to;
    growth.against = "100 rules";
    growth.other = from;
    growth.ratio = to / from;
    growth.goal = "<= 1.6";
    growth.met = *growth.ratio <= 1.6;
    figures.push_back(growth);
}

// A shell script doing the same job.
struct Script {
    const char *file;
    const char *name;
    int goal;  // rc takes at most this fraction of its time; 0: no goal
};

void compare_script(Case &one, const Script &script, const Effort &effort, std::vector<Figure> &figures)
{
    Conditions conditions;
    conditions.runs = effort.script_runs;
    for (const char *path : kOutputs) {
        one.root.write(path, "");
    }
    const Words words = {"/.bench/busybox", "sh", inside(std::string(PERF_SCRIPTS) + "/" + script.file)};
    const Spread theirs = spread(measure(one.root, {words}, conditions)[0], &Sample::all);
    one.check(script.file);
    const Spread ours = spread(one.ours, &Sample::own);
    Figure figure = compared(name_of(one.count, "processor time"), "us", ours.least, theirs.least);
    figure.median = ours.median;
    figure.against = script.name;
    if (script.goal > 0) {
        figure.goal = "<= 1/" + std::to_string(script.goal);
        figure.met = *figure.ratio * script.goal <= 1;
    }
    figures.push_back(figure);
}

}  // namespace

std::vector<bench::Setting> image_with_rules(const bench::Target &target, int count)
{
    return with_rules(bench::image_settings(target.image), count, Services::kImage);
}

void rule_build(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures)
{
    Case smallest(target, kSmallest);
    Case small(target, kSmall);
    Case large(target, kLarge);
    Case huge(target, kHuge);
    Case own(target, kLarge, Services::kOwn);
    count_instructions(smallest, name_of(kSmallest, "instructions"), 1e6, figures);
    count_instructions(small, name_of(kSmall, "instructions"), 0, figures);
    count_instructions(large, name_of(kLarge, "instructions"), 6e6, figures);
    count_instructions(own, name_of(kLarge, "1,000 definitions, instr"), 5e6, figures);
    measure_times({&smallest, &small, &large, &huge}, effort.runs);
    for (const Case *one : {&smallest, &small, &large, &huge}) {
        add_time(*one, figures);
    }
    add_growth(small, large, figures);
    compare_script(small, {"rules_usual.sh", "usual script", 10}, effort, figures);
    compare_script(large, {"rules_usual.sh", "usual script", 30}, effort, figures);
    compare_script(small, {"rules_fast.sh", "script for speed", 0}, effort, figures);
    compare_script(large, {"rules_fast.sh", "script for speed", 0}, effort, figures);
}

}  // namespace perf
