#include "bench/show/changes.h"

#include <algorithm>

#include "bench/difference.h"
#include "bench/show/timeline.h"
#include "forms/readable.h"

namespace bench {

namespace {

constexpr size_t kShownLines = 40;

bool is_text(const std::string &bytes)
{
    return std::none_of(bytes.begin(), bytes.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte == 0 ||
               (byte < 0x20 && byte != '\n' && byte != '\t' && byte != 1 && byte != 2 && byte != 3);
    });
}

// A file as lines: text as it is, records as what they mean, anything else in hexadecimal.
std::vector<std::string> content_lines(const std::string &path, const std::string &content, bool raw)
{
    std::vector<std::string> lines;
    if (!raw) {
        lines = forms::readable_lines(path, content, forms::Secrets::kShown);
    }
    if (lines.empty()) {
        lines = is_text(content) ? text_lines(content) : forms::dump_lines(content);
    }
    return lines;
}

void print_content(const Printer &printer, const std::string &path, const std::string &content)
{
    const std::vector<std::string> lines = content_lines(path, content, printer.style.raw);
    const size_t shown = printer.style.full ? lines.size() : std::min(lines.size(), kShownLines);
    for (size_t i = 0; i < shown; ++i) {
        printer.line(Tint::kPlain, "    | " + lines[i]);
    }
    if (shown < lines.size()) {
        printer.line(Tint::kOutput,
                     "    ... " + std::to_string(lines.size() - shown) + " more lines; --full shows them");
    }
}

void print_change(const Printer &printer, const FileChange &change)
{
    const bool removed = change.what == FileChange::What::kRemoved;
    const std::string size = removed ? "" : ", " + std::to_string(change.after.size()) + " bytes";
    printer.line(removed ? Tint::kGone : Tint::kNew,
                 "  " + router_path(change.path) + "  (" + change_word(change.what) + size + ")");
    if (!removed && change.what != FileChange::What::kRewritten) {
        print_content(printer, change.path, change.after);
    }
}

std::string value_text(const std::optional<std::string> &value)
{
    return value ? "\"" + escape(*value) + "\"" : "not there";
}

bool is_store(const FileChange &change)
{
    return change.path == "/tmp/nvram" || change.path == "/dev/mtdblock/3";
}

void print_settings(const Printer &printer, const Trace &trace)
{
    if (trace.settings.empty()) {
        return;
    }
    // A run that fills an empty store changes every setting: say how many.
    if (trace.settings.size() > kShownLines && !printer.style.full) {
        printer.line(Tint::kHead, "Settings: " + std::to_string(trace.settings.size()) +
                                      " entries changed; --full shows them");
        return;
    }
    printer.line(Tint::kHead, "Settings");
    for (const SettingChange &change : trace.settings) {
        printer.line(Tint::kPlain, "  " + change.key + ": " + value_text(change.before) + " -> " +
                                       value_text(change.after));
    }
}

// The names alone, as many a line as fit.
void print_names(const Printer &printer, const std::string &heading, const std::vector<std::string> &names)
{
    std::string line = heading;
    for (const std::string &name : names) {
        if (line.size() + 1 + name.size() > short_columns(printer.style)) {
            printer.line(Tint::kPlain, line);
            line.assign(heading.size(), ' ');
        }
        line += " " + name;
    }
    if (!names.empty()) {
        printer.line(Tint::kPlain, line);
    }
}

void print_file_names(const Printer &printer, const Trace &trace)
{
    std::vector<std::string> written;
    std::vector<std::string> removed;
    for (const FileChange &change : trace.files) {
        if (change.what == FileChange::What::kRemoved) {
            removed.push_back(router_path(change.path));
        } else if (change.what != FileChange::What::kRewritten && !is_store(change)) {
            written.push_back(router_path(change.path));
        }
    }
    print_names(printer, "  files written:", written);
    print_names(printer, "  files removed:", removed);
}

void print_files(const Printer &printer, const Trace &trace)
{
    if (printer.style.quick) {
        print_file_names(printer, trace);
        return;
    }
    bool any = false;
    for (const FileChange &change : trace.files) {
        if (is_store(change) && !printer.style.all) {
            continue;
        }
        if (!any) {
            printer.line(Tint::kHead, "Files");
            any = true;
        }
        print_change(printer, change);
    }
}

void print_diff_text(const Printer &printer, const std::string &difference)
{
    for (const std::string &line : text_lines(difference)) {
        const char mark = line.empty() ? ' ' : line[0];
        printer.line(mark == '+' ? Tint::kNew : mark == '-' ? Tint::kGone : Tint::kPlain, "  " + line);
    }
}

const FileChange *change_of(const Trace &trace, const std::string &path)
{
    for (const FileChange &change : trace.files) {
        if (change.path == path) {
            return &change;
        }
    }
    return nullptr;
}

// The file's content after the run; `other` began like it and knows what a file held that this left alone.
std::vector<std::string> lines_after(const Trace &trace, const Trace &other, const std::string &path,
                                     bool raw)
{
    const FileChange *own = change_of(trace, path);
    const FileChange *others = change_of(other, path);
    const std::string content = own != nullptr ? own->after : others != nullptr ? others->before : "";
    return content_lines(path, content, raw);
}

// Bytes where what they mean is the same on both sides.
std::string file_difference(const Trace &before, const Trace &after, const std::string &path, bool raw)
{
    std::string difference;
    for (const bool as_bytes : {raw, true}) {
        if (difference.empty()) {
            difference = unified_difference(lines_after(before, after, path, as_bytes),
                                            lines_after(after, before, path, as_bytes));
        }
    }
    return difference;
}

std::vector<std::string> setting_lines(const Trace &trace)
{
    std::vector<std::string> lines;
    for (const SettingChange &change : trace.settings) {
        lines.push_back(change.key + " -> " + value_text(change.after));
    }
    return lines;
}

std::vector<std::string> changed_paths(const Trace &before, const Trace &after)
{
    std::vector<std::string> paths;
    for (const Trace *trace : {&before, &after}) {
        for (const FileChange &change : trace->files) {
            if (!is_store(change)) {
                paths.push_back(change.path);
            }
        }
    }
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    return paths;
}

// Lines of a timeline or of errors: folded, and fitted to the terminal's width, unless all are wanted.
void print_lines(const Printer &printer, const std::vector<Line> &lines)
{
    for (const Line &line : printer.style.full ? lines : folded(lines)) {
        if (printer.style.columns == 0 || printer.style.full) {
            printer.line(line.tint, line.text);
            continue;
        }
        for (const std::string &piece : broken(line.text, line.indent, printer.style.columns)) {
            printer.line(line.tint, piece);
        }
    }
}

void print_errors(const Printer &printer, const Trace &trace)
{
    if (trace.errors.empty()) {
        return;
    }
    printer.line(Tint::kHead, "Standard error");
    std::vector<Line> lines;
    for (const std::string &line : text_lines(trace.errors)) {
        lines.push_back({Tint::kPlain, "  " + escape(line), 2});
    }
    print_lines(printer, lines);
}

}  // namespace

