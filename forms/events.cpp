#include "forms/events.h"

#include "forms/escapes.h"
#include "forms/words.h"

namespace forms {

namespace {

// ---- lines of a trace -----------------------------------------------------------------------------------

void add_plain(std::vector<std::string> &plain, const std::string &indent, const char *word,
               const std::string &text)
{
    const std::string written = escape(text);
    plain.push_back(indent + word + (written.empty() ? "" : " ") + written);
}

void add_output(std::vector<std::string> &plain, const std::string &indent, const std::string &text)
{
    bool complete = true;
    std::vector<std::string> lines = split_lines(text + "\n", complete);
    for (const std::string &line : lines) {
        add_plain(plain, indent, "out", line);
    }
}

void add_system(std::vector<std::string> &plain, const std::string &indent, const std::string &command)
{
    add_plain(plain, indent, "sh", command);
    add_plain(plain, indent, "usleep", "1");
}

bool is_plain_text_word(std::string_view word)
{
    return word == "sh" || word == "out+" || word == "hostname" || word == "domainname";
}

bool expand_text_line(std::string_view word, const std::string &indent, const std::string &text,
                      std::vector<std::string> &plain)
{
    if (word == "SYSTEM") {
        add_system(plain, indent, text);
    } else if (word == "MY_SYSTEM") {
        add_output(plain, indent, text);
        add_plain(plain, indent, "sh", text);
    } else if (word == "out") {
        add_output(plain, indent, text);
    } else if (is_plain_text_word(word)) {
        add_plain(plain, indent, std::string(word).c_str(), text);
    } else {
        return false;
    }
    return true;
}

bool expand_frame(const std::string &indent, std::string_view text, std::vector<std::string> &plain)
{
    const std::string name(take_word(text));
    if (name.empty() || text.empty()) {
        return false;
    }
    add_plain(plain, indent, "out", "ap_name=" + name + " action=" + std::string(text));
    add_system(plain, indent, "/bin/cp /proc/uptime /tmp//var/run/rc." + name + ".run");
    return true;
}

bool is_number_line(std::string_view word, std::string_view text)
{
    int number = 0;
    if (word == "kill") {
        text = text.substr(0, 1) == "-" ? text.substr(1) : text;
        return read_number(take_word(text), number) && read_number(text, number);
    }
    return (word == "sleep" || word == "usleep" || word == "klog") && read_number(text, number);
}

const char kSystemPause[] = "usleep 1";

// Where the plain line is indent + word + blank + text: the text.
bool has_word(const std::string &line, const std::string &start, std::string &text)
{
    if (line.compare(0, start.size(), start) != 0) {
        return false;
    }
    text = line.substr(start.size());
    return true;
}

std::string indent_of(const std::string &line)
{
    size_t end = 0;
    while (line.compare(end, 2, "> ") == 0) {
        end += 2;
    }
    return line.substr(0, end);
}

// Tries to join the lines from `at` on; the number of lines joined, 0 when they do not fit.
size_t join_frame(const std::vector<std::string> &plain, size_t at, std::string &joined)
{
    const std::string indent = indent_of(plain[at]);
    std::string words;
    if (at + 2 >= plain.size() || !has_word(plain[at], indent + "out ap_name=", words)) {
        return 0;
    }
    const size_t action = words.find(" action=");
    const std::string name = words.substr(0, action);
    if (action == std::string::npos || name.empty() || action + 8 == words.size() ||
        name.find(' ') != std::string::npos ||
        plain[at + 1] != indent + "sh /bin/cp /proc/uptime /tmp//var/run/rc." + name + ".run" ||
        plain[at + 2] != indent + kSystemPause) {
        return 0;
    }
    joined = indent + "frame " + name + " " + words.substr(action + 8);
    return 3;
}

size_t join_command(const std::vector<std::string> &plain, size_t at, std::string &joined)
{
    const std::string indent = indent_of(plain[at]);
    std::string text;
    if (at + 1 >= plain.size()) {
        return 0;
    }
    if (has_word(plain[at], indent + "sh ", text) && plain[at + 1] == indent + kSystemPause) {
        joined = indent + "SYSTEM " + text;
        return 2;
    }
    const bool yields = at + 2 < plain.size() && plain[at + 2] == indent + kSystemPause;
    if (!yields && has_word(plain[at], indent + "out ", text) && plain[at + 1] == indent + "sh " + text) {
        joined = indent + "MY_SYSTEM " + text;
        return 2;
    }
    return 0;
}

}  // namespace

std::string event_line(const Event &event)
{
    std::string line;
    for (int i = 0; i < event.depth; ++i) {
        line += "> ";
    }
    switch (event.kind) {
        case Kind::kShell:
            return line + "sh " + escape(event.text);
        case Kind::kSleep:
            return line + "sleep " + std::to_string(event.number);
        case Kind::kUsleep:
            return line + "usleep " + std::to_string(event.number);
        case Kind::kHostname:
            return line + "hostname " + escape(event.text);
        case Kind::kDomainname:
            return line + "domainname " + escape(event.text);
        case Kind::kKlog:
            return line + "klog " + std::to_string(event.number);
        case Kind::kKill:
            return line + "kill " + std::to_string(event.number) + " " + std::to_string(event.signal);
        case Kind::kOut:
            return line + (event.unended ? "out+ " : "out ") + escape(event.text);
        case Kind::kTool:
            break;
    }
    line += "tool";
    for (const std::string &word : event.words) {
        line += " " + escape(word);
    }
    return line;
}

bool expand_trace_line(std::string_view line, std::vector<std::string> &plain, std::string &why)
{
    const std::string indent = indent_of(std::string(line));
    line.remove_prefix(indent.size());
    const std::string_view word = take_word(line);
    std::string text;
    if (!unescape(line, text, why)) {
        return false;
    }
    if (expand_text_line(word, indent, text, plain)) {
        return true;
    }
    if (word == "frame" ? expand_frame(indent, text, plain) : is_number_line(word, text)) {
        if (word != "frame") {
            add_plain(plain, indent, std::string(word).c_str(), text);
        }
        return true;
    }
    why = "not a line of a trace: \"" + escape(std::string(word) + " " + text) + "\"";
    return false;
}

std::vector<std::string> shorten_trace(const std::vector<std::string> &plain, std::vector<size_t> *starts)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < plain.size();) {
        std::string joined = plain[at];
        size_t count = join_frame(plain, at, joined);
        count = count != 0 ? count : join_command(plain, at, joined);
        lines.push_back(joined);
        if (starts != nullptr) {
            starts->push_back(at);
        }
        at += count != 0 ? count : 1;
    }
    return lines;
}

}  // namespace forms
