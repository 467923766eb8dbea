// Live tests: a router, what is done to it, and sentences about packets (tests/live/*.live).
//
//     live access rules let in what they name, and nothing else
//     set fw_in_rules=1:HTTPS:2:192.168.0.20:0.0.0.0/0:0\x01
//     router up
//     internet -> wan tcp 443      reaches lan 192.168.0.20:443
//     internet -> wan tcp 80       silent
//
// docs/live.md has all sentences.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "bench/live/house.h"

namespace live {

struct Step {
    size_t line = 0;
    std::string text;                // as it stands in the file
    std::vector<std::string> words;  // a quoted text is one word that begins with its quote
};

struct Story {
    std::string file;
    std::string title;
    std::vector<bench::Setting> settings;  // before the router is up
    std::vector<Step> steps;               // from then on
};

// Throws Error with "FILE:LINE: what is wrong".
Story read_story(const std::filesystem::path &file);

// Runs the steps, and prints each when it is done if `tells`; the first one that does not hold, "FILE:LINE:
// what was expected and what came", or empty.
std::string play(const Story &story, const RouterChoice &choice, bool tells);

}  // namespace live
