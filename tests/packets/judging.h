// Walks of packets compared with what the workstation's kernel does with them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/packets/agreement.h"

namespace agreement {

struct Judged {
    std::string error;  // no judge here
    size_t rule_sets = 0;
    size_t packets = 0;  // or examples of changes, each of which goes through the kernel twice
    size_t opened = 0;
    size_t closed = 0;
    size_t moved = 0;
    size_t local = 0;                       // arrived at the router
    size_t forwarded = 0;                   // left on the other side, or the same
    size_t lines = 0;                       // rules loaded
    std::map<std::string, size_t> foreign;  // lines without a counterpart in today's kernel, by name
    std::vector<std::string> disagreements;
};

// Settings as random_settings has them, without what a namespace cannot show: tunnels.
std::vector<bench::Setting> judged_settings(Dice &dice);

void ask_kernel(const bench::RouterFilter &filter, size_t packets, Dice &dice, Judged &judged);

// Some of those settings with one to six of the filter's own replaced by those of others.
std::vector<bench::Setting> changed_settings(const std::vector<bench::Setting> &settings, Dice &dice);

// Examples of what a change opens, closes and sends elsewhere, at most so many, before and after it.
void ask_kernel_about_change(const bench::RouterFilter &before, const bench::RouterFilter &after,
                             size_t examples, Judged &judged);

}  // namespace agreement
