// Runs of rc side by side on a working copy that has few of the settings, so that each run adds some: none of
// what was there is lost, whatever the others do. Runs do without their commands, which leaves the store the
// more of their time. Rounds in which the processor was taken from a writer for longer than the others wait
// for it are counted, by a mark that a run leaves which waited in vain: nothing is lost in them either.
#include <algorithm>
#include <cstdio>
#include <random>
#include <set>

#include "tests/faults/faults.h"

namespace {

// Settings that runs set themselves.
const std::set<std::string> kSetByRuns = {"wan_ifname",    "ipoa_mode",       "wifi_channel",
                                          "wifi_features", "fw_services_def", "upgrade_default",
                                          "wifi_present"};

// A third of the settings, each with a value that is not the default.
std::vector<bench::Setting> few_settings(const bench::Target &target)
{
    std::vector<bench::Setting> few;
    size_t number = 0;
    for (const bench::Setting &setting : rich_settings(target, {"", ""})) {
        if (++number % 3 == 0 && setting.key != "wan_mode") {
            few.push_back({setting.key, setting.value + "0"});
        }
    }
    return few;
}

constexpr int kBootEvery = 4;

// Words of a group of runs; `init` only where the settings are also in the flash.
std::vector<std::string> group_of(size_t size, std::mt19937 &random)
{
    static const std::vector<Verb> verbs = all_verbs();
    std::vector<std::string> group;
    while (group.size() < size) {
        const Verb &verb = verbs[random() % verbs.size()];
        std::string words;
        for (const std::string &word : words_of(verb)) {
            words += word + " ";
        }
        group.push_back(words);
    }
    return group;
}

// Each round begins with the same files and leaves its working copy in /.bench/rounds. Some begin without a
// working copy, as the runs of a boot may that nothing has initialised: each makes one of the flash.
std::string script_of(size_t size, int rounds)
{
    std::mt19937 random(static_cast<unsigned>(size));
    std::string script = "cp=\"/.bench/busybox cp\"\n";
    for (int round = 1; round <= rounds; ++round) {
        // Some runs commit.
        script += "$cp /.bench/few /tmp/nvram; $cp /.bench/flash /dev/mtdblock/3\n";
        script += "/.bench/busybox rm -f /var/run/*\n";
        if (round % kBootEvery == 0) {
            script += "/.bench/busybox rm -f /tmp/nvram\n";
        }
        for (const std::string &words : group_of(size, random)) {
            script += words + ">/dev/null 2>&1 &\n";
        }
        const std::string kept = "/.bench/rounds/" + std::to_string(round);
        script += "wait; $cp /tmp/nvram " + kept + "\n";
        script += "[ ! -e /.bench/ran_out ] || /.bench/busybox mv /.bench/ran_out " + kept + ".out\n";
    }
    return script;
}

struct Rounds {
    int whole = 0;
    int in_vain = 0;    // with a run that waited in vain
    int lost = 0;       // with settings lost
    std::string first;  // what the first of these lost
};

void judge_round(const std::string &store, bool in_vain, const Values &few, Rounds &rounds)
{
    const Values after = values_of(store);
    std::string lost;
    for (const auto &[key, value] : few) {
        const auto found = after.find(key);
        if (found == after.end() || (found->second != value && !kSetByRuns.contains(key))) {
            lost += " " + key;
        }
    }
    rounds.whole += is_whole(store) ? 1 : 0;
    rounds.in_vain += in_vain ? 1 : 0;
    if (!lost.empty()) {
        ++rounds.lost;
        rounds.first = rounds.first.empty() ? lost : rounds.first;
    }
}

Rounds run_rounds(const Trial &trial, size_t size)
{
    const std::vector<bench::Setting> few = few_settings(trial.target);
    bench::Setup setup = rich_setup();
    setup.settings = few;
    const std::string store = bench::store_bytes(few);
    setup.files.push_back({"/.bench/flash", flash_with(store)});
    setup.files.push_back({"/.bench/few", store});
    setup.files.push_back({"/.bench/faults.dry", ""});
    setup.files.push_back({"/.bench/script", script_of(size, trial.rounds)});
    setup.directories.emplace_back("/.bench/rounds");
    bench::Root root(trial.target, setup);
    bench::Run run;
    run.program = trial.target.program.parent_path() / "rc-direct";
    run.words = {"rc-direct", "SYSTEM", "/bin/sh /.bench/script"};
    run.nested = true;
    run.guest = trial.target.preload.parent_path() / "libbench_faults.so";
    run.most_pauses = 100;
    run.limit = 3600;
    (void)root.run(run);
    Rounds rounds;
    for (int round = 1; round <= trial.rounds; ++round) {
        const std::string kept = "/.bench/rounds/" + std::to_string(round);
        judge_round(root.read(kept).value_or(""), root.exists(kept + ".out"), values_of(store), rounds);
    }
    return rounds;
}

}  // namespace

int try_overlaps(const Trial &trial)
{
    bool right = true;
    printf("%-14s %8s %8s %16s %8s\n", "side by side", "rounds", "whole", "waited in vain", "lost");
    for (const size_t size : {2, 3, 8}) {
        const Rounds rounds = run_rounds(trial, size);
        printf("%-14zu %8d %8d %16d %8d\n", size, trial.rounds, rounds.whole, rounds.in_vain, rounds.lost);
        if (!rounds.first.empty()) {
            printf("lost first:%s\n", rounds.first.substr(0, 400).c_str());
        }
        right = right && rounds.lost == 0 && rounds.whole == trial.rounds;
    }
    return right ? 0 : 1;
}
