#include "tests/runner/scenario.h"

#include <cstdio>
#include <cstdlib>

#include "forms/escapes.h"
#include "forms/events.h"
#include "forms/words.h"

namespace {

using forms::read_number;
using forms::take_word;
using forms::unescape;

// A directive with the "|" lines below it.
struct BodyLine {
    int line;
    std::string text;
};

struct Directive {
    int line = 0;
    std::string name;
    std::string rest;
    std::vector<BodyLine> body;
};

// The place of the reader: the scenario so far and, when something is wrong, where and what.
struct Reader {
    Scenario &scenario;
    int line = 0;
    std::string why;

    bool refuse(std::string text)
    {
        why = std::move(text);
        return false;
    }
    bool refuse_at(int at, std::string text)
    {
        line = at;
        return refuse(std::move(text));
    }
    Run &run() { return scenario.runs.back(); }
};

// ---- pieces of a directive ------------------------------------------------------------------------------

bool read_path(Reader &reader, std::string_view text, std::string &path)
{
    if (!unescape(text, path, reader.why)) {
        return false;
    }
    if (path.empty() || path[0] != '/') {
        return reader.refuse("a path begins with /");
    }
    return true;
}

bool read_entry(Reader &reader, const std::string &text, forms::Setting &entry)
{
    std::string plain;
    if (!unescape(text, plain, reader.why)) {
        return false;
    }
    const size_t equals = plain.find('=');
    if (equals == std::string::npos || equals == 0) {
        return reader.refuse("KEY=VALUE expected");
    }
    if (plain.find('\0') != std::string::npos) {
        return reader.refuse("a setting holds no NUL byte; write the store with bytes");
    }
    entry = {plain.substr(0, equals), plain.substr(equals + 1)};
    return true;
}

bool read_body(Reader &reader, const Directive &directive, std::string &bytes)
{
    for (const BodyLine &body : directive.body) {
        std::string line;
        if (!unescape(body.text, line, reader.why)) {
            return reader.refuse_at(body.line, reader.why);
        }
        bytes += line + "\n";
    }
    return true;
}

bool read_nothing(Reader &reader, const Directive &directive)
{
    return directive.rest.empty() || reader.refuse("nothing may follow " + directive.name);
}

bool read_path_and_bytes(Reader &reader, const std::string &rest, ExpectedFile &file)
{
    std::string_view text = rest;
    const std::string_view path = take_word(text);
    return read_path(reader, path, file.path) && unescape(text, file.bytes, reader.why);
}

// Whether a file of its own stands where the settings or the defaults would be written.
bool is_set_up(const Setup &setup, std::string_view path)
{
    for (const FileSetup &file : setup.files) {
        if (file.path == path) {
            return true;
        }
    }
    return false;
}

// ---- before the run -------------------------------------------------------------------------------------

bool on_set(Reader &reader, const Directive &directive)
{
    return read_entry(reader, directive.rest, reader.scenario.setup.settings.emplace_back());
}

bool on_default(Reader &reader, const Directive &directive)
{
    return read_entry(reader, directive.rest, reader.scenario.setup.defaults.emplace_back());
}

bool on_defaults(Reader &reader, const Directive &directive)
{
    reader.scenario.setup.defaults_of_image = true;
    return directive.rest == "image" || reader.refuse("\"defaults image\" expected");
}

bool on_no(Reader &reader, const Directive &directive)
{
    reader.scenario.setup.no_store = true;
    return directive.rest == "store" || reader.refuse("\"no store\" expected");
}

bool on_file(Reader &reader, const Directive &directive)
{
    FileSetup file{FileKind::content, "", ""};
    if (!read_path(reader, directive.rest, file.path) || !read_body(reader, directive, file.bytes)) {
        return false;
    }
    reader.scenario.setup.files.push_back(file);
    return true;
}

bool on_bytes(Reader &reader, const Directive &directive)
{
    ExpectedFile file;
    if (!read_path_and_bytes(reader, directive.rest, file)) {
        return false;
    }
    reader.scenario.setup.files.push_back({FileKind::content, file.path, file.bytes});
    return true;
}

bool on_remove(Reader &reader, const Directive &directive)
{
    FileSetup file{FileKind::missing, "", ""};
    const bool good = read_path(reader, directive.rest, file.path);
    reader.scenario.setup.files.push_back(file);
    return good;
}

bool on_directory(Reader &reader, const Directive &directive)
{
    FileSetup file{FileKind::directory, "", ""};
    const bool good = read_path(reader, directive.rest, file.path);
    reader.scenario.setup.files.push_back(file);
    return good;
}

bool on_interface(Reader &reader, const Directive &directive)
{
    std::string_view text = directive.rest;
    InterfaceSetup interface {
        std::string(take_word(text)), "", 0
    };
    const size_t slash = text.find('/');
    if (interface.name.empty() || slash == std::string_view::npos || slash == 0 ||
        !read_number(text.substr(slash + 1), interface.bits) || interface.bits > 32) {
        return reader.refuse("interface NAME ADDRESS/BITS expected");
    }
    interface.address = text.substr(0, slash);
    reader.scenario.setup.interfaces.push_back(interface);
    return true;
}

bool on_reply(Reader &reader, const Directive &directive)
{
    forms::Reply &reply = reader.scenario.setup.replies.emplace_back();
    return forms::read_reply(directive.rest, reply, reader.why) && read_body(reader, directive, reply.output);
}

bool on_status_reply(Reader &reader, const Directive &directive)
{
    forms::Reply &reply = reader.scenario.setup.replies.emplace_back();
    return forms::read_status_reply(directive.rest, reply, reader.why) &&
           read_body(reader, directive, reply.output);
}

bool on_effect(Reader &reader, const Directive &directive)
{
    return forms::read_effect(directive.rest, reader.scenario.setup.effects.emplace_back(), reader.why);
}

bool on_clock(Reader &reader, const Directive &directive)
{
    int date[6];
    char more = '\0';
    const std::string &text = directive.rest;
    if (text.size() != 19 || sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%c", &date[0], &date[1], &date[2],
                                    &date[3], &date[4], &date[5], &more) != 6) {
        return reader.refuse("clock YYYY-MM-DD HH:MM:SS expected");
    }
    if (reader.scenario.setup.clock) {
        return reader.refuse("clock is given twice");
    }
    reader.scenario.setup.clock = text;
    return true;
}

