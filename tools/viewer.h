// What the tools that show one of the router's binary files share: their words, their input, their texts.
#pragma once

#include <cstdio>
#include <string>

#include "rc/rc.h"

// Who is speaking in refusals, and what --help prints.
struct Viewer {
    const char *name;
    const char *help;
};

// A file being shown; its stream is at the beginning.
struct Input {
    FILE *stream;
    std::string name;  // for messages
    File opened;       // empty for standard input
};

// Ends the program with status 2 after one line on standard error.
[[noreturn]] void refuse(const Viewer &viewer, const std::string &why);

// Takes "[OPTIONS] show FILE" and opens FILE, "-" being standard input. `has_fields`: set by --fields; null:
// there is no such option. Anything else ends the program: --help with status 0, a mistake as refuse does.
Input open_input(const Viewer &viewer, int argc, char **argv, bool *has_fields);

// Reads up to `size` bytes; how many it got. Refuses when the input cannot be read.
size_t read_input(const Viewer &viewer, const Input &input, void *bytes, size_t size);

// Short printf-formatted text, cut at 63 characters.
std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));
