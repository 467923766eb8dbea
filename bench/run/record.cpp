#include "bench/run/record.h"

// Reads the record of a run: puts standard output lines in their places among the entries, and the events
// of runs started by rc behind the commands that started them.
#include <charconv>
#include <cstring>
#include <map>

#include <sys/wait.h>

#include "bench/run/inside/inside.h"

namespace bench {

namespace {

// One entry of the record as it was written.
struct Entry {
    char kind = 0;
    unsigned long run = 0;
    unsigned long command = 0;  // number of the shell entry it belongs to, 0: none
    size_t output = 0;          // size of its run's standard output at the time
    unsigned long number = 0;   // where it ends in the record
    std::string data;
};

template <typename Number>
void take_number(std::string_view &text, Number &number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<size_t>(end - text.data()));
    if (!text.empty()) {
        text.remove_prefix(1);
    }
}

std::vector<Entry> parse(std::string_view record)
{
    std::vector<Entry> entries;
    size_t at = 0;
    while (at < record.size()) {
        const size_t end = record.find('\n', at);
        if (end == std::string_view::npos || end - at < 2) {
            break;
        }
        Entry entry;
        entry.kind = record[at];
        std::string_view numbers = record.substr(at + 2, end - at - 2);
        size_t length = 0;
        take_number(numbers, entry.run);
        take_number(numbers, entry.command);
        take_number(numbers, entry.output);
        take_number(numbers, length);
        if (length > record.size() - end - 1) {
            break;
        }
        entry.data = record.substr(end + 1, length);
        at = end + 1 + length + 1;
        entry.number = at;
        entries.push_back(std::move(entry));
    }
    return entries;
}

// One run of rc: what it did itself, and what its commands led to.
struct RunRecord {
    std::vector<const Entry *> own;
    std::map<unsigned long, std::vector<const Entry *>> led_to;  // by shell entry: tools and runs
    std::string output;
    size_t shown = 0;  // output that has become events
};

struct Merge {
    std::map<unsigned long, RunRecord> runs;
    std::vector<Event> *events;
};

// The lines of output that were complete when the output had `size` bytes.
void show_output(Merge &merge, RunRecord &run, int depth, size_t size)
{
    size = std::min(size, run.output.size());
    for (;;) {
        const size_t end = run.output.find('\n', run.shown);
        if (end == std::string::npos || end >= size) {
            return;
        }
        Event event;
        event.depth = depth;
        event.text = run.output.substr(run.shown, end - run.shown);
        merge.events->push_back(std::move(event));
        run.shown = end + 1;
    }
}

void show_rest(Merge &merge, RunRecord &run, int depth)
{
    show_output(merge, run, depth, run.output.size());
    if (run.shown < run.output.size()) {
        Event event;
        event.depth = depth;
        event.text = run.output.substr(run.shown);
        event.unended = true;
        merge.events->push_back(std::move(event));
        run.shown = run.output.size();
    }
}

long to_long(std::string_view text)
{
    long number = 0;
    take_number(text, number);
    return number;
}

std::vector<std::string> split_words(std::string_view data)
{
    std::vector<std::string> words;
    while (!data.empty()) {
        const size_t end = std::min(data.find('\0'), data.size());
        words.emplace_back(data.substr(0, end));
        data.remove_prefix(std::min(end + 1, data.size()));
    }
    return words;
}

void show_entry(Merge &merge, const Entry &entry, int depth)
{
    static const std::map<char, Kind> kinds = {
        {inside::kEntryShell, Kind::kShell},
        {inside::kEntrySleep, Kind::kSleep},
        {inside::kEntryUsleep, Kind::kUsleep},
        {inside::kEntryHostname, Kind::kHostname},
        {inside::kEntryDomainname, Kind::kDomainname},
        {inside::kEntryKlog, Kind::kKlog},
        {inside::kEntryKill, Kind::kKill},
        {inside::kEntryTool, Kind::kTool},
    };
    const auto kind = kinds.find(entry.kind);
    if (kind == kinds.end()) {
        return;
    }
    Event event;
    event.kind = kind->second;
    event.depth = depth;
    switch (event.kind) {
        case Kind::kShell:
        case Kind::kHostname:
        case Kind::kDomainname:
            event.text = entry.data;
            break;
        case Kind::kTool:
            event.words = split_words(entry.data);
            break;
        case Kind::kKill:
            event.signal =
                static_cast<int>(to_long(std::string_view(entry.data).substr(entry.data.find(' ') + 1)));
            [[fallthrough]];
        default:
            event.number = to_long(entry.data);
    }
    merge.events->push_back(std::move(event));
}

// Recursive by nature: a run's commands start runs. The record numbers every run once, so it ends.
void show_run(Merge &merge, unsigned long number, int depth);

// What a command led to, before the run's own next entry at output size `limit`.
void show_consequences(Merge &merge, RunRecord &run, unsigned long command, int depth, size_t limit)
{
    const auto found = run.led_to.find(command);
    if (found == run.led_to.end()) {
        return;
    }
    for (const Entry *entry : found->second) {
        show_output(merge, run, depth, std::min(entry->output, limit));
        if (entry->kind == inside::kEntryRun) {
            show_run(merge, static_cast<unsigned long>(to_long(entry->data)), depth + 1);
        } else {
            show_entry(merge, *entry, depth);
        }
    }
}

void show_run(Merge &merge, unsigned long number, int depth)
{
    RunRecord &run = merge.runs[number];
    for (size_t i = 0; i < run.own.size(); ++i) {
        const Entry &entry = *run.own[i];
        const size_t limit = i + 1 < run.own.size() ? run.own[i + 1]->output : run.output.size();
        show_output(merge, run, depth, entry.output);
        show_entry(merge, entry, depth);
        if (entry.kind == inside::kEntryShell) {
            show_consequences(merge, run, entry.number, depth, limit);
        }
    }
    show_rest(merge, run, depth);
}

void read_exit(const Entry &entry, Trace &trace)
{
    const int status = static_cast<int>(to_long(entry.data));
    if (WIFSIGNALED(status)) {
        trace.signal = WTERMSIG(status);
        trace.status = 128 + trace.signal;
    } else {
        trace.status = WEXITSTATUS(status);
    }
}

}  // namespace

void read_record(const Root &root, Trace &trace)
{
    const std::vector<Entry> entries = parse(root.read(inside::kRecord).value_or(""));
    Merge merge = {{}, &trace.events};
    merge.runs[0].output = root.read("/.bench/out.0").value_or("");
    for (const Entry &entry : entries) {
        RunRecord &run = merge.runs[entry.run];
        if (entry.kind == inside::kEntryExit) {
            read_exit(entry, trace);
        } else if (entry.kind == inside::kEntryLimit) {
            trace.timed_out = true;
            trace.limit = trace.limit.empty() ? entry.data : trace.limit;
        } else if (entry.kind == inside::kEntryTool || entry.kind == inside::kEntryRun) {
            run.led_to[entry.command].push_back(&entry);
            if (entry.kind == inside::kEntryRun) {
                merge.runs[static_cast<unsigned long>(to_long(entry.data))].output =
                    root.read("/.bench/out." + entry.data).value_or("");
            }
        } else {
            run.own.push_back(&entry);
        }
    }
    trace.output = merge.runs[0].output;
    trace.errors = root.read(inside::kErrors).value_or("");
    show_run(merge, 0, 0);
}

}  // namespace bench