bool on_at(Reader &reader, const Directive &directive)
{
    std::string_view text = directive.rest;
    PauseSetup pause{0, ""};
    if (take_word(text) != "pause" || !read_number(take_word(text), pause.number) || pause.number == 0 ||
        text.empty()) {
        return reader.refuse("at pause N COMMAND expected, N from 1");
    }
    if (!unescape(text, pause.command, reader.why)) {
        return false;
    }
    reader.scenario.setup.pauses.push_back(pause);
    return true;
}

bool on_nested(Reader &reader, const Directive &directive)
{
    reader.scenario.setup.nested = true;
    return read_nothing(reader, directive);
}

// ---- the run --------------------------------------------------------------------------------------------

bool add_run(Reader &reader, const Directive &directive, RunKind kind, bool needs_word)
{
    Run &run = reader.scenario.runs.emplace_back();
    run.line = directive.line;
    run.kind = kind;
    if (!forms::split_words(directive.rest, run.words, reader.why)) {
        return false;
    }
    return !needs_word || !run.words.empty() || reader.refuse(directive.name + " needs a word");
}

bool on_run(Reader &reader, const Directive &directive)
{
    return add_run(reader, directive, RunKind::words, false);
}

bool on_argv0(Reader &reader, const Directive &directive)
{
    return add_run(reader, directive, RunKind::argv0, true);
}

