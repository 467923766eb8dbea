// Timeline, differences and JSON of bench runs.

#include "bench/report.h"

#include <algorithm>
#include <cstdarg>

#include "bench/difference.h"

namespace bench {

namespace {

constexpr size_t kShownLines = 40;
constexpr size_t kShortColumns = 96;  // a difference adds its marks
constexpr size_t kFewCommands = 4;    // of one tool in a row; fewer stand alone
constexpr long kShortYield = 10;      // microseconds; shorter pauses are rc's yields to daemons

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

std::string base_name(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

// A run of rc that a script started: unlike one that rc's own command is, no line tells it yet.
bool is_script_run(const std::vector<Event> &events, size_t at)
{
    const Event &event = events[at];
    if (event.kind != Kind::kTool || event.words.empty() || base_name(event.words[0]) != "rc") {
        return false;
    }
    while (at > 0 && (events[at].kind != Kind::kShell || events[at].depth != event.depth)) {
        --at;
    }
    return !events[at].text.starts_with(command_words(event.words));
}

bool is_shown(const std::vector<Event> &events, size_t at, const ReportStyle &style)
{
    const Event &event = events[at];
    if (style.all) {
        return true;
    }
    if (event.kind == Kind::kTool) {
        return is_script_run(events, at);
    }
    return event.kind != Kind::kUsleep || event.number >= kShortYield;
}

struct Line {
    Tint tint;
    std::string text;
};

// The text behind its label, indented by depth.
std::string labelled(const Event &event, const std::string &text, const ReportStyle &style)
{
    // Without --all the one kind of tool call that is shown is a run of rc by a script.
    const std::string label = event.kind == Kind::kTool && !style.all ? "script" : label_of(event).text;
    std::string line(static_cast<size_t>(2 + 4 * event.depth), ' ');
    line += label;
    line.append(label.size() < 7 ? 7 - label.size() : 1, ' ');
    line += text;
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

// Commands whose text rc also prints are common; such an echo stands right before or behind its command.
bool is_echo(const std::vector<Event> &events, size_t at)
{
    const auto is_command = [&](size_t other) {
        return other < events.size() && events[other].kind == Kind::kShell &&
               events[other].text == events[at].text;
    };
    return events[at].kind == Kind::kOut && (is_command(at + 1) || is_command(at - 1));
}

// The events for a first look: no echoes, no empty output, no pauses under a second.
std::vector<Event> first_look(const Trace &trace)
{
    std::vector<Event> seen;
    for (size_t i = 0; i < trace.events.size(); ++i) {
        if (is_shown(trace.events, i, {}) && trace.events[i].kind != Kind::kUsleep) {
            seen.push_back(trace.events[i]);
        }
    }
    std::vector<Event> kept;
    for (size_t i = 0; i < seen.size(); ++i) {
        if (!is_echo(seen, i) && !(seen[i].kind == Kind::kOut && seen[i].text.empty())) {
            kept.push_back(seen[i]);
        }
    }
    return kept;
}

std::string tool_of(const Event &event)
{
    if (event.kind != Kind::kShell) {
        return "";
    }
    return base_name(event.text.substr(0, event.text.find(' ')));
}

// The line with its note, the line cut where both do not fit.
std::string cut(const std::string &line, const std::string &note)
{
    if (line.size() + note.size() <= kShortColumns) {
        return line + note;
    }
    const std::string end = " ..." + note;
    return line.substr(0, kShortColumns - std::min(kShortColumns, end.size())) + end;
}

// Several commands of one tool in a row stand in one line.
std::vector<Line> short_timeline(const Trace &trace)
{
    const std::vector<Event> events = first_look(trace);
    std::vector<Line> lines;
    for (size_t i = 0; i < events.size();) {
        const std::string tool = tool_of(events[i]);
        size_t end = i + 1;
        while (end < events.size() && !tool.empty() && tool_of(events[end]) == tool &&
               events[end].depth == events[i].depth) {
            ++end;
        }
        end = end - i < kFewCommands ? i + 1 : end;
        std::string text = event_text(events[i]);
        if (text.ends_with("\\x20")) {
            text.erase(text.size() - 4);
        }
        const std::string note =
            end - i > 1 ? "   ... and " + std::to_string(end - i - 1) + " more of " + tool : "";
        lines.push_back({label_of(events[i]).tint, cut(labelled(events[i], text, {}), note)});
        i = end;
    }
    return lines;
}

std::vector<Line> timeline(const Trace &trace, const ReportStyle &style)
{
    if (style.quick) {
        return short_timeline(trace);
    }
    std::vector<Line> lines;
    for (size_t i = 0; i < trace.events.size(); ++i) {
        if (is_shown(trace.events, i, style)) {
            const Event &event = trace.events[i];
            lines.push_back({label_of(event).tint, labelled(event, event_text(event), style)});
        }
    }
    return lines;
}

std::vector<std::string> timeline_text(const Trace &trace, const ReportStyle &style)
{
    std::vector<std::string> texts;
    for (const Line &line : timeline(trace, style)) {
        texts.push_back(line.text);
    }
    return texts;
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

// The name under which rc knows the file: /var is a link to /tmp/var.
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

void print_content(const Printer &printer, const std::string &content)
{
    if (!is_text(content)) {
        printer.line(Tint::kOutput, "    (no text; see it with --keep)");
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
                 "  " + router_path(change.path) + "  (" + change_word(change.what) + size + ")");
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

// The names alone, as many a line as fit.
void print_names(const Printer &printer, const std::string &heading, const std::vector<std::string> &names)
{
    std::string line = heading;
    for (const std::string &name : names) {
        if (line.size() + 1 + name.size() > kShortColumns) {
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

std::vector<std::string> dump_lines(const std::string &bytes)
{
    constexpr size_t kColumns = 16;
    std::vector<std::string> lines;
    char piece[24];
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i % kColumns == 0) {
            snprintf(piece, sizeof piece, "%06zx ", i);
            lines.emplace_back(piece);
        }
        snprintf(piece, sizeof piece, " %02x", static_cast<unsigned char>(bytes[i]));
        lines.back() += piece;
    }
    return lines;
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
std::vector<std::string> lines_after(const Trace &trace, const Trace &other, const std::string &path)
{
    const FileChange *own = change_of(trace, path);
    const FileChange *others = change_of(other, path);
    const std::string content = own != nullptr ? own->after : others != nullptr ? others->before : "";
    return is_text(content) ? text_lines(content) : dump_lines(content);
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

// Without what stays and where.
std::string changed_lines(const std::string &difference)
{
    std::string changed;
    for (const std::string &line : text_lines(difference)) {
        if (line.starts_with('+') || line.starts_with('-')) {
            changed += line + "\n";
        }
    }
    return changed;
}

// One paragraph of the rules by chain.
struct Chain {
    std::string name;
    std::vector<std::string> lines;
};

// The columns of the paragraph are for reading it whole; here one blank is enough.
std::string without_columns(const std::string &line)
{
    std::string squeezed;
    for (const char c : line) {
        if (c != ' ' || !squeezed.ends_with("  ")) {
            squeezed += c;
        }
    }
    return squeezed.substr(std::min(squeezed.find_first_not_of(' '), squeezed.size()));
}

std::vector<Chain> chains_of(const std::string &rules)
{
    std::vector<Chain> chains;
    bool begins = true;
    for (const std::string &line : text_lines(rules)) {
        if (line.empty()) {
            begins = true;
        } else if (begins) {
            chains.push_back({line, {}});
            begins = false;
        } else {
            chains.back().lines.push_back(without_columns(line));
        }
    }
    return chains;
}

std::vector<std::string> lines_of(const std::vector<Chain> &chains, const std::string &name)
{
    for (const Chain &chain : chains) {
        if (chain.name == name) {
            return chain.lines;
        }
    }
    return {};
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
    for (const Line &line : timeline(trace, style)) {
        printer.line(line.tint, line.text);
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
    bool any = print_part(printer, "Commands",
                          unified_difference(timeline_text(before, style), timeline_text(after, style)));
    any |= !style.brief && print_part(printer, "Settings after",
                                      unified_difference(setting_lines(before), setting_lines(after)));
    const std::vector<std::string> none;
    for (const std::string &path : style.brief ? none : changed_paths(before, after)) {
        any |= print_part(
            printer, router_path(path),
            unified_difference(lines_after(before, after, path), lines_after(after, before, path)));
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

void print_rules_difference(FILE *out, const std::string &before, const std::string &after,
                            const ReportStyle &style)
{
    const Printer printer = {out, style};
    const std::vector<Chain> old_chains = chains_of(before);
    const std::vector<Chain> new_chains = chains_of(after);
    std::vector<std::string> names;
    for (const std::vector<Chain> *chains : {&new_chains, &old_chains}) {
        for (const Chain &chain : *chains) {
            if (std::find(names.begin(), names.end(), chain.name) == names.end()) {
                names.push_back(chain.name);
            }
        }
    }
    bool any = false;
    for (const std::string &name : names) {
        const std::string difference =
            unified_difference(lines_of(old_chains, name), lines_of(new_chains, name));
        any |= print_part(printer, name, style.quick ? changed_lines(difference) : difference);
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
