// Finds what a router's settings would do that was not meant.
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

// Choice: "The router will ..." is said only with a claim that a run of rc can show; what daemons, the
// driver or good sense have to say is advice. A value longer than 200 characters or with a number of more
// than nine digits gets no claim, nor does a field in a record with other faults.
struct Finding {
    std::string key;
    int record = 0;          // from 1; 0: the whole value
    std::string field = {};  // its name; empty: the whole value or record
    Grade grade = Grade::kError;
    std::string code;  // the finding's name
    std::string message;
    std::vector<Claim> claims = {};  // their texts filled in
};

// All findings about these settings, in the order of the settings' descriptions. Settings that are not there
// count with the defaults of the image.
// Choice: settings that are not in a dump count with the image's defaults, as the router finds them.
std::vector<Finding> lint(const std::vector<Setting> &settings);

const char *grade_name(Grade grade);

// A field of a list's records, counted from 1.
// Choice: in JSON a record and a field are numbers from 1; `field_name` is the field's name in the
// descriptions.
int field_number(const std::string &key, const std::string &name);

// "KEY: record N: FIELD: GRADE: MESSAGE [CODE]"
std::string finding_line(const Finding &finding);

// A JSON array of them.
std::string findings_json(const std::vector<Finding> &findings);

}  // namespace forms
