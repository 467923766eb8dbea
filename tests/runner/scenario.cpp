#include "tests/runner/scenario.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "forms/escapes.h"
#include "forms/events.h"
#include "forms/words.h"

namespace {

using forms::read_number;
using forms::take_word;
using forms::unescape;

// The place of the reader: the scenario so far and, when something is wrong, where and what.
struct Reader {
    Scenario &scenario;
    Place place{};
    std::string why{};

    bool refuse(std::string text)
    {
        why = std::move(text);
        return false;
    }
    bool refuse_at(Place at, std::string text)
    {
        place = at;
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
            return reader.refuse_at(body.place, reader.why);
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

// Whether the scenario has a file of its own where the settings or the defaults would be written.
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
    run.place = directive.place;
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
    Run &run = reader.run();
    run.trace.emplace();
    run.trace_place = directive.place;
    for (const BodyLine &body : directive.body) {
        if (!forms::expand_trace_line(body.text, *run.trace, reader.why)) {
            return reader.refuse_at(body.place, reader.why);
        }
        run.trace_places.resize(run.trace->size(), body.place);
    }
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
    reader.run().status_place = directive.place;
    return true;
}

bool on_expect(Reader &reader, const Directive &directive)
{
    ExpectedFile &file = reader.run().files.emplace_back();
    file.place = directive.place;
    for (const BodyLine &body : directive.body) {
        file.places.push_back(body.place);
    }
    return read_path(reader, directive.rest, file.path) && read_body(reader, directive, file.bytes);
}

bool on_expect_bytes(Reader &reader, const Directive &directive)
{
    ExpectedFile &file = reader.run().files.emplace_back();
    file.place = directive.place;
    return read_path_and_bytes(reader, directive.rest, file);
}

bool on_gone(Reader &reader, const Directive &directive)
{
    AbsentFile &file = reader.run().gone.emplace_back();
    file.place = directive.place;
    return read_path(reader, directive.rest, file.path);
}

bool on_setting(Reader &reader, const Directive &directive)
{
    ExpectedSetting &setting = reader.run().settings.emplace_back();
    setting.place = directive.place;
    return read_entry(reader, directive.rest, setting.entry);
}

bool on_unset(Reader &reader, const Directive &directive)
{
    AbsentSetting &setting = reader.run().unset.emplace_back();
    setting.place = directive.place;
    std::string &key = setting.key;
    if (!unescape(directive.rest, key, reader.why)) {
        return false;
    }
    return (!key.empty() && key.find('=') == std::string::npos) || reader.refuse("unset KEY expected");
}

// ---- the directives -------------------------------------------------------------------------------------

struct DirectiveRow {
    const char *name;
    bool (*read)(Reader &, const Directive &);
};

constexpr DirectiveRow kDirectives[] = {
    {"set", on_set},
    {"default", on_default},
    {"defaults", on_defaults},
    {"no", on_no},
    {"file", on_file},
    {"bytes", on_bytes},
    {"remove", on_remove},
    {"directory", on_directory},
    {"interface", on_interface},
    {"reply", on_reply},
    {"status-reply", on_status_reply},
    {"effect", on_effect},
    {"clock", on_clock},
    {"at", on_at},
    {"nested", on_nested},
    {"run", on_run},
    {"argv0", on_argv0},
    {"direct", on_direct},
    {"trace", on_trace},
    {"exit", on_exit},
    {"expect", on_expect},
    {"expect-bytes", on_expect_bytes},
    {"gone", on_gone},
    {"setting", on_setting},
    {"unset", on_unset},
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

// The arrangement of cases is dealt with before a scenario is read.
bool read_directive(Reader &reader, const Directive &directive)
{
    reader.place = directive.place;
    const DirectiveRow *row = find_directive(directive.name);
    if (row == nullptr) {
        return reader.refuse("unknown directive \"" + directive.name + "\"");
    }
    return row->read(reader, directive);
}

// ---- the whole ------------------------------------------------------------------------------------------

bool expects_something(const Run &run)
{
    return run.trace || run.status || !run.files.empty() || !run.gone.empty() || !run.settings.empty() ||
           !run.unset.empty();
}

// What holds only for the scenario as a whole.
bool check_whole(Reader &reader)
{
    const Setup &setup = reader.scenario.setup;
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

}  // namespace

bool read_scenario(const CaseFile &file, const Case &one, Scenario &scenario, std::string &why)
{
    scenario = {};
    scenario.title = one.title;
    Reader reader{scenario};
    const bool good =
        std::all_of(one.directives.begin(), one.directives.end(),
                    [&reader](const Directive &directive) { return read_directive(reader, directive); });
    if (good && check_whole(reader)) {
        return true;
    }
    why = file.where(reader.place) + ": " + reader.why;
    return false;
}

bool check_expectations(const CaseFile &file, const Scenario &scenario, std::string &why)
{
    for (const Run &run : scenario.runs) {
        if (!expects_something(run)) {
            why = file.where(run.place) + ": nothing is expected of this run";
            return false;
        }
    }
    return true;
}
