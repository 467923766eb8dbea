#include "tests/runner/columns.h"

namespace {

bool is_name_start(char c)
{
    return c >= 'a' && c <= 'z';
}

bool is_name_character(char c)
{
    return is_name_start(c) || (c >= '0' && c <= '9') || c == '_';
}

bool is_column_name(std::string_view name)
{
    for (const char c : name) {
        if (!is_name_character(c)) {
            return false;
        }
    }
    return !name.empty() && is_name_start(name[0]);
}

std::string trimmed(std::string_view text)
{
    const size_t begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) {
        return "";
    }
    return std::string(text.substr(begin, text.find_last_not_of(' ') + 1 - begin));
}

std::vector<std::string> split_cells(std::string_view text)
{
    std::vector<std::string> cells;
    for (;;) {
        const size_t bar = text.find('|');
        cells.push_back(trimmed(text.substr(0, bar)));
        if (bar == std::string_view::npos) {
            return cells;
        }
        text.remove_prefix(bar + 1);
    }
}

bool read_head(const Directive &cases, std::vector<std::string> &names, Refusal &refusal)
{
    names = split_cells(cases.rest);
    if (names[0] != "name") {
        return refusal.at(cases.place, "the first column is \"name\"");
    }
    std::set<std::string> seen;
    for (const std::string &name : names) {
        if (!is_column_name(name)) {
            return refusal.at(cases.place, "not a column's name: \"" + name + "\"");
        }
        if (!seen.insert(name).second) {
            return refusal.at(cases.place, "two columns \"" + name + "\"");
        }
    }
    return true;
}

// The length of "$name" or "${name}" at the beginning of `text`, 0 when there is none.
size_t take_column(std::string_view text, std::string &name)
{
    const size_t begin = text.size() > 1 && text[1] == '{' ? 2 : 1;
    if (text.size() <= begin || !is_name_start(text[begin])) {
        return 0;
    }
    size_t end = begin;
    while (end < text.size() && is_name_character(text[end])) {
        ++end;
    }
    name = text.substr(begin, end - begin);
    if (begin == 1) {
        return end;
    }
    return end < text.size() && text[end] == '}' ? end + 1 : 0;
}

const std::string *find_value(const TableRow &row, const std::string &name)
{
    for (const auto &[column, value] : row.values) {
        if (column == name) {
            return &value;
        }
    }
    return nullptr;
}

bool fill_text(const TableRow &row, Place place, std::string &text, std::set<std::string> &used,
               Refusal &refusal)
{
    std::string filled;
    std::string name;
    for (size_t at = 0; at < text.size();) {
        if (text.compare(at, 2, "$$") == 0) {
            filled += '$';
            at += 2;
            continue;
        }
        const size_t length = text[at] == '$' ? take_column(std::string_view(text).substr(at), name) : 0;
        if (length == 0) {
            filled += text[at++];
            continue;
        }
        const std::string *value = find_value(row, name);
        if (value == nullptr) {
            return refusal.at(place, "no column \"" + name + "\"; a dollar sign is written $$");
        }
        filled += *value;
        used.insert(name);
        at += length;
    }
    text = filled;
    return true;
}

}  // namespace

bool is_case_name(std::string_view name)
{
    for (const char c : name) {
        if (!is_name_character(c) && c != '-' && c != '.') {
            return false;
        }
    }
    return !name.empty();
}

bool read_table(const Directive &cases, std::vector<TableRow> &rows, Refusal &refusal)
{
    std::vector<std::string> names;
    if (!read_head(cases, names, refusal)) {
        return false;
    }
    if (cases.body.empty()) {
        return refusal.at(cases.place, "a table of cases has rows");
    }
    for (const BodyLine &line : cases.body) {
        const std::vector<std::string> cells = split_cells(line.text);
        if (cells.size() != names.size()) {
            return refusal.at(line.place, "the table has " + std::to_string(names.size()) +
                                              " columns, this row " + std::to_string(cells.size()));
        }
        TableRow &row = rows.emplace_back();
        row.place = line.place;
        for (size_t i = 0; i < cells.size(); ++i) {
            row.values.emplace_back(names[i], cells[i]);
        }
    }
    return true;
}

bool fill_columns(const TableRow &row, Directive &directive, std::set<std::string> &used, Refusal &refusal)
{
    std::set<std::string> here;
    if (!fill_text(row, directive.place, directive.rest, here, refusal)) {
        return false;
    }
    for (BodyLine &line : directive.body) {
        if (!fill_text(row, line.place, line.text, here, refusal)) {
            return false;
        }
    }
    directive.varies = !here.empty();
    used.insert(here.begin(), here.end());
    return true;
}
