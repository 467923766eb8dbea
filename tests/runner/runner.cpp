#include "tests/runner/runner.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "bench/difference.h"
#include "bench/show/scenario.h"
#include "forms/escapes.h"
#include "forms/events.h"
#include "forms/words.h"

namespace {

using forms::escape;

using Lines = std::vector<std::string>;

// ---- from a scenario to the bench -----------------------------------------------------------------------

void add_files(const Setup &setup, bench::Setup &root)
{
    for (const FileSetup &file : setup.files) {
        if (file.kind == FileKind::content) {
            root.files.push_back({file.path, file.bytes});
        } else if (file.kind == FileKind::missing) {
            root.removed.push_back(file.path);
        } else {
            root.directories.push_back(file.path);
        }
        if (file.path == "/tmp/nvram") {
            root.settings.reset();
        }
    }
}

bench::Setup bench_setup(const Setup &setup)
{
    bench::Setup root;
    root.settings = setup.settings;
    if (setup.no_store) {
        root.settings.reset();
    }
    root.image_defaults = setup.defaults_of_image;
    root.defaults = setup.defaults;
    add_files(setup, root);
    for (const InterfaceSetup &interface : setup.interfaces) {
        root.interfaces.push_back({interface.name, interface.address, interface.bits, ""});
    }
    root.replies = setup.replies;
    root.effects = setup.effects;
    return root;
}

int64_t clock_seconds(const std::string &clock)
{
    struct tm date = {};
    (void)sscanf(clock.c_str(), "%4d-%2d-%2d %2d:%2d:%2d", &date.tm_year, &date.tm_mon, &date.tm_mday,
                 &date.tm_hour, &date.tm_min, &date.tm_sec);
    date.tm_year -= 1900;
    date.tm_mon -= 1;
    return timegm(&date);
}

bench::Run bench_run(const Programs &programs, const Setup &setup, const Run &run)
{
    bench::Run made;
    made.words = run.words;
    if (run.kind != RunKind::argv0) {
        made.words.insert(made.words.begin(), run.kind == RunKind::direct ? "rc-direct" : "rc");
    }
    if (run.kind == RunKind::direct) {
        made.program = programs.direct;
    }
    made.system_view = programs.system_view;
    made.nested = setup.nested;
    if (setup.clock) {
        made.clock = clock_seconds(*setup.clock);
    }
    for (const PauseSetup &pause : setup.pauses) {
        std::string &command = made.pauses[pause.number];
        command += (command.empty() ? "" : "\n") + pause.command;
    }
    return made;
}

// The bench's lines in the runner's own form, so that both sides are escaped alike.
Lines plain_lines(const bench::Trace &trace)
{
    Lines plain;
    for (const std::string &line : bench::trace_lines(trace)) {
        std::string why;
        if (!forms::expand_trace_line(line, plain, why)) {
            plain.push_back(line);
        }
    }
    return plain;
}

// ---- comparing ------------------------------------------------------------------------------------------

// A file as escaped lines. NUL bytes end lines too, so that a store shows one entry a line.
Lines shown_lines(std::string_view bytes)
{
    Lines lines;
    std::string line;
    for (const char c : bytes) {
        if (c == '\n') {
            lines.push_back(escape(line));
            line.clear();
            continue;
        }
        line += c;
        if (c == '\0') {
            lines.push_back(escape(line));
            line.clear();
        }
    }
    if (!line.empty()) {
        lines.push_back(escape(line) + "  (no line end)");
    }
    return lines;
}

// The difference of two lists of lines; each piece is headed by the place of the expected line where it
// begins.
struct Comparison {
    const CaseFile &file;
    std::string report{};

