// One call of rc fails, or all from there on: rc ends by itself, no setting is lost, no descriptor stays
// open, the flash is valid.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <mutex>

#include "tests/faults/faults.h"

namespace {

// The errors that each kind of call fails with, in turns.
const std::map<std::string, std::vector<int>> kErrors = {
    {"open", {EIO, EMFILE, ENOMEM, EINTR}},
    {"read", {EIO, ENOMEM, EINTR}},
    {"write", {ENOSPC, EIO, EINTR}},
    {"seek", {EIO}},
    {"lock", {EAGAIN, EINTR, EIO}},
    {"memory", {ENOMEM}},
    {"fork", {EAGAIN, ENOMEM}},
    {"pipe", {EMFILE}},
    {"socket", {EMFILE, ENOMEM}},
    {"ioctl", {EIO}},
    {"stat", {EIO, ENOMEM}},
    {"unlink", {EIO}},
    {"poll", {EINTR}},
};

// Read by rc init for what it writes to wifi_present.
constexpr const char *kProbed = "/proc/bus/pci/00";

struct Line {
    long runs = 0;
    long reached = 0;
    long status = 0;    // ended with a status of its own
    long memory = 0;    // ended by the signal stated for memory
    long pauses = 0;    // without an end of its own: the bench's limit of pauses
    long cut = 0;       // working copy cut short by the write that failed
    long defaults = 0;  // rc init could not read the flash
    long flash = 0;     // flash cut short by the write that failed
    long wrong = 0;
};

struct Table {
    std::mutex mutex;
    std::map<std::string, Line> lines;
    std::vector<std::string> complaints;
};

// What a run is judged by.
struct Ground {
    const Verb &verb;
    Values before;  // what the user has: in the working copy, or, for rc init, in the flash
    Values usual;
};

bool is_init(const Verb &verb)
{
    return verb.service == "init";
}

// Whether rc init had no way to the flash's settings, which it tries twice.
bool flash_unreadable(const Ground &ground, const Outcome &outcome)
{
    return is_init(ground.verb) && outcome.fault.what == "on" &&
           (outcome.flash_reads > 1 || outcome.fault.call == "memory");
}

// What is left of the settings. Where rc init leaves no working copy, the next command makes one of the
// flash.
Values settings_left(const Ground &ground, const Outcome &outcome)
{
    if (outcome.store || !is_init(ground.verb)) {
        return values_of(outcome.store.value_or(""));
    }
    return values_of(store_in(outcome.flash.value_or("")).value_or(""));
}

// Settings that are neither as the user has them nor as a run without faults leaves them.
std::string lost_settings(const Ground &ground, const Outcome &outcome)
{
    const Values after = settings_left(ground, outcome);
    std::string lost;
    for (const auto &[key, value] : ground.before) {
        const auto found = after.find(key);
        const auto usual = ground.usual.find(key);
        // Not the user's: found out at each boot.
        const bool probed = key == "wifi_present" && outcome.path == kProbed;
        if (found == after.end() || (found->second != value && !probed &&
                                     (usual == ground.usual.end() || found->second != usual->second))) {
            lost += " " + key;
        }
    }
    return lost;
}

bool judge_end(const Ground &ground, const Outcome &outcome, Line &line)
{
    if (outcome.end == "exit") {
        ++line.status;
        return may_end_with(ground.verb, outcome.number);
    }
    if (outcome.end == "signal" && outcome.number == SIGABRT && outcome.fault.call == "memory") {
        ++line.memory;
        return true;
    }
    if (outcome.end == "signal" && outcome.number == SIGKILL && ground.verb.service == "wan") {
        ++line.pauses;
        return true;
    }
    return false;
}

bool judge_store(const Ground &ground, const Outcome &outcome, Line &line, std::string &complaint)
{
    if (outcome.store_expected && !is_init(ground.verb)) {
        return true;
    }
    const std::string lost = lost_settings(ground, outcome);
    if (lost.empty()) {
        return true;
    }
    if (outcome.store_writes > 0) {
        ++line.cut;
        return true;
    }
    if (flash_unreadable(ground, outcome)) {
        ++line.defaults;
        return true;
    }
    complaint += "; lost:" + lost.substr(0, 300);
    return false;
}

bool judge_flash(const Outcome &outcome, Line &line)
{
    if (outcome.flash_expected || (outcome.flash && store_in(*outcome.flash))) {
        return true;
    }
    const bool own = outcome.flash_writes > 0;
    line.flash += own ? 1 : 0;
    return own;
}

void judge(const Ground &ground, const Outcome &outcome, Table &table)
{
    const std::lock_guard guard(table.mutex);
    Line &line = table.lines[outcome.fault.call];
    ++line.runs;
    line.reached += outcome.path != "-" ? 1 : 0;
    std::string complaint;
    if (!judge_end(ground, outcome, line)) {
        complaint += "; ended with " + outcome.end + " " + std::to_string(outcome.number);
    }
    if (outcome.left != 0) {
        complaint += "; descriptors left: " + std::to_string(outcome.left);
    }
    (void)judge_store(ground, outcome, line, complaint);
    if (!judge_flash(outcome, line)) {
        complaint += "; the flash is not valid";
    }
    if (!complaint.empty()) {
        ++line.wrong;
        table.complaints.push_back(ground.verb.text() + ", " + outcome.fault.text() + " (" + outcome.path +
                                   ")" + complaint);
    }
}

// Which of `count` calls fail: all, or one that differs from verb to verb.
std::vector<long> chosen(const Verb &verb, long count, bool deep)
{
    std::vector<long> numbers;
    for (long n = 1; deep && n <= count; ++n) {
        numbers.push_back(n);
    }
    if (!deep && count > 0) {
        numbers.push_back(
            1 + static_cast<long>(std::hash<std::string>()(verb.text()) % static_cast<size_t>(count)));
    }
    return numbers;
}

void add_faults(std::vector<Fault> &faults, const Verb &verb, const std::string &call, long count, bool deep)
{
    const std::vector<int> &errors = kErrors.at(call);
    for (const long n : chosen(verb, count, deep)) {
        const size_t turn = static_cast<size_t>(n);
        const int once = errors[turn % errors.size()];
        int on = errors[(turn + 1) % errors.size()];
        on = on == EINTR ? errors[0] : on;  // nothing is interrupted for ever
        faults.push_back({call, n, "once", once});
        faults.push_back({call, n, "on", on});
        if (call == "read" || call == "write") {
            faults.push_back({call, n, "short", 0});
        }
    }
}

bench::Run run_of(const Verb &verb)
{
    bench::Run run;
    run.words = words_of(verb);
    run.clock = 1772782140;
    run.most_pauses = 100;
    return run;
}

void try_verb(const Trial &trial, const Verb &verb, Table &table)
{
    bench::Setup setup = rich_setup();
    const std::vector<bench::Setting> settings = rich_settings(trial.target, verb);
    const std::string store = bench::store_bytes(settings);
    setup.files.push_back({"/dev/mtdblock/3", flash_with(store)});
    setup.settings = settings;
    if (is_init(verb)) {
        setup.settings.reset();
    }
    if (!trial.commands) {
        setup.files.push_back({"/.bench/faults.dry", ""});
    }
    bench::Root root(trial.target, setup);
    if (!verb.before.empty()) {
        bench::Run before;
        before.words = {"/usr/sbin/rc", verb.before, "start"};
        (void)root.run(before);
    }
    const Outcome usual = run_faults(root, trial.target, run_of(verb), {}).front();
    std::vector<Fault> faults;
    for (size_t i = 0; i < kCalls.size(); ++i) {
        add_faults(faults, verb, kCalls[i], usual.counts[i], trial.deep);
    }
    const Ground ground = {verb, values_of(is_init(verb) ? store : root.read("/tmp/nvram").value_or("")),
                           values_of(usual.store.value_or(""))};
    for (const Outcome &outcome : run_faults(root, trial.target, run_of(verb), faults)) {
        judge(ground, outcome, table);
    }
}

void print_table(const Table &table)
{
    printf("%-8s %8s %8s %8s %8s %8s %8s %8s %8s %8s\n", "call", "runs", "reached", "status", "memory",
           "pauses", "cut", "defaults", "flash", "wrong");
    Line all;
    for (const auto &[call, line] : table.lines) {
        printf("%-8s %8ld %8ld %8ld %8ld %8ld %8ld %8ld %8ld %8ld\n", call.c_str(), line.runs, line.reached,
               line.status, line.memory, line.pauses, line.cut, line.defaults, line.flash, line.wrong);
        all.runs += line.runs;
        all.reached += line.reached;
        all.wrong += line.wrong;
    }
    printf("%-8s %8ld %8ld %62ld\n", "all", all.runs, all.reached, all.wrong);
}

}  // namespace

int try_calls(const Trial &trial)
{
    std::vector<Verb> verbs = all_verbs();
    if (!trial.verbs.empty()) {
        std::erase_if(verbs, [&](const Verb &verb) {
            return std::find(trial.verbs.begin(), trial.verbs.end(), verb.text()) == trial.verbs.end();
        });
    }
    if (!trial.deep && !trial.target.emulator.empty()) {
        std::erase_if(verbs, [number = 0](const Verb &) mutable { return number++ % 3 != 0; });
    }
    Table table;
    in_parallel(verbs.size(), [&](size_t i) {
        try {
            try_verb(trial, verbs[i], table);
        } catch (const std::exception &error) {
            const std::lock_guard guard(table.mutex);
            table.complaints.push_back(verbs[i].text() + ": " + error.what());
        }
    });
    print_table(table);
    for (const std::string &complaint : table.complaints) {
        printf("wrong: %s\n", complaint.c_str());
    }
    return table.complaints.empty() && !verbs.empty() ? 0 : 1;
}