bool on_direct(Reader &reader, const Directive &directive)
{
    return add_run(reader, directive, RunKind::direct, true);
}

// ---- after it -------------------------------------------------------------------------------------------

bool on_trace(Reader &reader, const Directive &directive)
{
    if (!read_nothing(reader, directive)) {
        return false;
    }
    if (reader.run().trace) {
        return reader.refuse("trace is given twice for one run");
    }
    std::vector<std::string> plain;
    for (const BodyLine &body : directive.body) {
        if (!forms::expand_trace_line(body.text, plain, reader.why)) {
            return reader.refuse_at(body.line, reader.why);
        }
    }
    reader.run().trace = std::move(plain);
    return true;
}

bool on_exit(Reader &reader, const Directive &directive)
{
    int status = 0;
    if (!read_number(directive.rest, status) || status > 255) {
        return reader.refuse("exit N expected, N at most 255");
    }
    if (reader.run().status) {
        return reader.refuse("exit is given twice for one run");
    }
    reader.run().status = status;
    return true;
}

bool on_expect(Reader &reader, const Directive &directive)
{
    ExpectedFile &file = reader.run().files.emplace_back();
    return read_path(reader, directive.rest, file.path) && read_body(reader, directive, file.bytes);
}

bool on_expect_bytes(Reader &reader, const Directive &directive)
{
    return read_path_and_bytes(reader, directive.rest, reader.run().files.emplace_back());
}

bool on_gone(Reader &reader, const Directive &directive)
{
    return read_path(reader, directive.rest, reader.run().gone.emplace_back());
}

bool on_setting(Reader &reader, const Directive &directive)
{
    return read_entry(reader, directive.rest, reader.run().settings.emplace_back());
}

bool on_unset(Reader &reader, const Directive &directive)
{
    std::string &key = reader.run().unset.emplace_back();
    if (!unescape(directive.rest, key, reader.why)) {
        return false;
    }
    return (!key.empty() && key.find('=') == std::string::npos) || reader.refuse("unset KEY expected");
}

// ---- the directives -------------------------------------------------------------------------------------

enum class Place { before, run, after };

struct DirectiveRow {
    const char *name;
    Place place;
    bool takes_body;
    bool (*read)(Reader &, const Directive &);
};

constexpr DirectiveRow kDirectives[] = {
    {"set", Place::before, false, on_set},
    {"default", Place::before, false, on_default},
    {"defaults", Place::before, false, on_defaults},
    {"no", Place::before, false, on_no},
    {"file", Place::before, true, on_file},
    {"bytes", Place::before, false, on_bytes},
    {"remove", Place::before, false, on_remove},
    {"directory", Place::before, false, on_directory},
    {"interface", Place::before, false, on_interface},
    {"reply", Place::before, true, on_reply},
    {"status-reply", Place::before, true, on_status_reply},
    {"effect", Place::before, false, on_effect},
    {"clock", Place::before, false, on_clock},
    {"at", Place::before, false, on_at},
    {"nested", Place::before, false, on_nested},
    {"run", Place::run, false, on_run},
    {"argv0", Place::run, false, on_argv0},
    {"direct", Place::run, false, on_direct},
    {"trace", Place::after, true, on_trace},
    {"exit", Place::after, false, on_exit},
    {"expect", Place::after, true, on_expect},
    {"expect-bytes", Place::after, false, on_expect_bytes},
    {"gone", Place::after, false, on_gone},
    {"setting", Place::after, false, on_setting},
    {"unset", Place::after, false, on_unset},
};

