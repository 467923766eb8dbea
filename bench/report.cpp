// Timeline, differences and JSON of bench runs.

#include "bench/report.h"

#include <algorithm>
#include <cstdarg>

#include "bench/difference.h"

namespace bench {

namespace {

constexpr size_t kShownLines = 40;
constexpr long kShortYield = 10;  // microseconds; shorter pauses are rc's yields to daemons

enum class Tint { kPlain, kStrong, kCommand, kPause, kOutput, kHead, kGone, kNew };

const char *tint_code(Tint tint)
{
    switch (tint) {
        case Tint::kStrong:
            return "\033[1m";
        case Tint::kCommand:
            return "\033[36m";
        case Tint::kPause:
            return "\033[33m";
        case Tint::kOutput:
            return "\033[2m";
        case Tint::kHead:
            return "\033[1;34m";
        case Tint::kGone:
            return "\033[31m";
        case Tint::kNew:
            return "\033[32m";
        case Tint::kPlain:
            break;
    }
    return "";
}

// Prints whole lines to one stream, tinted where colour is wanted.
struct Printer {
    FILE *out;
    ReportStyle style;

    void line(Tint tint, const std::string &text) const
    {
        const bool tinted = style.colour && tint != Tint::kPlain;
        fprintf(out, "%s%s%s\n", tinted ? tint_code(tint) : "", text.c_str(), tinted ? "\033[0m" : "");
    }
};

struct Label {
    const char *text;
    Tint tint;
};

Label label_of(const Event &event)
{
    switch (event.kind) {
        case Kind::kShell:
            return {"run", Tint::kCommand};
        case Kind::kSleep:
        case Kind::kUsleep:
            return {"wait", Tint::kPause};
        case Kind::kHostname:
            return {"host", Tint::kCommand};
        case Kind::kDomainname:
            return {"domain", Tint::kCommand};
        case Kind::kKlog:
            return {"klog", Tint::kCommand};
        case Kind::kKill:
            return {"signal", Tint::kCommand};
        case Kind::kTool:
            return {"tool", Tint::kOutput};
        case Kind::kOut:
            break;
    }
    return {"out", Tint::kOutput};
}

std::string event_text(const Event &event)
{
    switch (event.kind) {
        case Kind::kSleep:
            return std::to_string(event.number) + " s";
        case Kind::kUsleep:
            return std::to_string(event.number) + " us";
        case Kind::kKlog:
            return "action " + std::to_string(event.number);
        case Kind::kKill:
            return std::to_string(event.signal) + " to process " + std::to_string(event.number);
        case Kind::kTool:
            return command_words(event.words);
        default:
            return escape(event.text) + (event.unended ? "   (no line end)" : "");
    }
}

bool is_shown(const Event &event, const ReportStyle &style)
{
    if (style.all) {
        return true;
    }
    if (event.kind == Kind::kTool) {
        return false;
    }
    return event.kind != Kind::kUsleep || event.number >= kShortYield;
}

std::string timeline_line(const Event &event)
{
    const std::string label = label_of(event).text;
    std::string line(static_cast<size_t>(2 + 4 * event.depth), ' ');
    line += label;
    line.append(label.size() < 7 ? 7 - label.size() : 1, ' ');
    return line + event_text(event);
}

std::vector<std::string> timeline(const Trace &trace, const ReportStyle &style)
{
    std::vector<std::string> lines;
    for (const Event &event : trace.events) {
        if (is_shown(event, style)) {
            lines.push_back(timeline_line(event));
        }
    }
    return lines;
}

bool is_text(const std::string &bytes)
{
    return std::none_of(bytes.begin(), bytes.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte == 0 ||
               (byte < 0x20 && byte != '\n' && byte != '\t' && byte != 1 && byte != 2 && byte != 3);
    });
}

std::vector<std::string> text_lines(const std::string &bytes)
{
    std::vector<std::string> lines;
    size_t at = 0;
    while (at < bytes.size()) {
        const size_t end = bytes.find('\n', at);
        if (end == std::string::npos) {
            lines.push_back(bytes.substr(at) + "   (no line end)");
            break;
        }
        lines.push_back(bytes.substr(at, end - at));
        at = end + 1;
    }
    return lines;
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

void print_content(const Printer &printer, const std::string &content)
{
    if (!is_text(content)) {
        return;
    }
    const std::vector<std::string> lines = text_lines(content);
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
                 "  " + change.path + "  (" + change_word(change.what) + size + ")");
    if (!removed && change.what != FileChange::What::kRewritten) {
        print_content(printer, change.after);
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

void print_files(const Printer &printer, const Trace &trace)
{
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

std::string ending(const Trace &trace)
{
    char text[96];
    if (trace.timed_out) {
        snprintf(text, sizeof text, "stopped at its time limit after %.1f s", trace.seconds);
    } else if (trace.signal != 0) {
        snprintf(text, sizeof text, "ended by signal %d, %.0f ms", trace.signal, trace.seconds * 1000);
    } else {
        snprintf(text, sizeof text, "exit status %d, %.0f ms", trace.status, trace.seconds * 1000);
    }
    return text;
}

void print_diff_text(const Printer &printer, const std::string &difference)
{
    for (const std::string &line : text_lines(difference)) {
        const char mark = line.empty() ? ' ' : line[0];
        printer.line(mark == '+' ? Tint::kNew : mark == '-' ? Tint::kGone : Tint::kPlain, "  " + line);
    }
}

std::string content_after(const Trace &trace, const std::string &path)
{
    for (const FileChange &change : trace.files) {
        if (change.path == path) {
            return change.after;
        }
    }
    return {};
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

// Prints one part of a difference under its heading; nothing when both sides are the same.
bool print_part(const Printer &printer, const std::string &heading, const std::string &difference)
{
    if (difference.empty()) {
        return false;
    }
    printer.line(Tint::kHead, heading);
    print_diff_text(printer, difference);
    return true;
}

std::string json_text(const std::string &text)
{
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20 || byte > 0x7e) {
            char code[8];
            snprintf(code, sizeof code, "\\u%04x", byte);
            out += code;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string json_optional(const std::optional<std::string> &text)
{
    return text ? json_text(*text) : "null";
}

std::string json_words(const std::vector<std::string> &words)
{
    std::string out = "[";
    for (const std::string &word : words) {
        out += (out.size() > 1 ? ", " : "") + json_text(word);
    }
    return out + "]";
}

std::string json_event(const Event &event)
{
    std::string out =
        "{\"kind\": " + json_text(label_of(event).text) + ", \"depth\": " + std::to_string(event.depth);
    switch (event.kind) {
        case Kind::kSleep:
            return out + ", \"seconds\": " + std::to_string(event.number) + "}";
        case Kind::kUsleep:
            return out + ", \"microseconds\": " + std::to_string(event.number) + "}";
        case Kind::kKlog:
            return out + ", \"action\": " + std::to_string(event.number) + "}";
        case Kind::kKill:
            return out + ", \"process\": " + std::to_string(event.number) +
                   ", \"signal\": " + std::to_string(event.signal) + "}";
        case Kind::kTool:
            return out + ", \"words\": " + json_words(event.words) + "}";
        default:
            out += ", \"text\": " + json_text(event.text);
            return out + (event.unended ? ", \"unended\": true}" : "}");
    }
}

template <typename Items, typename Write>
std::string json_list(const Items &items, const Write &write)
{
    std::string out = "[";
    for (const auto &item : items) {
        out += (out.size() > 1 ? ",\n    " : "\n    ") + write(item);
    }
    return out + (out.size() > 1 ? "\n  ]" : "]");
}

}  // namespace

std::string command_words(const std::vector<std::string> &words)
{
    std::string line;
    for (const std::string &word : words) {
        const bool plain = !word.empty() && word.find_first_of(" \t\n\"'\\$`|&;<>*?") == std::string::npos;
        line += (line.empty() ? "" : " ") + (plain ? word : "'" + escape(word) + "'");
    }
    return line;
}

void print_report(FILE *out, const std::vector<std::string> &words, const Trace &trace,
                  const ReportStyle &style)
{
    const Printer printer = {out, style};
    printer.line(Tint::kStrong, "$ " + command_words(words));
    for (const Event &event : trace.events) {
        if (is_shown(event, style)) {
            printer.line(label_of(event).tint, timeline_line(event));
        }
    }
    printer.line(Tint::kOutput, "  " + ending(trace));
    if (!trace.errors.empty()) {
        printer.line(Tint::kHead, "Standard error");
        for (const std::string &line : text_lines(trace.errors)) {
            printer.line(Tint::kPlain, "  " + escape(line));
        }
    }
    if (!style.brief) {
        print_settings(printer, trace);
        print_files(printer, trace);
    }
}

void print_file(FILE *out, const std::string &path, const std::optional<std::string> &content,
                const ReportStyle &style)
{
    const Printer printer = {out, style};
    printer.line(Tint::kNew, "  " + path + (content ? "" : "  (not there)"));
    print_content(printer, content.value_or(""));
}

void print_difference(FILE *out, const Trace &before, const Trace &after, const ReportStyle &style)
{
    const Printer printer = {out, style};
    bool any =
        print_part(printer, "Commands", unified_difference(timeline(before, style), timeline(after, style)));
    any |= print_part(printer, "Settings after",
                      unified_difference(setting_lines(before), setting_lines(after)));
    for (const std::string &path : changed_paths(before, after)) {
        any |= print_part(printer, path,
                          unified_difference(text_lines(content_after(before, path)),
                                             text_lines(content_after(after, path))));
    }
    if (before.status != after.status) {
        printer.line(Tint::kHead,
                     "Exit status: " + std::to_string(before.status) + " -> " + std::to_string(after.status));
        any = true;
    }
    if (!any) {
        printer.line(Tint::kPlain, "No difference.");
    }
}

std::string json_report(const std::vector<std::string> &words, const Trace &trace)
{
    std::string out = "{\n  \"words\": " + json_words(words) +
                      ",\n  \"status\": " + std::to_string(trace.status) +
                      ",\n  \"timed_out\": " + (trace.timed_out ? "true" : "false") + ",\n  \"events\": ";
    out += json_list(trace.events, json_event);
    out += ",\n  \"settings\": " + json_list(trace.settings, [](const SettingChange &change) {
               return "{\"key\": " + json_text(change.key) + ", \"before\": " + json_optional(change.before) +
                      ", \"after\": " + json_optional(change.after) + "}";
           });
    out += ",\n  \"files\": " + json_list(trace.files, [](const FileChange &change) {
               return "{\"path\": " + json_text(change.path) +
                      ", \"what\": " + json_text(change_word(change.what)) +
                      ", \"content\": " + json_text(change.after) + "}";
           });
    out += ",\n  \"errors\": " + json_text(trace.errors) + "\n}\n";
    return out;
}

}  // namespace bench
