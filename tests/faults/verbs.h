// Every way to run rc, taken from its service tables, and the settings under which each does most.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "bench/router.h"

struct Verb {
    std::string service;  // empty: all services of the general table
    std::string action;   // empty: none
    std::string mode = "pppoe";
    std::string before = {};  // a service that is started first, in a run without faults

    // What is typed, with the mode where it is not the usual one.
    std::string text() const;
};

void PrintTo(const Verb &verb, std::ostream *out);

std::vector<Verb> all_verbs();

std::vector<std::string> words_of(const Verb &verb);

// Many services in one run.
bool is_group(const Verb &verb);

// Only `rc wan` hands its result on.
bool may_end_with(const Verb &verb, int status);

// The image's settings with everything on that can be on.
std::vector<bench::Setting> rich_settings(const bench::Target &target, const Verb &verb);

// A router on which every verb finds what it needs, without settings.
bench::Setup rich_setup();