const DirectiveRow *find_directive(const std::string &name)
{
    for (const DirectiveRow &row : kDirectives) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

bool read_directive(Reader &reader, const Directive &directive)
{
    reader.line = directive.line;
    const DirectiveRow *row = find_directive(directive.name);
    if (row == nullptr) {
        return reader.refuse("unknown directive \"" + directive.name + "\"");
    }
    if (row->place == Place::before && !reader.scenario.runs.empty()) {
        return reader.refuse(directive.name + " stands before the first run");
    }
    if (row->place == Place::after && reader.scenario.runs.empty()) {
        return reader.refuse(directive.name + " stands after a run");
    }
    if (!row->takes_body && !directive.body.empty()) {
        return reader.refuse_at(directive.body[0].line, directive.name + " takes no | lines");
    }
    return row->read(reader, directive);
}

// ---- the file -------------------------------------------------------------------------------------------

// Sorts one raw line into `directives`.
bool sort_line(Reader &reader, std::string_view line, std::vector<Directive> &directives)
{
    if (line.empty()) {
        return true;
    }
    if (line.back() == ' ' || line.back() == '\t') {
        return reader.refuse("a blank at the end of a line is written \\x20");
    }
    if (line.back() == '\r') {
        return reader.refuse("lines end in a line feed alone");
    }
    if (line[0] == '#') {
        if (reader.scenario.title.empty()) {
            line.remove_prefix(line.size() > 1 && line[1] == ' ' ? 2 : 1);
            reader.scenario.title = line;
        }
        return true;
    }
    if (line[0] == '|') {
        if (directives.empty()) {
            return reader.refuse("a | line belongs to a directive above it");
        }
        line.remove_prefix(line.size() > 1 && line[1] == ' ' ? 2 : 1);
        directives.back().body.push_back({reader.line, std::string(line)});
        return true;
    }
    const std::string_view name = take_word(line);
    directives.push_back({reader.line, std::string(name), std::string(line), {}});
    return true;
}

bool sort_lines(Reader &reader, std::string_view text, std::vector<Directive> &directives)
{
    bool complete = true;
    for (const std::string &line : forms::split_lines(text, complete)) {
        reader.line++;
        if (!sort_line(reader, line, directives)) {
            return false;
        }
    }
    return true;
}

bool expects_something(const Run &run)
{
    return run.trace || run.status || !run.files.empty() || !run.gone.empty() || !run.settings.empty() ||
           !run.unset.empty();
}

// What holds only for the scenario as a whole.
bool check_whole(Reader &reader)
{
    const Setup &setup = reader.scenario.setup;
    if (reader.scenario.title.empty()) {
        return reader.refuse_at(1, "no comment says what the scenario shows");
    }
    if (setup.no_store && !setup.settings.empty()) {
        return reader.refuse("\"no store\" and set exclude each other");
    }
    if (!setup.settings.empty() && is_set_up(setup, "/tmp/nvram")) {
        return reader.refuse("set and a /tmp/nvram of its own exclude each other");
    }
    if ((!setup.defaults.empty() || setup.defaults_of_image) && is_set_up(setup, "/etc/default")) {
        return reader.refuse("default and an /etc/default of its own exclude each other");
    }
    if (reader.scenario.runs.empty()) {
        return reader.refuse("nothing is run");
    }
    return true;
}

bool read_scenario(Reader &reader, std::string_view text)
{
    std::vector<Directive> directives;
    if (!sort_lines(reader, text, directives)) {
        return false;
    }
    for (const Directive &directive : directives) {
        if (!read_directive(reader, directive)) {
            return false;
        }
    }
    return check_whole(reader);
}

}  // namespace

bool parse_scenario(const std::string &path, std::string_view text, Scenario &scenario, std::string &why)
{
    scenario = {};
    scenario.path = path;
    Reader reader{scenario, 0, ""};
    if (read_scenario(reader, text)) {
        return true;
    }
    why = path + ":" + std::to_string(reader.line) + ": " + reader.why;
    return false;
}

bool check_expectations(const Scenario &scenario, std::string &why)
{
    for (const Run &run : scenario.runs) {
        if (!expects_something(run)) {
            why = scenario.path + ":" + std::to_string(run.line) + ": nothing is expected of this run";
            return false;
        }
    }
    return true;
}
