#include "bench/day/effects.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "bench/day/day.h"
#include "bench/show/changes.h"
#include "bench/show/timeline.h"

namespace day {

namespace {

constexpr const char *kFlag = "/proc/net/ipt_condition/schedule";
constexpr const char *kUp = "/tmp/wan_uptime";

std::set<std::string> lines_of(const std::string &text)
{
    std::set<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.insert(line);
    }
    return lines;
}

size_t count_missing(const std::set<std::string> &from, const std::set<std::string> &in)
{
    return static_cast<size_t>(
        std::count_if(from.begin(), from.end(), [&](const std::string &line) { return !in.contains(line); }));
}

std::string joined(const std::set<std::string> &words)
{
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

std::string counted(size_t number, const std::string &one)
{
    return std::to_string(number) + " " + one + (number == 1 ? "" : "s");
}

// What every run leaves, or what is told in words of its own.
bool is_told_otherwise(const std::string &path)
{
    for (const char *begin : {"/tmp/var/run/", "/var/run/", "/proc/", "/tmp/nvram", "/dev/mtdblock",
                              "/tmp/rules", "/tmp/wan_", "/tmp/dnshj", "/tmp/wl"}) {
        if (path.starts_with(begin)) {
            return true;
        }
    }
    return path == "/etc/resolv.conf" || path == "/etc/crontab";
}

void tell_rules(const bench::FileChange &change, std::vector<std::string> &effects)
{
    const std::set<std::string> before = lines_of(change.before);
    const std::set<std::string> after = lines_of(change.after);
    const size_t come = count_missing(after, before);
    const size_t go = count_missing(before, after);
    if (come + go != 0) {
        effects.push_back("packet filter: " + counted(come, "rule") + " come, " + std::to_string(go) + " go");
    }
}

void tell_name_servers(const bench::FileChange &change, std::vector<std::string> &effects)
{
    std::string servers;
    for (const std::string &line : bench::text_lines(change.after)) {
        if (line.starts_with("nameserver ")) {
            servers += (servers.empty() ? "" : ", ") + line.substr(11);
        }
    }
    effects.push_back("name servers: " + (servers.empty() ? "none" : servers));
}

void tell_crontab(const bench::FileChange &change, std::vector<std::string> &effects)
{
    for (const std::string &line : bench::text_lines(change.after)) {
        if (!line.empty() && !lines_of(change.before).contains(line) &&
            line.find("rc schedule") != std::string::npos) {
            effects.push_back("crontab: " + line);
        }
    }
}

// A line that acts by the schedule's state.
struct Scheduled {
    bool when_open = true;
    std::string dropped;  // whose every connection to the Internet it drops; empty where it does less
};

// The word behind an option; empty where it is not there.
std::string behind(const std::vector<std::string> &words, const std::string &option)
{
    const auto at = std::find(words.begin(), words.end(), option);
    return at == words.end() || at + 1 == words.end() ? "" : *(at + 1);
}

Scheduled scheduled_of(const std::string &line)
{
    std::istringstream in(line);
    const std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
    const auto has = [&](const char *word) {
        return std::find(words.begin(), words.end(), word) != words.end();
    };
    Scheduled scheduled = {behind(words, "condition") != "!", ""};
    if (behind(words, "-A") != "OUT_FILTER" || behind(words, "-j") != "DROP" || has("-p") || has("-d") ||
        has("--dst-range")) {
        return scheduled;
    }
    const std::string hosts = has("--src-range") ? behind(words, "--src-range") : behind(words, "-s");
    scheduled.dropped = hosts == "0.0.0.0/0" ? "all hosts of the LAN" : hosts;
    return scheduled;
}

// What the schedule's new state makes of the rules.
void tell_schedule(const std::string &rules, bool open, std::vector<std::string> &effects)
{
    size_t come = 0;
    size_t go = 0;
    std::set<std::string> dropped;
    for (const std::string &line : bench::text_lines(rules)) {
        if (line.find("--condition schedule") == std::string::npos) {
            continue;
        }
        const Scheduled scheduled = scheduled_of(line);
        const bool acts = scheduled.when_open == open;
        ++(acts ? come : go);
        if (acts && !scheduled.dropped.empty()) {
            dropped.insert(scheduled.dropped);
        }
    }
    std::string text = std::string("schedule ") + (open ? "opens: " : "closes: ");
    const auto from_now = [&] {
        return counted(come, "scheduled rule") + (come == 1 ? " acts" : " act") + " from now on";
    };
    const auto no_more = [&] {
        return counted(go, "scheduled rule") + (go == 1 ? " acts" : " act") + " no more";
    };
    text += open || go == 0 ? from_now() + (go == 0 ? "" : ", " + no_more())
                            : no_more() + (come == 0 ? "" : ", " + from_now());
    effects.push_back(text);
    for (const std::string &hosts : dropped) {
        effects.push_back("no Internet for " + hosts +
                          ": a scheduled rule drops all that they send, unless one "
                          "before it lets it out");
    }
}

void tell_settings(const bench::Trace &trace, std::vector<std::string> &effects)
{
    std::string keys;
    for (const bench::SettingChange &change : trace.settings) {
        keys += (keys.empty() ? "" : ", ") + change.key;
    }
    if (!keys.empty()) {
        effects.push_back("settings: " + keys);
    }
}

// "echo g3 on > /proc/led" as lamp and state.
bool read_lamp(const std::string &command, std::string &lamp, std::string &state)
{
    std::istringstream words(command);
    std::string echo;
    return command.find("/proc/led") != std::string::npos && words >> echo >> lamp >> state &&
           echo.ends_with("echo") && (state == "on" || state == "off");
}

}  // namespace

std::vector<std::string> Watch::effects_of(const bench::Trace &trace, const std::string &at, bool at_start)
{
    std::vector<std::string> effects;
    const std::string address = root_.read("/tmp/wan_ipaddr").value_or("");
    const bool up = root_.exists(kUp);
    const bool was_up = states_["Internet down"].since.empty() ? false : !states_["Internet down"].now;
    if (up != was_up || (at_start && !up)) {
        effects.push_back(up ? "Internet up" : "Internet down");
    }
    if (address != address_ && !address.empty()) {
        effects.push_back("Internet address " + address.substr(0, address.find_first_of("\r\n")));
        address_ = address;
    }
    const bool open = root_.read(kFlag).value_or("0").starts_with('1');
    if (open != states_["schedule open"].now) {
        tell_schedule(root_.read("/tmp/rules").value_or(""), open, effects);
    }
    watch_state("Internet down", !up, at);
    watch_state("schedule open", open, at);
    watch_lamps(trace, effects);
    if (!at_start) {
        watch_files(trace, effects);
        tell_settings(trace, effects);
    }
    watch_daemons(trace, effects);
    if (trace.timed_out) {
        effects.push_back(bench::cut_off(trace));
    }
    for (const std::string &line : trace.lines()) {
        if (line == "no default gateway") {
            effects.push_back(line);
        }
    }
    return effects;
}

void Watch::watch_state(const std::string &what, bool now, const std::string &at)
{
    State &state = states_[what];
    if (state.since.empty()) {
        state = {now, at};
    } else if (state.now != now) {
        if (state.now) {
            past_.push_back({what, {state.since, at}});
        }
        state = {now, at};
    }
}

void Watch::finish(std::vector<Span> &spans) const
{
    for (const auto &[what, times] : past_) {
        spans.push_back({what, times.first, times.second});
    }
    for (const auto &[what, state] : states_) {
        if (state.now) {
            spans.push_back({what, state.since, ""});
        }
    }
}

void Watch::watch_lamps(const bench::Trace &trace, std::vector<std::string> &effects)
{
    std::map<std::string, std::string> now = lamps_;
    std::string lamp;
    std::string state;
    for (const std::string &command : trace.commands()) {
        if (read_lamp(command, lamp, state)) {
            now[lamp] = state;
        }
    }
    // Scripts write there too; the last word is still there.
    std::istringstream last(root_.read("/proc/led").value_or(""));
    if (trace.file("/proc/led") != nullptr && last >> lamp >> state) {
        now[lamp] = state;
    }
    for (const auto &[name, is] : now) {
        if (lamps_[name] != is) {
            effects.push_back("lamp " + name + " " + is);
        }
    }
    lamps_ = now;
}

void Watch::watch_files(const bench::Trace &trace, std::vector<std::string> &effects)
{
    std::set<std::string> others;
    for (const bench::FileChange &change : trace.files) {
        const std::string path = bench::router_path(change.path);
        if (change.what == bench::FileChange::What::kRewritten || change.before == change.after) {
            continue;
        }
        if (path == "/tmp/rules") {
            tell_rules(change, effects);
        } else if (path == "/etc/resolv.conf") {
            tell_name_servers(change, effects);
        } else if (path == "/etc/crontab") {
            tell_crontab(change, effects);
        } else if (!is_told_otherwise(path)) {
            others.insert(path);
        }
    }
    if (!others.empty()) {
        effects.push_back("writes " + joined(others));
    }
}

void Watch::watch_daemons(const bench::Trace &trace, std::vector<std::string> &effects)
{
    constexpr std::string_view kProcess = "process.";
    std::set<std::string> now;
    for (const auto &entry : std::filesystem::directory_iterator(root_.directory() / ".bench/board")) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(kProcess)) {
            now.insert(name.substr(kProcess.size()));
        }
    }
    std::set<std::string> come;
    std::set<std::string> gone;
    std::set<std::string> again;
    std::set_difference(now.begin(), now.end(), daemons_.begin(), daemons_.end(),
                        std::inserter(come, come.end()));
    std::set_difference(daemons_.begin(), daemons_.end(), now.begin(), now.end(),
                        std::inserter(gone, gone.end()));
    for (const bench::Event &event : trace.events) {
        if (event.kind == bench::Kind::kTool && !event.words.empty()) {
            const std::string name = event.words[0].substr(event.words[0].rfind('/') + 1);
            if (now.contains(name) && daemons_.contains(name)) {
                again.insert(name);
            }
        }
    }
    daemons_ = now;
    for (const auto &[word, names] : {std::pair{"starts ", come}, {"ends ", gone}, {"starts anew ", again}}) {
        if (!names.empty()) {
            effects.push_back(word + joined(names));
        }
    }
}

}  // namespace day
