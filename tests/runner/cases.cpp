#include "tests/runner/cases.h"

#include <algorithm>
#include <map>
#include <set>

#include "tests/runner/columns.h"
#include "tests/runner/plan.h"
#include "tests/runner/steps.h"

namespace {

// ---- the parts of a file --------------------------------------------------------------------------------

// What is common to all cases, or what a `case` or a table of `cases` adds to it.
struct Part {
    Directive head;  // `case` or `cases`; of the common part `like`, or nothing
    Directives own;
    std::vector<TableRow> rows;  // one for a case, none in the common part
    bool unchanged = false;
};

struct Reader {
    CaseFile &file;
    const ReadText &read_text;
    Refusal refusal{};
    std::string title{};
    Plan base{};
    Part common{};
    std::vector<Part> parts{};
    bool has_table = false;
    NamedSteps steps{};
    std::map<std::string, Place>
        borrowed{};  // the steps of other files, and the line of this one that takes them
    std::map<std::string, std::string> texts{};  // the case by its whole text
    std::set<int> used_lines{};                  // of this file, that a case has taken up
    std::set<std::string> used_columns{};
};

// ---- reading the parts ----------------------------------------------------------------------------------

// "case NAME" or "case NAME: TITLE"
bool read_case(Reader &reader, Part &part)
{
    const std::string &rest = part.head.rest;
    const size_t colon = rest.find(": ");
    TableRow &row = part.rows.emplace_back();
    row.place = part.head.place;
    row.values.emplace_back("name", rest.substr(0, colon));
    if (colon != std::string::npos) {
        row.values.emplace_back("shows", rest.substr(colon + 2));
    }
    return is_case_name(row.values[0].second) ||
           reader.refusal.at(row.place, "case NAME or case NAME: TITLE expected");
}

bool begin_part(Reader &reader, const Directive &directive)
{
    Part &part = reader.parts.emplace_back();
    part.head = directive;
    if (directive.name == "case") {
        return read_case(reader, part);
    }
    reader.has_table = true;
    return read_table(directive, part.rows, reader.refusal);
}

bool sort_directive(Reader &reader, const Directive &directive)
{
    Part &part = reader.parts.empty() ? reader.common : reader.parts.back();
    if (directive.name == "case" || directive.name == "cases") {
        return begin_part(reader, directive);
    }
    if (directive.name == "unchanged") {
        part.unchanged = true;
        return directive.rest.empty() || reader.refusal.at(directive.place, "nothing follows unchanged");
    }
    if (directive.name == "like") {
        return reader.refusal.at(directive.place, "like is the first directive of a file");
    }
    part.own.push_back(directive);
    return true;
}

bool sort_directives(Reader &reader, const Directives &directives)
{
    return std::all_of(directives.begin(), directives.end(),
                       [&reader](const Directive &directive) { return sort_directive(reader, directive); });
}

// ---- the base, and other files' steps --------------------------------------------------------------------

std::string path_beside(const std::string &path, const std::string &name)
{
    const size_t slash = path.rfind('/');
    return (slash == std::string::npos ? "" : path.substr(0, slash + 1)) + name + ".scenario";
}

// Makes the steps of another file known. What is wrong with that file is said at the line that names it.
bool learn_steps_of(Reader &reader, const std::string &name, const Directive &directive)
{
    const Place place = directive.place;
    const std::string path = path_beside(reader.file.path, name);
    std::string text;
    std::string why;
    ScenarioText other;
    Refusal inner;
    if (!is_case_name(name) || !directive.body.empty()) {
        return reader.refusal.at(place, "steps from NAME expected, the name of a scenario beside this one");
    }
    if (!reader.read_text(path, text, why)) {
        return reader.refusal.at(place, why);
    }
    NamedSteps learnt;
    if (!read_directives(text, true, other, inner) || !learn_steps(other.directives, learnt, inner)) {
        return reader.refusal.at(place, path + ":" + std::to_string(inner.place.line) + ": " + inner.why);
    }
    for (const auto &[steps_name, steps] : learnt) {
        if (!reader.steps.emplace(steps_name, steps).second) {
            return reader.refusal.at(place, "two steps \"" + steps_name + "\"");
        }
        reader.borrowed.emplace(steps_name, place);
    }
    return !learnt.empty() || reader.refusal.at(place, path + " has no steps");
}

// Puts steps in their places, those of the files that the directives name too.
bool settle_steps(Reader &reader, Directives &directives)
{
    return std::all_of(directives.begin(), directives.end(),
                       [&reader](const Directive &directive) {
                           const std::string other = steps_from(directive);
                           return other.empty() || learn_steps_of(reader, other, directive);
                       }) &&
           fill_steps(directives, reader.steps, reader.refusal);
}

// The common part of the base, as a plan.
bool read_base(Reader &reader, const Directive &like)
{
    std::string text;
    std::string why;
    ScenarioText base;
    if (!is_case_name(like.rest)) {
        return reader.refusal.at(like.place, "like NAME expected, the name of a scenario beside this one");
    }
    reader.file.base_path = path_beside(reader.file.path, like.rest);
    if (!reader.read_text(reader.file.base_path, text, why)) {
        return reader.refusal.at(like.place, why);
    }
    if (!read_directives(text, true, base, reader.refusal) || !settle_steps(reader, base.directives)) {
        return false;
    }
    Reader inner{reader.file, reader.read_text};
    if (!base.directives.empty() && base.directives[0].name == "like") {
        return reader.refusal.at(base.directives[0].place, "a base has no base of its own");
    }
    const bool good =
        sort_directives(inner, base.directives) && add_layer(reader.base, inner.common.own, inner.refusal);
    reader.refusal = inner.refusal;
    return good;
}

// ---- the cases ------------------------------------------------------------------------------------------

bool fill_part(Reader &reader, const Part &part, const TableRow &row, Directives &filled)
{
    filled = part.own;
    if (!reader.has_table) {
        return true;
    }
    return std::all_of(filled.begin(), filled.end(), [&](Directive &directive) {
        return fill_columns(row, directive, reader.used_columns, reader.refusal);
    });
}

std::string value_of(const TableRow &row, const std::string &column)
{
    for (const auto &[name, value] : row.values) {
        if (name == column) {
            return value;
        }
    }
    return "";
}

bool add_case(Reader &reader, const TableRow &row, const Plan &plan)
{
    Case &one = reader.file.cases.emplace_back();
    one.name = value_of(row, "name");
    one.title = value_of(row, "shows");
    one.title = one.title.empty() ? reader.title : one.title;
    one.directives = plan.before;
    for (const RunPart &part : plan.runs) {
        one.directives.push_back(part.run);
        one.directives.insert(one.directives.end(), part.after.begin(), part.after.end());
    }
    for (const Directive &directive : one.directives) {
        if (!directive.place.in_base) {
            reader.used_lines.insert(directive.place.line);
        }
    }
    const auto [before, is_new] = reader.texts.emplace(whole_text(plan), one.name);
    return is_new || reader.refusal.at(row.place, before->second.empty()
                                                      ? "it is the base once more"
                                                      : "it is \"" + before->second + "\" once more");
}

bool check_names(Reader &reader, const Part &part, std::set<std::string> &names)
{
    for (const TableRow &row : part.rows) {
        const std::string &name = row.values[0].second;
        if (!is_case_name(name)) {
            return reader.refusal.at(row.place, "not a case's name: \"" + name + "\"");
        }
        if (!names.insert(name).second) {
            return reader.refusal.at(row.place, "two cases \"" + name + "\"");
        }
    }
    return true;
}

// What is said of the expectations must fit what became of them.
bool check_unchanged(Reader &reader, const Part &part, bool changed)
{
    if (part.unchanged && changed) {
        return reader.refusal.at(part.head.place, "it says unchanged, and its expectations differ");
    }
    return part.unchanged || changed ||
           reader.refusal.at(part.head.place, "it expects what its base expects, and does not say unchanged");
}

bool check_columns(Reader &reader, const Part &part)
{
    for (const auto &[name, value] : part.rows[0].values) {
        if (name != "name" && name != "shows" && reader.used_columns.count(name) == 0) {
            return reader.refusal.at(part.head.place, "no line uses the column \"" + name + "\"");
        }
    }
    return true;
}

// The cases of a part. `common_changed` becomes true when the common part gave one of them other expectations
// than the base's.
bool make_cases(Reader &reader, const Part &part, bool &common_changed)
{
    bool changed = false;
    reader.used_columns.clear();
    for (const TableRow &row : part.rows) {
        Directives common;
        Directives own;
        Plan plan = reader.base;
        if (!fill_part(reader, reader.common, row, common) || !add_layer(plan, common, reader.refusal)) {
            return false;
        }
        const std::string before = expected_text(plan);
        common_changed = common_changed || before != expected_text(reader.base);
        if (!fill_part(reader, part, row, own) || !add_layer(plan, own, reader.refusal) ||
            !add_case(reader, row, plan)) {
            return false;
        }
        changed = changed || before != expected_text(plan);
    }
    // A table alone varies what the common part says.
    const bool is_bare = part.own.empty() && part.head.name == "cases" && !part.unchanged;
    return (is_bare || check_unchanged(reader, part, changed)) && check_columns(reader, part);
}

bool check_lines_are_used(Reader &reader, const Part &part)
{
    for (const Directive &directive : part.own) {
        const Section section = find_kind(directive.name)->section;
        if (section != Section::cases && reader.used_lines.count(directive.place.line) == 0) {
            return reader.refusal.at(directive.place, "no case is left that uses this line");
        }
    }
    return true;
}

bool make_all_cases(Reader &reader)
{
    if (reader.parts.empty()) {
        reader.parts.push_back({reader.common.head, {}, {TableRow{reader.common.head.place, {}}}, true});
    }
    std::set<std::string> names;
    bool common_changed = false;
    bool common_alone = false;
    for (const Part &part : reader.parts) {
        common_alone = common_alone || (part.own.empty() && part.head.name != "case");
        if ((part.head.name != "like" && !part.head.name.empty() && !check_names(reader, part, names)) ||
            !make_cases(reader, part, common_changed)) {
            return false;
        }
    }
    const bool judges_common = common_alone && reader.common.head.name == "like";
    if (judges_common && !check_unchanged(reader, reader.common, common_changed)) {
        return false;
    }
    return std::all_of(reader.parts.begin(), reader.parts.end(),
                       [&reader](const Part &part) { return check_lines_are_used(reader, part); }) &&
           check_lines_are_used(reader, reader.common);
}

// Of what a line takes from another file, some is used.
bool check_borrowed_steps_are_used(Reader &reader)
{
    std::map<int, bool> used;
    for (const auto &[name, place] : reader.borrowed) {
        if (!place.in_base) {
            used[place.line] = used[place.line] || reader.steps.at(name).used;
        }
    }
    const auto idle = std::find_if(used.begin(), used.end(), [](const auto &line) { return !line.second; });
    return idle == used.end() || reader.refusal.at({false, idle->first}, "no line uses any of these steps");
}

// A file that others may be like: it has no base and no cases.
bool is_base(const Reader &reader)
{
    return reader.common.head.name.empty() && reader.parts.empty();
}

bool read_file(Reader &reader, std::string_view text)
{
    ScenarioText read;
    if (!read_directives(text, false, read, reader.refusal)) {
        return false;
    }
    reader.title = read.title;
    Directives &directives = read.directives;
    if (!directives.empty() && directives[0].name == "like") {
        reader.common.head = directives[0];
        if (!read_base(reader, directives[0])) {
            return false;
        }
        reader.texts.emplace(whole_text(reader.base), "");
        directives.erase(directives.begin());
    }
    return settle_steps(reader, directives) && sort_directives(reader, directives) &&
           // Those of a base may be for the files that are like it alone.
           (is_base(reader) ||
            (check_steps_are_used(reader.steps, reader.refusal) && check_borrowed_steps_are_used(reader))) &&
           make_all_cases(reader);
}

}  // namespace

std::string CaseFile::where(Place place) const
{
    return (place.in_base ? base_path : path) + ":" + std::to_string(place.line);
}

bool read_cases(const std::string &path, std::string_view text, const ReadText &read_text, CaseFile &file,
                std::string &why)
{
    file = {};
    file.path = path;
    Reader reader{file, read_text};
    if (read_file(reader, text)) {
        return true;
    }
    why = file.where(reader.refusal.place) + ": " + reader.refusal.why;
    return false;
}

std::string expanded_case(const CaseFile &file, const Case &one)
{
    std::string text = "# " + one.title + "\n";
    text += "# " + file.path + (one.name.empty() ? "" : " --case " + one.name) + "\n";
    for (const Directive &directive : one.directives) {
        text += directive_text(directive);
    }
    return text;
}
