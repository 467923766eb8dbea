// rc is killed before every call, and half-way through every write: what is left in the working copy and the
// flash is one of few states, and the next boot makes a whole store of it.
#include <algorithm>
#include <cstdio>
#include <set>

#include "tests/faults/faults.h"

namespace {

struct Scene {
    const char *name;
    bench::Setup setup;
    bench::Run run;
};

bench::Run words(std::vector<std::string> all)
{
    bench::Run run;
    run.words = std::move(all);
    return run;
}

std::vector<Scene> make_scenes(const Trial &trial)
{
    const Verb init = {"init", ""};
    std::vector<bench::Setting> settings = rich_settings(trial.target, init);
    bench::Setup boot = rich_setup();
    boot.settings.reset();
    bench::Setup valid = boot;
    valid.files.push_back({"/dev/mtdblock/3", flash_with(bench::store_bytes(settings))});
    bench::Setup blank = boot;
    blank.files.push_back({"/dev/mtdblock/3", std::string(0x20000, '\xff')});
    const auto with = [&](const char *key) {
        std::vector<bench::Setting> flagged = settings;
        for (bench::Setting &setting : flagged) {
            setting.value = setting.key == key ? "1" : setting.value;
        }
        bench::Setup setup = boot;
        setup.files.push_back({"/dev/mtdblock/3", flash_with(bench::store_bytes(flagged))});
        return setup;
    };
    // The working copy is newer than the flash.
    bench::Setup running = valid;
    running.settings = settings;
    running.settings->front().value += "-newer";
    std::erase_if(*running.settings, [](const bench::Setting &one) { return one.key == "wifi_features"; });
    std::erase_if(running.defaults, [](const bench::Setting &one) { return one.key == "wifi_features"; });
    running.defaults.push_back({"wifi_features", ""});
    bench::Run commit = words({"rc-direct", "nvram_commit"});
    commit.program = trial.target.program.parent_path() / "rc-direct";
    return {{"init, flash valid", valid, words({"rc", "init"})},
            {"init, flash blank", blank, words({"rc", "init"})},
            {"init, restore", with("restore_default"), words({"rc", "init"})},
            {"init, upgrade", with("upgrade_default"), words({"rc", "init"})},
            {"commit", running, commit},
            {"wlan start, which commits", running, words({"rc", "wlan", "start"})}};
}

struct Count {
    long runs = 0;
    std::map<std::string, long> store;
    std::map<std::string, long> flash;
    std::map<std::string, long> boot;  // what the next boot finds
    std::vector<std::string> wrong;
};

// Whole stores that a run goes through, and the beginnings of them.
bool is_beginning(const std::string &store, const std::set<std::string> &whole)
{
    return std::any_of(whole.begin(), whole.end(),
                       [&](const std::string &one) { return one.starts_with(store); });
}

std::string store_state(const Outcome &outcome, const Outcome &usual,
                        const std::optional<std::string> &before, const std::set<std::string> &whole)
{
    const std::optional<std::string> &store = outcome.store;
    if (store == before) {
        return "before";
    }
    if (store == usual.store) {
        return "after";
    }
    if (!store) {
        return "missing";
    }
    if (store->empty()) {
        return "empty";
    }
    if (is_whole(*store)) {
        return "between";
    }
    return is_beginning(*store, whole) ? "prefix" : "";
}

std::string flash_state(const Outcome &outcome, const Outcome &usual,
                        const std::optional<std::string> &before)
{
    if (outcome.flash == before) {
        return "before";
    }
    if (outcome.flash == usual.flash) {
        return "after";
    }
    return store_in(outcome.flash.value_or("")) ? "between" : "wrong checksum";
}

// What the next boot makes of a flash: its own store, or the defaults. Empty when that is not a whole store.
std::string boot_with(const Trial &trial, const std::string &flash)
{
    bench::Setup setup = rich_setup();
    setup.settings.reset();
    setup.files.push_back({"/dev/mtdblock/3", flash});
    bench::Root root(trial.target, setup);
    (void)root.run(words({"rc", "init"}));
    const std::string store = root.read("/tmp/nvram").value_or("");
    const bool valid = store_in(root.read("/dev/mtdblock/3").value_or("")).has_value();
    if (!is_whole(store) || !valid) {
        return "";
    }
    Values booted = values_of(store);
    Values kept = values_of(store_in(flash).value_or(root.read("/etc/default").value_or("")));
    booted.erase("wifi_present");
    kept.erase("wifi_present");
    for (const char *flag : {"restore_default", "upgrade_default"}) {
        if (kept[flag] == "1") {
            return "does the rest";
        }
    }
    return booted != kept ? "" : store_in(flash) ? "the flash's settings" : "the defaults";
}

// Before each call, or where a run has hundreds, before each eleventh of a kind, unless all are asked for.
// Writes are never left out.
std::vector<Fault> kills_of(const Outcome &usual, bool deep)
{
    std::vector<Fault> faults;
    for (size_t i = 0; i < kCalls.size(); ++i) {
        const long step = deep || usual.counts[i] < 30 ? 1 : 11;
        for (long n = 1; n <= usual.counts[i]; n += std::string(kCalls[i]) == "write" ? 1 : step) {
            faults.push_back({kCalls[i], n, "kill", 0});
            if (std::string(kCalls[i]) == "write") {
                faults.push_back({kCalls[i], n, "half", 0});
            }
        }
    }
    return faults;
}

Count try_scene(const Trial &trial, const Scene &scene)
{
    bench::Root root(trial.target, scene.setup);
    const std::optional<std::string> store = root.read("/tmp/nvram");
    const std::optional<std::string> flash = root.read("/dev/mtdblock/3");
    const Outcome usual = run_faults(root, trial.target, scene.run, {}).front();
    const std::vector<Outcome> outcomes =
        run_faults(root, trial.target, scene.run, kills_of(usual, trial.deep));
    std::set<std::string> whole;
    for (const Outcome &outcome : outcomes) {
        if (outcome.store && is_whole(*outcome.store)) {
            whole.insert(*outcome.store);
        }
    }
    Count count;
    std::map<std::string, std::string> boots;  // flash -> what the next boot finds
    for (const Outcome &outcome : outcomes) {
        const std::string in_store = store_state(outcome, usual, store, whole);
        const std::string bytes = outcome.flash.value_or("");
        if (!boots.contains(bytes)) {
            boots[bytes] = boot_with(trial, bytes);
        }
        ++count.runs;
        ++count.store[in_store];
        count.flash[flash_state(outcome, usual, flash)]++;
        count.boot[boots[bytes]]++;
        const bool killed = outcome.end == "signal" || outcome.fault.call == "none";
        if (in_store.empty() || boots[bytes].empty() || !killed) {
            count.wrong.push_back(outcome.fault.text() + " (" + outcome.path + ")");
        }
    }
    return count;
}

void print_counts(const char *what, const std::map<std::string, long> &counts)
{
    printf("  %-10s", what);
    for (const auto &[state, number] : counts) {
        printf("  %s: %ld", state.empty() ? "WRONG" : state.c_str(), number);
    }
    putchar('\n');
}

}  // namespace

int try_kills(const Trial &trial)
{
    bool right = true;
    for (const Scene &scene : make_scenes(trial)) {
        const Count count = try_scene(trial, scene);
        printf("%s: %ld runs\n", scene.name, count.runs);
        print_counts("store", count.store);
        print_counts("flash", count.flash);
        print_counts("next boot", count.boot);
        for (const std::string &wrong : count.wrong) {
            printf("  wrong: %s\n", wrong.c_str());
        }
        right = right && count.wrong.empty() && count.runs > 1;
    }
    return right ? 0 : 1;
}
