#include "tests/runner/directive.h"

#include "forms/words.h"

namespace {

using forms::take_word;

// ---- the directives -------------------------------------------------------------------------------------

// Which part of a directive's text names what it speaks of.
enum class Subject { none, whole, key, word, second_on, two_words, to_arrow };

struct Row {
    DirectiveKind kind;
    const char *topic;
    Subject subject;
};

constexpr Row kRows[] = {
    {{"set", Section::before, false}, "set", Subject::key},
    {{"default", Section::before, false}, "default", Subject::key},
    {{"defaults", Section::before, false}, "defaults", Subject::none},
    {{"no", Section::before, false}, "no", Subject::whole},
    {{"file", Section::before, true}, "file", Subject::word},
    {{"bytes", Section::before, false}, "file", Subject::word},
    {{"remove", Section::before, false}, "file", Subject::word},
    {{"directory", Section::before, false}, "file", Subject::word},
    {{"interface", Section::before, false}, "interface", Subject::word},
    {{"reply", Section::before, true}, "reply", Subject::whole},
    {{"status-reply", Section::before, true}, "reply", Subject::second_on},
    {{"effect", Section::before, false}, "effect", Subject::to_arrow},
    {{"clock", Section::before, false}, "clock", Subject::none},
    {{"at", Section::before, false}, "at", Subject::two_words},
    {{"nested", Section::before, false}, "nested", Subject::none},
    {{"run", Section::run, false}, "run", Subject::whole},
    {{"argv0", Section::run, false}, "run", Subject::whole},
    {{"direct", Section::run, false}, "run", Subject::whole},
    {{"trace", Section::after, true}, "trace", Subject::none},
    {{"exit", Section::after, false}, "exit", Subject::none},
    {{"expect", Section::after, true}, "left file", Subject::word},
    {{"expect-bytes", Section::after, false}, "left file", Subject::word},
    {{"gone", Section::after, false}, "left file", Subject::word},
    {{"setting", Section::after, false}, "left setting", Subject::key},
    {{"unset", Section::after, false}, "left setting", Subject::key},
    {{"like", Section::cases, false}, "", Subject::none},
    {{"case", Section::cases, false}, "", Subject::none},
    {{"cases", Section::cases, true}, "", Subject::none},
    {{"steps", Section::cases, true}, "", Subject::none},
    {{"change", Section::cases, true}, "", Subject::none},
    {{"without", Section::cases, false}, "", Subject::none},
    {{"in", Section::cases, false}, "", Subject::none},
    {{"instead", Section::cases, false}, "", Subject::none},
    {{"then", Section::cases, false}, "", Subject::none},
    {{"again", Section::cases, false}, "", Subject::none},
    {{"unchanged", Section::cases, false}, "", Subject::none},
};

const Row *find_row(std::string_view name)
{
    for (const Row &row : kRows) {
        if (name == row.kind.name) {
            return &row;
        }
    }
    return nullptr;
}

// ---- lines ----------------------------------------------------------------------------------------------

// "|- x", "|+ x", "|  x" and "|" alone for an empty line, "|..."
bool read_change_line(std::string_view line, BodyLine &body)
{
    if (line == "|") {
        return true;
    }
    if (line == "|...") {
        body.mark = '.';
        return true;
    }
    body.mark = line[1];
    if (body.mark != '-' && body.mark != '+' && body.mark != ' ') {
        return false;
    }
    if (line.size() == 2) {
        return true;
    }
    body.text = line.substr(3);
    return line[2] == ' ';
}

bool read_plain_line(std::string_view line, BodyLine &body)
{
    if (line.size() > 1) {
        body.text = line.substr(2);
    }
    return line.size() == 1 || line[1] == ' ';
}

bool read_body_line(std::string_view line, Place place, std::vector<Directive> &directives, Refusal &refusal)
{
    if (directives.empty()) {
        return refusal.at(place, "a | line belongs to a directive above it");
    }
    BodyLine &body = directives.back().body.emplace_back();
    body.place = place;
    if (directives.back().name == "change") {
        return read_change_line(line, body) ||
               refusal.at(place, R"(a line of a change begins with "|- ", "|+ " or "|  ", or is "|...")");
    }
    return read_plain_line(line, body) || refusal.at(place, R"(a | line begins with "| ")");
}

bool read_line(std::string_view line, Place place, ScenarioText &read, Refusal &refusal)
{
    if (line.empty()) {
        return true;
    }
    if (line.back() == ' ' || line.back() == '\t') {
        return refusal.at(place, "a space at the end of a line is written \\x20");
    }
    if (line.back() == '\r') {
        return refusal.at(place, "lines end in a line feed alone");
    }
    if (line[0] == '#') {
        if (read.title.empty()) {
            line.remove_prefix(line.size() > 1 && line[1] == ' ' ? 2 : 1);
            read.title = line;
        }
        return true;
    }
    if (line[0] == '|') {
        return read_body_line(line, place, read.directives, refusal);
    }
    const std::string_view name = take_word(line);
    read.directives.push_back({place, std::string(name), std::string(line), {}, false});
    return true;
}

bool check_directive(const Directive &directive, Refusal &refusal)
{
    const DirectiveKind *kind = find_kind(directive.name);
    if (kind == nullptr) {
        return refusal.at(directive.place, "unknown directive \"" + directive.name + "\"");
    }
    if (!kind->takes_body && !directive.body.empty()) {
        return refusal.at(directive.body[0].place, directive.name + " takes no | lines");
    }
    return true;
}

std::string second_word_on(std::string_view text)
{
    take_word(text);
    return std::string(text);
}

}  // namespace

