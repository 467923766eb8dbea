#include "bench/show/timeline.h"

#include <algorithm>

namespace bench {

namespace {

constexpr size_t kFewCommands = 4;  // of one tool in a row; fewer stand alone
constexpr long kShortYield = 10;    // microseconds; shorter pauses are rc's yields to daemons

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

bool is_shown(const std::vector<Event> &events, size_t at, const Style &style)
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

// Where an event's text begins: behind its indented label.
size_t text_column(const Event &event, const std::string &label)
{
    return static_cast<size_t>(2 + 4 * event.depth) + std::max(label.size() + 1, size_t{7});
}

// The text behind its label, indented by depth.
std::string labelled(const Event &event, const std::string &text, const Style &style)
{
    // Without --all the one kind of tool call that is shown is a run of rc by a script.
    const std::string label = event.kind == Kind::kTool && !style.all ? "script" : label_of(event).text;
    std::string line(static_cast<size_t>(2 + 4 * event.depth), ' ');
    line += label;
    line.resize(text_column(event, label), ' ');
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
std::string with_note(const std::string &line, const std::string &note, size_t columns)
{
    if (line.size() + note.size() <= columns) {
        return line + note;
    }
    const std::string end = " ..." + note;
    return line.substr(0, columns - std::min(columns, end.size())) + end;
}

// Several commands of one tool in a row stand in one line.
std::vector<Line> short_timeline(const Trace &trace, const Style &style)
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
        lines.push_back(
            {label_of(events[i]).tint, with_note(labelled(events[i], text, {}), note, short_columns(style))});
        i = end;
    }
    return lines;
}

std::vector<Line> whole_timeline(const Trace &trace, const Style &style)
{
    std::vector<Line> lines;
    for (size_t i = 0; i < trace.events.size(); ++i) {
        if (is_shown(trace.events, i, style)) {
            const Event &event = trace.events[i];
            const std::string text = labelled(event, event_text(event), style);
            lines.push_back({label_of(event).tint, text, text_column(event, label_of(event).text)});
        }
    }
    return lines;
}

// Of several runs of rc that are going on, one inside the other.
struct Level {
    std::string tool = "its start";  // of the last command
    bool background = false;         // that command, or the run itself, is one nobody waits for
};

bool in_background(const std::string &command)
{
    return command.find_last_not_of(' ') != std::string::npos &&
           command[command.find_last_not_of(' ')] == '&';
}

// Pauses by the command before each.
struct Pauses {
    long microseconds = 0;
    std::vector<std::pair<std::string, long>> after = {};

    void add(const std::string &tool, long length)
    {
        microseconds += length;
        for (auto &[name, sum] : after) {
            if (name == tool) {
                sum += length;
                return;
            }
        }
        after.emplace_back(tool, length);
    }
};

// Those that the run itself waits for, and those of runs in the background.
struct AllPauses {
    Pauses waited_for;
    Pauses meanwhile;
};

AllPauses pauses_of(const Trace &trace)
{
    AllPauses pauses;
    std::vector<Level> levels(1);
    for (const Event &event : trace.events) {
        const auto depth = static_cast<size_t>(event.depth);
        while (levels.size() <= depth) {
            levels.push_back({"its start", levels.back().background});
        }
        levels.resize(depth + 1);
        if (event.kind == Kind::kShell) {
            const bool inherited = depth > 0 && levels[depth - 1].background;
            const bool itself = in_background(event.text);
            levels[depth] = {tool_of(event) + (itself ? " in the background" : ""), inherited || itself};
        }
        if (event.kind == Kind::kSleep || event.kind == Kind::kUsleep) {
            const bool waited_for = depth == 0 || !levels[depth - 1].background;
            (waited_for ? pauses.waited_for : pauses.meanwhile)
                .add(levels[depth].tool, event.kind == Kind::kSleep ? event.number * 1000000 : event.number);
        }
    }
    return pauses;
}

std::string seconds_text(long microseconds)
{
    const long tenths = (microseconds + 50000) / 100000;
    return std::to_string(tenths / 10) + (tenths % 10 == 0 ? "" : "." + std::to_string(tenths % 10)) + " s";
}

// Nothing of less than a second.
std::string pauses_text(Pauses pauses)
{
    constexpr long kSecond = 1000000;
    constexpr size_t kMostNamed = 4;
    if (pauses.microseconds < kSecond) {
        return "";
    }
    std::stable_sort(pauses.after.begin(), pauses.after.end(),
                     [](const auto &left, const auto &right) { return left.second > right.second; });
    std::string parts;
    for (size_t i = 0; i < std::min(pauses.after.size(), kMostNamed); ++i) {
        if (pauses.after[i].second >= kSecond / 10) {
            parts += (parts.empty() ? "" : ", ") + seconds_text(pauses.after[i].second) + " after " +
                     pauses.after[i].first;
        }
    }
    return "pauses of " + seconds_text(pauses.microseconds) + ": " + parts;
}

}  // namespace

const char *event_label(const Event &event)
{
    return label_of(event).text;
}

std::vector<Line> timeline(const Trace &trace, const Style &style)
{
    return style.quick ? short_timeline(trace, style) : whole_timeline(trace, style);
}

std::vector<std::string> timeline_text(const Trace &trace, const Style &style)
{
    Style unfitted = style;
    unfitted.columns = 0;
    std::vector<std::string> texts;
    for (const Line &line : timeline(trace, unfitted)) {
        texts.push_back(line.text);
    }
    return texts;
}

std::string time_spent(const Trace &trace)
{
    const AllPauses pauses = pauses_of(trace);
    const std::string waited_for = pauses_text(pauses.waited_for);
    const std::string meanwhile = pauses_text(pauses.meanwhile);
    return waited_for + (meanwhile.empty()
                             ? ""
                             : std::string(waited_for.empty() ? "" : "; ") +
                                   "meanwhile, in runs that it does not wait for, " + meanwhile);
}

std::string cut_off(const Trace &trace)
{
    if (!trace.timed_out) {
        return "";
    }
    const std::string what = trace.limit == "pauses"   ? "at the limit of pauses; --pauses sets it"
                             : trace.limit == "output" ? "at the limit of output; --output sets it"
                                                       : "at the time limit; --limit sets it";
    return "cut off " + what;
}

std::string ending(const Trace &trace)
{
    if (trace.timed_out) {
        return cut_off(trace);
    }
    if (trace.signal != 0) {
        return "ended by signal " + std::to_string(trace.signal);
    }
    return "exit status " + std::to_string(trace.status);
}

}  // namespace bench
