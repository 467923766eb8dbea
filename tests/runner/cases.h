// The cases of a scenario file: a base, what is different in this file, and what varies from case to case.
//
// Every case comes out as the whole scenario it stands for, each line with the place where it was written.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/runner/directive.h"

struct Case {
    std::string name;  // empty when the file is one case
    std::string title;
    std::vector<Directive> directives;  // set-up, runs and expectations only
};

struct CaseFile {
    std::string path;
    std::string base_path;  // empty without a base
    std::vector<Case> cases;

    std::string where(Place place) const;  // "PATH:LINE"
};

// Reads the text of a base, whose path is given; on failure says why.
using ReadText = std::function<bool(const std::string &path, std::string &text, std::string &why)>;

// Reads the text of a scenario file. On failure `why` is "PATH:LINE: what is wrong".
bool read_cases(const std::string &path, std::string_view text, const ReadText &read_text, CaseFile &file,
                std::string &why);

// A case as a scenario file of its own.
std::string expanded_case(const CaseFile &file, const Case &one);