bool Refusal::at(Place where, std::string text)
{
    place = where;
    why = std::move(text);
    return false;
}

bool read_directives(std::string_view text, bool in_base, ScenarioText &read, Refusal &refusal)
{
    bool complete = true;
    Place place{in_base, 0};
    for (const std::string &line : forms::split_lines(text, complete)) {
        ++place.line;
        if (!read_line(line, place, read, refusal)) {
            return false;
        }
    }
    if (read.title.empty()) {
        return refusal.at({in_base, 1}, "no comment says what the scenario shows");
    }
    for (const Directive &directive : read.directives) {
        if (!check_directive(directive, refusal)) {
            return false;
        }
    }
    return true;
}

std::string directive_text(const Directive &directive)
{
    // An empty column can leave a space at the end, and steps a line of a trace that looks like a use of
    // steps: written so that they are read again as what they are.
    const auto line = [](const std::string &text) {
        const bool ends_in_space = !text.empty() && text.back() == ' ';
        return (ends_in_space ? text.substr(0, text.size() - 1) + "\\x20" : text) + "\n";
    };
    std::string text = line(directive.name + (directive.rest.empty() ? "" : " ") + directive.rest);
    for (const BodyLine &body : directive.body) {
        const bool looks_used = directive.name == "trace" && body.text[0] == '@';
        text +=
            line((body.text.empty() ? "|" : "| ") + (looks_used ? "\\x40" + body.text.substr(1) : body.text));
    }
    return text;
}

const DirectiveKind *find_kind(std::string_view name)
{
    const Row *row = find_row(name);
    return row == nullptr ? nullptr : &row->kind;
}

std::string subject_of(const Directive &directive)
{
    const std::string_view rest = directive.rest;
    switch (find_row(directive.name)->subject) {
        case Subject::none:
            return "";
        case Subject::whole:
            return directive.rest;
        case Subject::key:
            return std::string(rest.substr(0, rest.find('=')));
        case Subject::word:
            return std::string(rest.substr(0, rest.find(' ')));
        case Subject::second_on:
            return second_word_on(rest);
        case Subject::two_words:
            return std::string(rest.substr(0, rest.find(' ', rest.find(' ') + 1)));
        case Subject::to_arrow:
            return std::string(rest.substr(0, rest.find(" => ")));
    }
    return "";
}

bool is_subject_a_word(std::string_view name)
{
    const Row *row = find_row(name);
    return row != nullptr && (row->subject == Subject::key || row->subject == Subject::word);
}

std::string topic_of(const Directive &directive)
{
    return std::string(find_row(directive.name)->topic) + " " + subject_of(directive);
}