    void say(Place place, const std::string &text) { report += file.where(place) + ": " + text + "\n"; }
    void add_difference(const std::string &what, const Lines &expected, const Lines &actual,
                        const std::vector<Place> &places, Place otherwise);
};

// Index of the first expected line that a piece of the difference is about. `rest` begins at its "@@" line.
size_t differing_line(std::string_view rest)
{
    size_t index = strtoul(std::string(rest.substr(4, 12)).c_str(), nullptr, 10) - 1;
    for (rest.remove_prefix(rest.find('\n') + 1); !rest.empty() && rest[0] == ' '; ++index) {
        rest.remove_prefix(rest.find('\n') + 1);
    }
    return index;
}

void Comparison::add_difference(const std::string &what, const Lines &expected, const Lines &actual,
                                const std::vector<Place> &places, Place otherwise)
{
    report += "--- expected " + what + "\n+++ actual " + what + "\n";
    const std::string difference = bench::unified_difference(expected, actual);
    std::string_view rest = difference;
    while (!rest.empty()) {
        const size_t end = rest.find('\n') + 1;
        if (rest.substr(0, 2) == "@@") {
            const size_t index = differing_line(rest);
            const Place place = index < places.size() ? places[index]
                                : places.empty()      ? otherwise
                                                      : places.back();
            report += "@@ " + file.where(place) + " @@\n";
        } else {
            report += rest.substr(0, end);
        }
        rest.remove_prefix(end);
    }
}

void compare_trace(const Run &run, const bench::Trace &trace, Comparison &comparison)
{
    const Lines actual = plain_lines(trace);
    if (!run.trace || *run.trace == actual) {
        return;
    }
    std::vector<size_t> starts;
    const Lines expected = forms::shorten_trace(*run.trace, &starts);
    std::vector<Place> places;
    places.reserve(starts.size());
    for (const size_t start : starts) {
        places.push_back(run.trace_places[start]);
    }
    comparison.add_difference("trace", expected, forms::shorten_trace(actual), places, run.trace_place);
}

void compare_status(const Run &run, const bench::Trace &trace, Comparison &comparison)
{
    const Place place = run.status ? run.status_place : run.place;
    if (trace.timed_out) {
        comparison.say(place, "it did not end in time and was killed");
    } else if (trace.signal != 0) {
        comparison.say(place, "it was ended by signal " + std::to_string(trace.signal));
    } else if (const int expected = run.status.value_or(0); expected != trace.status) {
        comparison.say(
            place, "exit: expected " + std::to_string(expected) + ", actual " + std::to_string(trace.status));
    }
}

void compare_files(const Run &run, const bench::Root &root, Comparison &comparison)
{
    for (const ExpectedFile &file : run.files) {
        const std::optional<std::string> actual = root.read(file.path);
        if (!actual) {
            comparison.say(file.place, escape(file.path) + ": " +
                                           (root.exists(file.path) ? "not a readable file" : "not there"));
        } else if (*actual != file.bytes) {
            comparison.add_difference(escape(file.path), shown_lines(file.bytes), shown_lines(*actual),
                                      file.places, file.place);
        }
    }
    for (const AbsentFile &file : run.gone) {
        if (root.exists(file.path)) {
            comparison.say(file.place, escape(file.path) + ": still there");
        }
    }
}

std::string shown_setting(const std::string &key, const std::optional<std::string> &value)
{
    return value ? escape(key + "=" + *value) : "none";
}

void compare_setting(Place place, const std::string &key, const std::optional<std::string> &expected,
                     const bench::Root &root, Comparison &comparison)
{
    const std::optional<std::string> actual = root.setting(key);
    if (actual != expected) {
        comparison.say(place, "setting " + escape(key) + ": expected " + shown_setting(key, expected) +
                                  ", actual " + shown_setting(key, actual));
    }
}

void compare_settings(const Run &run, const bench::Root &root, Comparison &comparison)
{
    for (const ExpectedSetting &setting : run.settings) {
        compare_setting(setting.place, setting.entry.key, setting.entry.value, root, comparison);
    }
    for (const AbsentSetting &setting : run.unset) {
        compare_setting(setting.place, setting.key, std::nullopt, root, comparison);
    }
}

std::string run_directive(const Run &run)
{
    const char *name = run.kind == RunKind::words ? "run" : run.kind == RunKind::argv0 ? "argv0" : "direct";
    return std::string(name) + (run.words.empty() ? "" : " ") + forms::join_words(run.words);
}

// What differs after one run, empty when nothing does.
std::string compare_run(const CaseFile &file, const Run &run, const bench::Trace &trace,
                        const bench::Root &root)
{
    Comparison comparison{file};
    compare_status(run, trace, comparison);
    compare_trace(run, trace, comparison);
    compare_files(run, root, comparison);
    compare_settings(run, root, comparison);
    std::string &report = comparison.report;
    if (!report.empty() && !trace.errors.empty()) {
        report += "on standard error:\n" + trace.errors + (trace.errors.back() == '\n' ? "" : "\n");
    }
    return report;
}

// ---- printing -------------------------------------------------------------------------------------------

// What came on standard error, as comments: a scenario does not speak of it.
std::string errors_text(const std::string &errors)
{
    std::string text;
    bool complete = false;
    for (const std::string &line : forms::split_lines(errors, complete)) {
        text += "# on standard error: " + escape(line) + "\n";
    }
    return text;
}

}  // namespace

bool run_scenario(const Programs &programs, const CaseFile &file, const Scenario &scenario,
                  std::string &report)
{
    bench::Root root(programs.target, bench_setup(scenario.setup));
    for (const Run &run : scenario.runs) {
        const bench::Trace trace = root.run(bench_run(programs, scenario.setup, run));
        const std::string differences = compare_run(file, run, trace, root);
        if (!differences.empty()) {
            report += file.where(run.place) + ": " + run_directive(run) + "\n" + differences;
        }
    }
    return report.empty();
}

std::string print_scenario(const Programs &programs, const Scenario &scenario)
{
    bench::Root root(programs.target, bench_setup(scenario.setup));
    std::string text;
    for (const Run &run : scenario.runs) {
        const bench::Trace trace = root.run(bench_run(programs, scenario.setup, run));
        text += (text.empty() ? "" : "\n") + run_directive(run) + "\n" + bench::directives_after(trace, root);
        text += errors_text(trace.errors);
    }
    return text;
}
