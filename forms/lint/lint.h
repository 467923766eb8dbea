// Finds what a router's settings would do that nobody meant.
//
// A finding that says "the router will ..." carries the claims that show it: a run of rc and what is then in
// its commands, files or output. A test runs them. Advice about daemons, the driver or good sense has none.
#pragma once

#include <string>
#include <vector>

#include "forms/descriptions.h"
#include "forms/settings.h"

namespace forms {

enum class Grade { kError, kWarning, kNote };

struct Finding {
    std::string key;
    int record = 0;     // from 1; 0: the whole value
    std::string field;  // its name; empty: the whole value or record
    Grade grade = Grade::kError;
    std::string code;  // the finding's name
    std::string message;
    std::vector<Claim> claims = {};  // their texts filled in
};

// All findings about these settings, in the order of the settings' descriptions. Settings that are not there
// count with the defaults of the image.
std::vector<Finding> lint(const std::vector<Setting> &settings);

const char *grade_name(Grade grade);

// "KEY: record N: FIELD: GRADE: MESSAGE [CODE]"
std::string finding_line(const Finding &finding);

// A JSON array of them.
std::string findings_json(const std::vector<Finding> &findings);

}  // namespace forms
