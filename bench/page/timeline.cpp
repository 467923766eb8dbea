// A run on a page: its time as bars, its events as a list, what it changed.
#include <algorithm>

#include "bench/difference.h"
#include "bench/page/page.h"
#include "bench/show/changes.h"
#include "bench/show/printer.h"
#include "bench/show/timeline.h"

namespace page {

namespace {

constexpr long long kSecond = 1000000;
constexpr size_t kMostLines = 400;  // of one file

// A run of rc, or a pause in it.
struct Bar {
    size_t row = 0;  // depth
    long long begin = 0;
    long long end = 0;
    std::string name;
    bool pause = false;
};

struct Times {
    std::vector<long long> events;  // when each begins, in microseconds after the run's begin
    std::vector<Bar> bars;
    long long end = 0;
};

bool in_background(const std::string &command)
{
    const size_t last = command.find_last_not_of(" \n");
    return last != std::string::npos && command[last] == '&';
}

long long length_of(const bench::Event &event)
{
    return event.kind == bench::Kind::kSleep    ? event.number * kSecond
           : event.kind == bench::Kind::kUsleep ? event.number
                                                : 0;
}

// One run going on: its own clock, and the command that it last gave.
struct Level {
    long long now = 0;
    long long begin = 0;
    std::string command;
};

// Moves the clocks along the events: a nested run begins at the time of the command that started it, and that
// command's run goes on at its end, if it waits for it.
class Clocks {
  public:
    explicit Clocks(const std::string &name) : levels_{{0, 0, name}} { names_ = {name}; }

    Times times_of(const std::vector<bench::Event> &events)
    {
        for (const bench::Event &event : events) {
            step(event);
        }
        leave(0);
        close(levels_.front(), 0);
        std::stable_sort(times_.bars.begin(), times_.bars.end(),
                         [](const Bar &left, const Bar &right) { return left.row < right.row; });
        return std::move(times_);
    }

  private:
    void step(const bench::Event &event)
    {
        const auto depth = static_cast<size_t>(event.depth);
        leave(depth);
        while (levels_.size() <= depth) {
            const Level &above = levels_.back();
            names_.push_back(above.command);
            levels_.push_back({above.now, above.now, ""});
        }
        Level &level = levels_[depth];
        times_.events.push_back(level.now);
        if (event.kind == bench::Kind::kShell) {
            level.command = event.text;
        }
        const long long length = length_of(event);
        if (length >= kSecond / 10) {
            times_.bars.push_back({depth, level.now, level.now + length,
                                   std::to_string(length / kSecond) + " s after " +
                                       (level.command.empty() ? "its start" : level.command),
                                   true});
        }
        level.now += length;
        times_.end = std::max(times_.end, level.now);
    }

    // The runs that are deeper have ended.
    void leave(size_t depth)
    {
        while (levels_.size() > depth + 1) {
            const Level ended = levels_.back();
            close(ended, levels_.size() - 1);
            levels_.pop_back();
            names_.pop_back();
            if (!in_background(levels_.back().command)) {
                levels_.back().now = std::max(levels_.back().now, ended.now);
            }
        }
    }

    void close(const Level &level, size_t depth)
    {
        times_.bars.push_back({depth, level.begin, level.now, names_[depth], false});
    }

