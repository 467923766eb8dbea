// Where the text of settings comes out, found by running rc with marked values: in commands, in files, only
// as a number, or nowhere.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/router.h"
#include "forms/exposure.h"

namespace rcbench {

// A line of a file that holds the text of a setting.
struct FileUse {
    std::string key;
    std::string field;
    std::string words;
    std::string path;
    std::string line;  // with {} for the text
};

struct ShellUse {
    std::vector<forms::Exposure> exposures;
    std::vector<FileUse> files;
    std::vector<std::string> numbers;  // settings that change what is done, though their text never comes out
};

// Runs every verb in every mode for these keys; none: for all settings. `progress` is told of each round.
ShellUse measure_shell(const bench::Target &target, const std::vector<std::string> &keys,
                       const std::function<void(const std::string &)> &progress);

}  // namespace rcbench
