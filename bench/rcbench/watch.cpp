#include "bench/rcbench/watch.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "bench/rcbench/saves.h"
#include "forms/files.h"
#include "forms/known.h"

namespace rcbench {

namespace {

using Settings = std::vector<bench::Setting>;
using Traces = std::vector<bench::Trace>;

constexpr size_t kMostChanges = 12;

const bench::Setting *find(const Settings &settings, const std::string &key)
{
    const auto place = std::find_if(settings.begin(), settings.end(),
                                    [&](const bench::Setting &entry) { return entry.key == key; });
    return place == settings.end() ? nullptr : &*place;
}

// "lan_ipaddr=192.168.7.1, was 192.168.0.1", one of each setting that differs.
std::vector<std::string> changes(const Settings &before, const Settings &after)
{
    std::vector<std::string> lines;
    for (const bench::Setting &entry : after) {
        const bench::Setting *was = find(before, entry.key);
        if (was == nullptr || was->value != entry.value) {
            lines.push_back(entry.key + "=" + bench::escape(entry.value) +
                            (was == nullptr ? ", new" : ", was " + bench::escape(was->value)));
        }
    }
    for (const bench::Setting &entry : before) {
        if (find(after, entry.key) == nullptr) {
            lines.push_back(entry.key + " gone, was " + bench::escape(entry.value));
        }
    }
    return lines;
}

void print_changed_settings(const std::vector<std::string> &lines)
{
    for (size_t i = 0; i < std::min(lines.size(), kMostChanges); ++i) {
        printf("# %s\n", lines[i].c_str());
    }
    if (lines.size() > kMostChanges) {
        printf("# and %zu more\n", lines.size() - kMostChanges);
    }
}

void note_new_unknown_keys(const Settings &before, const Settings &after)
{
    std::vector<std::string> keys;
    for (const bench::Setting &entry : after) {
        if (find(before, entry.key) == nullptr) {
            keys.push_back(entry.key);
        }
    }
    forms::note_unknown_settings(keys);
}

// Nothing, with a note, where the file cannot be used as it is now.
std::optional<Settings> settings_now(const std::string &file)
{
    std::error_code error;
    if (!std::filesystem::exists(file, error)) {
        return std::nullopt;  // it is on its way back
    }
    try {
        return forms::read_settings_file(file);
    } catch (const forms::Failure &failure) {
        forms::note(std::string(failure.what()) + "; waiting for the next save");
        return std::nullopt;
    }
}

// True when all that was printed has arrived.
bool is_shown()
{
    return fflush(stdout) == 0 && ferror(stdout) == 0;
}

}  // namespace

int watch(const std::string &file, RouterRequest router, const std::vector<WishedRun> &runs,
          const bench::Target &target, const bench::Style &style)
{
    Saves saves(file);
    router.settings = forms::read_settings_file(file);
    note_unknown_keys(router, changed_keys(runs));
    Traces before = all_runs(router, runs, target, true);
    note_unmet(router, runs, target, before);
    printf("Watching %s: each save shows what it changes. Ctrl-C ends.\n", forms::shown(file).c_str());
    while (is_shown() && saves.wait()) {
        const std::optional<Settings> now = settings_now(file);
        const std::vector<std::string> lines = changes(*router.settings, now.value_or(*router.settings));
        if (!now || lines.empty()) {
            printf("%s", now ? "\nSaved, and no setting changed.\n" : "");
            continue;
        }
        printf("\n");
        print_changed_settings(lines);
        note_new_unknown_keys(*router.settings, *now);
        router.settings = *now;
        const Traces after = all_runs(router, runs, target, true);
        (void)print_differences(runs, before, after, style);
        before = after;
    }
    return Saves::is_over() ? forms::kDone : forms::kFailed;
}

}  // namespace rcbench
