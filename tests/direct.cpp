// Runs one operation of rc that no command reaches: rc-direct NAME WORDS...
//
// The tables come from the direct.cpp files of the folders; the build lists those that exist in
// DIRECT_TABLES. PATH and the line-buffered output are as in rc's own main sequence.
#include "tests/direct.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const DirectOperation *kTables[] = {DIRECT_TABLES};

// The operation of that name; null when there is none, or more than one.
const DirectOperation *find_operation(const char *name)
{
    const DirectOperation *found = nullptr;
    for (const DirectOperation *table : kTables) {
        for (const DirectOperation *row = table; row->name != nullptr; ++row) {
            if (strcmp(row->name, name) != 0) {
                continue;
            }
            if (found != nullptr) {
                fprintf(stderr, "rc-direct: two operations are named \"%s\"\n", name);
                return nullptr;
            }
            found = row;
        }
    }
    return found;
}

}  // namespace

int main(int argc, char **argv)
{
    const DirectOperation *operation = argc < 2 ? nullptr : find_operation(argv[1]);
    if (operation == nullptr) {
        fprintf(stderr, "rc-direct: unknown operation \"%s\"\n", argc < 2 ? "" : argv[1]);
        return 2;
    }
    if (setvbuf(stdout, nullptr, _IOLBF, 0) != 0 || setenv("PATH", "/bin:/sbin:/usr/sbin:/usr/bin", 1) != 0) {
        return 2;
    }
    return operation->run(argc - 2, argv + 2);
}
