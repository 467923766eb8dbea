// What the faults program tries, each with a table at the end. Result: 0 when all is as promised, else 1.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/faults/injection.h"
#include "tests/faults/verbs.h"

struct Trial {
    bench::Target target;
    bool deep = false;
    bool commands = true;  // of rc are run, where calls fail
    int rounds = 40;
    std::vector<std::string> verbs;  // only these; empty: all
};

int try_calls(const Trial &trial);
int try_kills(const Trial &trial);
int try_overlaps(const Trial &trial);

using Values = std::map<std::string, std::string>;

// The entries of a store's bytes.
Values values_of(const std::string &store);

// Whether the store ends with its empty entry.
bool is_whole(const std::string &store);

// A flash partition that holds this store.
std::string flash_with(const std::string &store);

// The store in a flash partition; none where magic, length or checksum are wrong.
std::optional<std::string> store_in(const std::string &flash);

// Calls `task` with each number below `count`, on as many threads as there are processors.
void in_parallel(size_t count, const std::function<void(size_t)> &task);