std::string router_path(const std::string &path)
{
    return path.starts_with("/tmp/var/") ? path.substr(4) : path;
}

const char *change_word(FileChange::What what)
{
    switch (what) {
        case FileChange::What::kCreated:
            return "created";
        case FileChange::What::kChanged:
            return "changed";
        case FileChange::What::kRewritten:
            return "written again, same content";
        case FileChange::What::kRemoved:
            break;
    }
    return "removed";
}

void print_report(FILE *out, const std::vector<std::string> &words, const Trace &trace, const Style &style)
{
    const Printer printer = {out, style};
    printer.line(Tint::kStrong, "$ " + command_words(words));
    if (trace.timed_out) {
        printer.line(Tint::kGone, "  " + cut_off(trace));
    }
    print_lines(printer, timeline(trace, style));
    if (const std::string spent = time_spent(trace); !spent.empty()) {
        printer.line(Tint::kOutput, "  " + spent);
    }
    printer.line(Tint::kOutput, "  " + ending(trace));
    print_errors(printer, trace);
    if (!style.brief) {
        print_settings(printer, trace);
        print_files(printer, trace);
    }
}

void print_file(FILE *out, const std::string &path, const std::optional<std::string> &content,
                const Style &style)
{
    const Printer printer = {out, style};
    printer.line(Tint::kNew, "  " + path + (content ? "" : "  (not there)"));
    print_content(printer, path, content.value_or(""));
}

bool print_part(const Printer &printer, const std::string &heading, const std::string &difference)
{
    if (difference.empty()) {
        return false;
    }
    printer.line(Tint::kHead, heading);
    print_diff_text(printer, difference);
    return true;
}

bool differs(const Trace &before, const Trace &after)
{
    if (before.status != after.status || setting_lines(before) != setting_lines(after) ||
        trace_lines(before) != trace_lines(after) || before.errors != after.errors) {
        return true;
    }
    for (const std::string &path : changed_paths(before, after)) {
        if (lines_after(before, after, path, true) != lines_after(after, before, path, true)) {
            return true;
        }
    }
    return false;
}

bool differs_or_says_so(FILE *out, bool differs)
{
    if (!differs) {
        fputs("No difference.\n", out);
    }
    return differs;
}

bool print_difference(FILE *out, const Trace &before, const Trace &after, const Style &style)
{
    const Printer printer = {out, style};
    bool any = print_part(printer, "Commands",
                          unified_difference(timeline_text(before, style), timeline_text(after, style)));
    any |= !style.brief && print_part(printer, "Settings after",
                                      unified_difference(setting_lines(before), setting_lines(after)));
    const std::vector<std::string> none;
    for (const std::string &path : style.brief ? none : changed_paths(before, after)) {
        any |= print_part(printer, router_path(path), file_difference(before, after, path, style.raw));
    }
    any |= print_part(printer, "Standard error",
                      unified_difference(text_lines(before.errors), text_lines(after.errors)));
    if (before.status != after.status) {
        printer.line(Tint::kHead,
                     "Exit status: " + std::to_string(before.status) + " -> " + std::to_string(after.status));
        any = true;
    }
    return differs_or_says_so(out, any);
}

}  // namespace bench
