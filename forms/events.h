// What happened in a run, as records and as the lines of a trace.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace forms {

enum class Kind {
    kShell,       // a command given to /bin/sh by rc (system or popen); text: exactly the command
    kSleep,       // number: seconds
    kUsleep,      // number: microseconds
    kHostname,    // sethostname; text
    kDomainname,  // setdomainname; text
    kKlog,        // klogctl; number: the action
    kKill,        // number: process, signal: signal; never really sent
    kOut,         // a line of standard output, by rc or a command of its; text without the line end
    kTool,        // a stand-in (or a run of rc that is only recorded) was called; words
};

struct Event {
    Kind kind = Kind::kOut;
    int depth = 0;  // 0: the run asked for; 1, 2...: runs of rc started by it
    std::string text;
    long number = 0;
    int signal = 0;
    bool unended = false;            // kOut: the last line, without a line end
    std::vector<std::string> words;  // kTool: as called, the name as given by the caller first
};

// An event as a plain line: "sh TEXT", "sleep 1", "out TEXT", "kill 12 15"..., with escapes, indented by
// "> " for each level of depth; a tool call as "tool WORDS".
std::string event_line(const Event &event);

// Reads one line of a written trace and appends the plain lines it is short for: SYSTEM, MY_SYSTEM and
// frame are replaced, everything is escaped again.
[[nodiscard]] bool expand_trace_line(std::string_view line, std::vector<std::string> &plain,
                                     std::string &why);

// The inverse for a whole trace: joins plain lines into SYSTEM, MY_SYSTEM and frame where they fit.
// `starts`, when given, tells for each of its lines at which plain line it begins.
std::vector<std::string> shorten_trace(const std::vector<std::string> &plain,
                                       std::vector<size_t> *starts = nullptr);

}  // namespace forms
