// A scenario: what is there before the run, the runs, and what each must leave behind.
//
// The format is described in tests/README.md; this reads the directives of one case.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "forms/replies.h"
#include "forms/settings.h"
#include "tests/runner/cases.h"

enum class FileKind { content, missing, directory };

struct FileSetup {
    FileKind kind;
    std::string path;
    std::string bytes;  // content only
};

struct InterfaceSetup {
    std::string name;
    std::string address;
    int bits;
};

struct PauseSetup {
    int number;
    std::string command;
};

// Everything before the first run.
struct Setup {
    std::vector<forms::Setting> settings;
    std::vector<forms::Setting> defaults;
    bool defaults_of_image = false;
    bool no_store = false;
    bool nested = false;
    std::optional<std::string> clock;
    std::vector<FileSetup> files;
    std::vector<InterfaceSetup> interfaces;
    std::vector<forms::Reply> replies;
    std::vector<forms::Effect> effects;
    std::vector<PauseSetup> pauses;
};

enum class RunKind { words, argv0, direct };

struct ExpectedFile {
    std::string path;
    std::string bytes;
    Place place;                // of the directive
    std::vector<Place> places;  // of the lines, when it is written in lines
};

struct AbsentFile {
    std::string path;
    Place place;
};

struct ExpectedSetting {
    forms::Setting entry;
    Place place;
};

struct AbsentSetting {
    std::string key;
    Place place;
};

// One run and what it must leave behind. A trace is kept in its plain lines: SYSTEM, MY_SYSTEM and frame
// are already replaced by what they are short for, and every line is escaped.
struct Run {
    Place place;
    RunKind kind = RunKind::words;
    std::vector<std::string> words;
    std::optional<std::vector<std::string>> trace;
    Place trace_place;
    std::vector<Place> trace_places;  // of its plain lines
    std::optional<int> status;
    Place status_place;
    std::vector<ExpectedFile> files;
    std::vector<AbsentFile> gone;
    std::vector<ExpectedSetting> settings;
    std::vector<AbsentSetting> unset;
};

struct Scenario {
    std::string title;
    Setup setup;
    std::vector<Run> runs;
};

// Reads a case. On failure `why` is "PATH:LINE: what is wrong".
bool read_scenario(const CaseFile &file, const Case &one, Scenario &scenario, std::string &why);

// A run that expects nothing would pass whatever happens: true when every run expects something.
bool check_expectations(const CaseFile &file, const Scenario &scenario, std::string &why);
