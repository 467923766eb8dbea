// The lines of a scenario file: directives, the "|" lines below them, and the place of each.
//
// What the directives mean is none of this file's business, except what makes two of them speak of the same
// thing.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A line of the scenario file or of its base.
struct Place {
    bool in_base = false;
    int line = 0;
};

// What is wrong, and where.
struct Refusal {
    Place place;
    std::string why;

    bool at(Place where, std::string text);  // always false
};

// A "|" line. In a change `mark` says what becomes of the line: '-' goes, '+' comes, ' ' stays; '.' stands
// for lines in between. Elsewhere it is ' '.
struct BodyLine {
    Place place;
    char mark = ' ';
    std::string text;
};

struct Directive {
    Place place;
    std::string name;
    std::string rest;
    std::vector<BodyLine> body;
    bool varies = false;  // it holds the value of a column
};

struct ScenarioText {
    std::string title;  // the first comment
    std::vector<Directive> directives;
};

bool read_directives(std::string_view text, bool in_base, ScenarioText &read, Refusal &refusal);

// A directive as a file writes it, its "|" lines below it.
std::string directive_text(const Directive &directive);

// Where a directive belongs: before the first run, a run itself, after a run, or the arrangement of cases.
enum class Section { before, run, after, cases };

struct DirectiveKind {
    const char *name;
    Section section;
    bool takes_body;
};

const DirectiveKind *find_kind(std::string_view name);

// What a directive speaks of: the key of a setting, the path of a file, the call of a tool. Two directives
// with the same topic exclude each other, so that a case's replaces its base's.
std::string subject_of(const Directive &directive);
std::string topic_of(const Directive &directive);

// Whether the subjects of the directives of that name are single words.
bool is_subject_a_word(std::string_view name);
