// faults: rc under calls that fail, kills, and other runs of itself.
#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/faults/faults.h"

namespace {

void print_help()
{
    puts(
        "usage: faults [OPTIONS] calls|kills|overlaps [VERB...]\n"
        "Tries rc (beside this program) under faults and prints a table of what became of its runs.\n"
        "\n"
        "  calls            the N-th open, read, write... of each verb fails, once or from there on\n"
        "  kills            rc is killed before every call of init, of a commit and of rc wlan start,\n"
        "                   which commits too\n"
        "  overlaps         groups of runs side by side\n"
        "\n"
        "  --deep           every N (a few of each kind); --rounds is then 1000\n"
        "  --dry            calls: without rc's commands (but those it reads from), which is much faster\n"
        "  --rounds N       rounds of each group side by side (40)\n"
        "  --emulate FILE   FILE is rc for the router's processor\n"
        "  --list           the verbs; VERB is one of them, such as \"rc wan start (ipoa)\"\n"
        "  --help           this text\n"
        "\n"
        "Exit status: 0 all is as promised, 1 something is not, 2 wrong options, 3 could not be tried.");
}

int list_verbs()
{
    for (const Verb &verb : all_verbs()) {
        puts(verb.text().c_str());
    }
    return 0;
}

bench::Target target_for(const char *emulated)
{
    if (emulated == nullptr) {
        return bench::host_target(std::filesystem::read_symlink("/proc/self/exe").parent_path() / "rc");
    }
    return bench::emulated_target(emulated);
}

int run(const std::string &what, const Trial &trial)
{
    if (what == "calls") {
        return try_calls(trial);
    }
    if (what == "kills") {
        return try_kills(trial);
    }
    if (what == "overlaps") {
        return try_overlaps(trial);
    }
    fprintf(stderr, "faults: %s: not calls, kills or overlaps; see --help\n", what.c_str());
    return 2;
}

}  // namespace

int main(int count, char **words)
{
    const option options[] = {{"deep", no_argument, nullptr, 'd'},
                              {"dry", no_argument, nullptr, 'D'},
                              {"rounds", required_argument, nullptr, 'r'},
                              {"emulate", required_argument, nullptr, 'e'},
                              {"list", no_argument, nullptr, 'l'},
                              {"help", no_argument, nullptr, 'h'},
                              {nullptr, 0, nullptr, 0}};
    Trial trial;
    const char *emulated = nullptr;
    for (int letter = 0; (letter = getopt_long(count, words, "", options, nullptr)) != -1;) {
        switch (letter) {
            case 'd':
                trial.deep = true;
                trial.rounds = 1000;
                break;
            case 'D':
                trial.commands = false;
                break;
            case 'r':
                trial.rounds = atoi(optarg);
                break;
            case 'e':
                emulated = optarg;
                break;
            case 'l':
                return list_verbs();
            case 'h':
                print_help();
                return 0;
            default:
                return 2;
        }
    }
    if (optind >= count) {
        fputs("faults: usage error: calls, kills or overlaps is missing; see --help\n", stderr);
        return 2;
    }
    trial.target = target_for(emulated);
    trial.verbs.assign(words + optind + 1, words + count);
    try {
        return run(words[optind], trial);
    } catch (const std::exception &error) {
        fprintf(stderr, "faults: %s\n", error.what());
        return 3;
    }
}
