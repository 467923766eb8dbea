// packets-agree: walker and sets of the packet filter, compared on random packets over random rule sets that
// rc writes. The tests run a share of it; this runs as much as one likes.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/packets/judging.h"

namespace {

constexpr size_t kShown = 20;

int run(size_t rule_sets, size_t packets, uint64_t seed)
{
    using Clock = std::chrono::steady_clock;
    agreement::Dice dice(seed);
    agreement::Router router;
    agreement::Count count;
    std::chrono::duration<double> comparing{};
    const auto start = Clock::now();
    for (size_t i = 0; i < rule_sets; ++i) {
        const bench::RouterFilter filter = router.filter(agreement::random_settings(dice));
        const auto before = Clock::now();
        agreement::compare(filter, filter, packets, dice, count);
        comparing += Clock::now() - before;
    }
    const std::chrono::duration<double> all = Clock::now() - start;
    printf("%zu rule sets, %zu packets (%zu accepted, %zu translated): %zu disagreements\n", count.rule_sets,
           count.packets, count.accepted, count.translated, count.disagreements.size());
    printf("%.1f s, %.1f s of them for the comparison\n", all.count(), comparing.count());
    for (size_t i = 0; i < count.disagreements.size() && i < kShown; ++i) {
        printf("  %s\n", count.disagreements[i].c_str());
    }
    return count.disagreements.empty() ? 0 : 1;
}

int ask(size_t rule_sets, size_t packets, uint64_t seed)
{
    agreement::Dice dice(seed);
    agreement::Router router;
    agreement::Judged judged;
    for (size_t i = 0; i < rule_sets && judged.error.empty(); ++i) {
        agreement::ask_kernel(router.filter(agreement::judged_settings(dice)), packets, dice, judged);
    }
    if (!judged.error.empty()) {
        fprintf(stderr, "packets-agree: %s\n", judged.error.c_str());
        return 3;
    }
    printf("%zu rule sets, %zu packets (%zu to the router, %zu forwarded): %zu disagreements\n",
           judged.rule_sets, judged.packets, judged.local, judged.forwarded, judged.disagreements.size());
    for (const auto &[name, count] : judged.foreign) {
        printf("  %zu lines in other words: %s\n", count, name.c_str());
    }
    for (size_t i = 0; i < judged.disagreements.size() && i < kShown; ++i) {
        printf("  %s\n", judged.disagreements[i].c_str());
    }
    return judged.disagreements.empty() ? 0 : 1;
}

int ask_about_changes(size_t changes, size_t examples, uint64_t seed)
{
    agreement::Dice dice(seed);
    agreement::Router router;
    agreement::Judged judged;
    for (size_t i = 0; i < changes && judged.error.empty(); ++i) {
        const std::vector<bench::Setting> settings = agreement::judged_settings(dice);
        agreement::ask_kernel_about_change(router.filter(settings),
                                           router.filter(agreement::changed_settings(settings, dice)),
                                           examples, judged);
    }
    if (!judged.error.empty()) {
        fprintf(stderr, "packets-agree: %s\n", judged.error.c_str());
        return 3;
    }
    printf("%zu changes, %zu examples (%zu opened, %zu closed, %zu sent elsewhere): %zu disagreements\n",
           judged.rule_sets, judged.packets, judged.opened, judged.closed, judged.moved,
           judged.disagreements.size());
    for (size_t i = 0; i < judged.disagreements.size() && i < kShown; ++i) {
        printf("  %s\n", judged.disagreements[i].c_str());
    }
    return judged.disagreements.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv)
{
    const bool kernel = argc == 5 && strcmp(argv[1], "kernel") == 0;
    const bool changes = argc == 5 && strcmp(argv[1], "changes") == 0;
    if (argc != 4 && !kernel && !changes) {
        fputs(
            "usage: packets-agree [kernel] RULE-SETS PACKETS-FOR-EACH SEED\n"
            "       packets-agree changes CHANGES EXAMPLES-FOR-EACH-SIDE SEED\n",
            stderr);
        return 2;
    }
    char **words = argv + (kernel || changes ? 2 : 1);
    try {
        const size_t rule_sets = strtoul(words[0], nullptr, 10);
        const size_t packets = strtoul(words[1], nullptr, 10);
        const uint64_t seed = strtoull(words[2], nullptr, 10);
        return changes  ? ask_about_changes(rule_sets, packets, seed)
               : kernel ? ask(rule_sets, packets, seed)
                        : run(rule_sets, packets, seed);
    } catch (const std::exception &error) {
        fprintf(stderr, "packets-agree: %s\n", error.what());
        return 3;
    }
}
