// rcbench: the bench for people. A subcommand comes first; without one, rc is run.

#include <algorithm>

#include "bench/rcbench/command.h"

namespace rcbench {

namespace {

// clang-format off
constexpr CommandRow kCommands[] = {
    {"run",   "runs rc and shows what it does (may be left out)",             make_run},
    {"rules", "the packet filter by chain, with the settings behind its rules", make_rules},
    {"compare",    "what two rc programs do differently",                        make_compare},
    {"completion", "a script that teaches the shell to complete rcbench's words", make_completion},
    {"shell", "where the text of settings meets the shell",                    make_shell},
    {"explain", "what a setting, a value or a message of rc's means",           make_explain},
    {"packet", "which packet gets through, and by which rules",                 make_packet},
    {"reach",  "everything that gets through, what a change opens, promises",   make_reach},
    {"live",  "the router in a network of its own, with real tools and packets", make_live},
    {"day",    "a day by the clock: what cron starts, what happens to the line", make_day},
};
// clang-format on

const CommandRow *find_command(const std::string &name)
{
    const auto *row = std::find_if(std::begin(kCommands), std::end(kCommands),
                                   [&](const CommandRow &candidate) { return name == candidate.name; });
    return row == std::end(kCommands) ? nullptr : row;
}

// rcbench itself is its first subcommand, and its help has the list of all.
Command whole_program()
{
    Command command = kCommands[0].make();
    command.program.name = "rcbench";
    command.program.usage.push_back("SUBCOMMAND [OPTIONS]...");
    for (const CommandRow &row : kCommands) {
        command.program.commands.push_back({row.name, "", row.summary});
    }
    return command;
}

int work(Words words)
{
    const CommandRow *row = words.empty() ? nullptr : find_command(words[0]);
    if (row != nullptr) {
        words.erase(words.begin());
    }
    if (row != nullptr && row->make == make_explain) {
        // A number of the VPN's looks like an option and is none, with "--" before it or without.
        const auto number = std::find_if(words.begin(), words.end(), [](const std::string &word) {
            return word.size() > 1 && word[0] == '-' && word[1] >= '0' && word[1] <= '9';
        });
        const bool said = std::find(words.begin(), number, "--") != number;
        words.insert(number, number == words.end() || said ? 0 : 1, "--");
    }
    const Command command = row == nullptr ? whole_program() : row->make();
    return command.work(forms::read_options(command.program, words));
}

}  // namespace

std::span<const CommandRow> commands()
{
    return kCommands;
}

Options joined(std::initializer_list<Options> groups)
{
    Options all;
    for (const Options &group : groups) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

}  // namespace rcbench

int main(int argc, char **argv)
{
    return forms::run_program("rcbench", argc, argv, rcbench::work);
}