    std::vector<Level> levels_;
    std::vector<std::string> names_;
    Times times_;
};

std::string seconds_text(long long microseconds)
{
    const long long tenths = (microseconds + kSecond / 20) / (kSecond / 10);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

std::string number(double value)
{
    char out[32];
    (void)snprintf(out, sizeof out, "%.1f", value);
    return out;
}

constexpr double kWidth = 900;
constexpr double kRow = 26;

double place_of(long long time, long long whole)
{
    return kWidth * static_cast<double>(time) / static_cast<double>(whole);
}

std::string span_text(const Bar &bar)
{
    return seconds_text(bar.begin) + " to " + seconds_text(bar.end) + " s";
}

// A run as a bar with its name, for which there is room up to `limit`; a pause as a strip at the bar's foot.
std::string bar_svg(const Bar &bar, long long whole, double top, double limit)
{
    const double left = place_of(bar.begin, whole);
    const double width = std::max(place_of(bar.end, whole) - left, 2.0);
    const std::string name = bench::escape(bar.name);
    const auto room = static_cast<size_t>(std::max(limit - left - 4, 0.0) / 7.5);
    std::string out = "<g><title>" + text(bench::cut_to(name, 120) + ", " + span_text(bar)) +
                      "</title><rect x=\"" + number(left) + "\" y=\"" + number(top + (bar.pause ? 15 : 0)) +
                      "\" width=\"" + number(std::max(width - (bar.pause ? 1 : 0), 1.0)) + "\" height=\"" +
                      number(bar.pause ? 5 : 20) + "\" fill=\"" +
                      (bar.pause ? "var(--pause,#c98b1b)" : "var(--run,#2f6db3)") + "\" fill-opacity=\"" +
                      (bar.pause ? "1" : ".3") + "\"/>";
    if (room >= 4 && !bar.pause) {
        out += "<text x=\"" + number(left + 4) + "\" y=\"" + number(top + 12) + "\">" +
               text(bench::cut_to(name, room)) + "</text>";
    }
    return out + "</g>\n";
}

// Seconds between two marks of the axis: five to ten of them.
long long step_of(long long whole)
{
    long long step = kSecond;
    for (const int factor : {2, 5, 10, 20, 30, 60, 120, 300, 600, 1800, 3600}) {
        if (whole / step > 10) {
            step = factor * kSecond;
        }
    }
    return step;
}

std::string axis_svg(long long whole, double height)
{
    std::string out;
    for (long long mark = 0; mark <= whole; mark += step_of(whole)) {
        const std::string x = number(kWidth * static_cast<double>(mark) / static_cast<double>(whole));
        out += "<path d=\"M" + x + " 0V" + number(height) +
               "\" stroke=\"var(--line,#c9c9c9)\" fill=\"none\"/><text x=\"" + x + "\" y=\"" +
               number(height + 14) + "\" font-size=\"12\">" + std::to_string(mark / kSecond) + " s</text>";
    }
    return out + "\n";
}

std::string event_text(const bench::Event &event)
{
    switch (event.kind) {
        case bench::Kind::kSleep:
            return std::to_string(event.number) + " s";
        case bench::Kind::kUsleep:
            return std::to_string(event.number) + " us";
        case bench::Kind::kKlog:
            return "action " + std::to_string(event.number);
        case bench::Kind::kKill:
            return std::to_string(event.signal) + " to process " + std::to_string(event.number);
        default:
            return event.text;
    }
}

std::string pad(int depth)
{
    return depth == 0 ? "" : " style=\"padding-left:" + std::to_string(depth * 2) + "rem\"";
}

// The stores are shown as settings; a file written as it was is no change.
bool is_shown(const bench::FileChange &change)
{
    return change.what != bench::FileChange::What::kRewritten && change.path != "/tmp/nvram" &&
           !change.path.starts_with("/dev/");
}

// Files that a command names and that the run changed, as links to them.
std::string links(const std::string &command, const bench::Trace &trace, const std::string &prefix)
{
    std::string out;
    for (size_t i = 0; i < trace.files.size(); ++i) {
        const std::string path = bench::router_path(trace.files[i].path);
        if (is_shown(trace.files[i]) && path.size() > 5 && command.find(path) != std::string::npos) {
            out += " <a href=\"#" + prefix + "file" + std::to_string(i) + "\">" + text(path) + "</a>";
        }
    }
    return out;
}

bool is_told(const bench::Event &event)
{
    return event.kind != bench::Kind::kTool && (event.kind != bench::Kind::kUsleep || event.number >= 10);
}

std::string events_html(const bench::Trace &trace, const Times &times, const std::string &prefix)
{
    size_t told = 0;
    std::string items;
    for (size_t i = 0; i < trace.events.size(); ++i) {
        const bench::Event &event = trace.events[i];
        if (!is_told(event)) {
            continue;
        }
        ++told;
        const std::string label = bench::event_label(event);
        items += "<li class=" + label + "><span>" + seconds_text(times.events[i]) + "</span><b>" + label +
                 "</b><div" + pad(event.depth) + "><code>" + text(event_text(event)) + "</code>" +
                 (event.kind == bench::Kind::kShell ? links(event.text, trace, prefix) : "") + "</div>\n";
    }
    const std::string list = prefix + "events";
    return "<label>Show lines with <input type=search data-for=" + list +
           " autocomplete=off></label><p id=" + list + "-count role=status>" + std::to_string(told) + " of " +
           std::to_string(told) + "</p><ol class=events id=" + list + ">\n" + items + "</ol>\n";
}

std::string value_text(const std::optional<std::string> &value)
{
    return value ? "\"" + bench::escape(*value) + "\"" : "not there";
}

std::string difference_html(const bench::FileChange &change)
{
    std::string out = "<pre>";
    size_t lines = 0;
    const bool is_new = change.before.empty();
    const std::string shown =
        is_new ? change.after
               : bench::unified_difference(bench::text_lines(change.before), bench::text_lines(change.after));
    for (const std::string &line : bench::text_lines(shown)) {
        if (++lines > kMostLines) {
            out += "... cut here: the file has more lines\n";
            break;
        }
        const char mark = is_new || line.empty() ? ' ' : line[0];
        const std::string kind = mark == '+' ? "new" : mark == '-' ? "gone" : "";
        out += kind.empty() ? text(line) + "\n" : "<span class=" + kind + ">" + text(line) + "</span>\n";
    }
    return out + "</pre>";
}

std::string files_html(const bench::Trace &trace, const std::string &prefix)
{
    std::string out;
    for (size_t i = 0; i < trace.files.size(); ++i) {
        const bench::FileChange &change = trace.files[i];
        if (!is_shown(change)) {
            continue;
        }
        out += "<details id=\"" + prefix + "file" + std::to_string(i) + "\"><summary>" +
               text(bench::router_path(change.path)) + " (" + bench::change_word(change.what) + ", " +
               std::to_string(change.after.size()) + " bytes)</summary>" + difference_html(change) +
               "</details>\n";
    }
    return out.empty() ? "<p>No file changed.</p>\n" : out;
}

// The bars of all runs, one after the other.
std::vector<Bar> bars_of(const std::vector<std::vector<std::string>> &words,
                         const std::vector<bench::Trace> &traces)
{
    std::vector<Bar> all;
    long long offset = 0;
    for (size_t i = 0; i < traces.size(); ++i) {
        const Times times = Clocks(bench::command_words(words[i])).times_of(traces[i].events);
        for (Bar bar : times.bars) {
            bar.begin += offset;
            bar.end += offset;
            all.push_back(bar);
        }
        offset += times.end;
    }
    return all;
}

// How far a run's name may go: to the next run of its row.
double label_end(const Bar &bar, const std::vector<Bar> &bars, long long whole)
{
    double end = kWidth + 30;
    for (const Bar &other : bars) {
        if (!other.pause && &other != &bar && other.row == bar.row && other.begin >= bar.begin &&
            (other.begin > bar.begin || &other > &bar)) {
            end = std::min(end, place_of(other.begin, whole));
        }
    }
    return end;
}

}  // namespace

std::string time_picture(const std::vector<std::vector<std::string>> &words,
                         const std::vector<bench::Trace> &traces)
{
    const std::vector<Bar> bars = bars_of(words, traces);
    long long whole = kSecond;
    size_t rows = 1;
    for (const Bar &bar : bars) {
        whole = std::max(whole, bar.end);
        rows = std::max(rows, bar.row + 1);
    }
    const double height = kRow * static_cast<double>(rows);
    std::string out =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + number(kWidth + 40) + " " +
        number(height + 22) + "\" role=\"img\" font-family=\"monospace\" font-size=\"12\"><title>" +
        text("Runs of rc as bars over " + seconds_text(whole) + " seconds, pauses as strips at their feet") +
        "</title>\n" + axis_svg(whole, height);
    for (const Bar &bar : bars) {
        out += bar_svg(bar, whole, kRow * static_cast<double>(bar.row), label_end(bar, bars, whole));
    }
    return out + "</svg>\n";
}

Chapter time_chapter(const std::vector<std::vector<std::string>> &words,
                     const std::vector<bench::Trace> &traces)
{
    std::vector<std::vector<std::string>> rows;
    for (const Bar &bar : bars_of(words, traces)) {
        rows.push_back({seconds_text(bar.begin), seconds_text(bar.end), bar.pause ? "pause" : "run",
                        std::string(bar.row * 2, ' ') + bench::escape(bar.name)});
    }
    std::string body = "<div class=wide>" + time_picture(words, traces) + "</div>\n<ul>";
    for (size_t i = 0; i < traces.size(); ++i) {
        const std::string spent = bench::time_spent(traces[i]);
        body += "<li>" + text(bench::command_words(words[i]) + ": " + (spent.empty() ? "no pauses" : spent));
    }
    return {"time", "Time",
            body + "</ul>\n<details><summary>The picture as a table</summary>" +
                table({"From", "To", "What", "Run, or command before the pause"}, rows) + "</details>\n"};
}

std::vector<Chapter> run_chapters(size_t number, const std::vector<std::string> &words,
                                  const bench::Trace &trace)
{
    const std::string prefix = "run" + std::to_string(number);
    const std::string name = bench::command_words(words);
    const Times times = Clocks(name).times_of(trace.events);
    std::vector<std::vector<std::string>> settings;
    for (const bench::SettingChange &change : trace.settings) {
        settings.push_back({change.key, value_text(change.before), value_text(change.after)});
    }
    const std::string spent = bench::time_spent(trace);
    std::string body = "<p>" + text(bench::ending(trace) + (spent.empty() ? "" : "; " + spent)) + "</p>\n" +
                       events_html(trace, times, prefix);
    if (!trace.errors.empty()) {
        body += "<h3>Standard error</h3><pre>" + text(trace.errors) + "</pre>\n";
    }
    body += "<h3>Settings changed</h3>\n";
    body += settings.empty()
                ? "<p>None.</p>\n"
                : "<details><summary>" + std::to_string(settings.size()) + " settings</summary>" +
                      table({"Setting", "Before", "After"}, settings) + "</details>\n";
    body += "<h3>Files</h3>\n" + files_html(trace, prefix);
    return {{prefix, name, body}};
}

}  // namespace page
