#include "bench/show/scenario.h"

#include <ctime>

#include "bench/show/changes.h"
#include "forms/words.h"

namespace bench {

namespace {

// Each line behind a "|".
std::string bar_lines(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines) {
        text += line.empty() ? "|\n" : "| " + escape(line) + "\n";
    }
    return text;
}

// A file's content as the rest of a directive: `lines` for one made of whole lines, else `bytes`.
std::string content_directive(const char *lines, const char *bytes, const std::string &path,
                              const std::string &content)
{
    bool complete = true;
    const std::vector<std::string> content_lines = forms::split_lines(content, complete);
    if (!complete || content.find('\0') != std::string::npos) {
        return std::string(bytes) + " " + escape(path) + " " + escape(content) + "\n";
    }
    return std::string(lines) + " " + escape(path) + "\n" + bar_lines(content_lines);
}

std::string entry_directives(const char *name, const std::vector<Setting> &entries)
{
    std::string text;
    for (const Setting &entry : entries) {
        text += std::string(name) + " " + entry.key + "=" + escape(entry.value) + "\n";
    }
    return text;
}

std::string reply_directive(const Reply &reply)
{
    const std::string words = reply.tool + (reply.words.empty() ? "" : " " + escape(reply.words));
    const std::string name =
        reply.status == 0 ? "reply " : "status-reply " + std::to_string(reply.status) + " ";
    bool complete = true;
    return name + words + "\n" + bar_lines(forms::split_lines(reply.output, complete));
}

std::string effect_directive(const Effect &effect)
{
    return "effect " + effect.tool + (effect.words.empty() ? "" : " " + escape(effect.words)) + " => " +
           escape(effect.command) + "\n";
}

std::string clock_text(int64_t clock)
{
    const time_t seconds = clock;
    tm when = {};
    char text[32];
    (void)gmtime_r(&seconds, &when);
    (void)strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &when);
    return text;
}

std::string change_directive(const FileChange &change, const Root &root)
{
    constexpr size_t kLongestBytes = 8192;
    if (change.what == FileChange::What::kRemoved) {
        return "gone " + escape(change.path) + "\n";
    }
    if (!root.read(change.path)) {
        return "# " + escape(change.path) + " is there, not as a file\n";
    }
    if (change.after.size() > kLongestBytes && change.after.find('\0') != std::string::npos) {
        return "# " + escape(change.path) + " has " + std::to_string(change.after.size()) +
               " bytes, no text\n";
    }
    return content_directive("expect", "expect-bytes", change.path, change.after);
}

}  // namespace

std::string setup_directives(const Setup &setup, const Run &like)
{
    std::string text = setup.settings ? entry_directives("set", *setup.settings) : "no store\n";
    text += setup.image_defaults ? "defaults image\n" : "";
    text += entry_directives("default", setup.defaults);
    for (const NamedFile &file : setup.files) {
        text += content_directive("file", "bytes", file.path, file.bytes);
    }
    for (const std::string &path : setup.removed) {
        text += "remove " + escape(path) + "\n";
    }
    for (const Interface &interface : setup.interfaces) {
        text += "interface " + interface.name + " " + interface.address + "/" +
                std::to_string(interface.bits) + "\n";
    }
    for (const Effect &effect : setup.effects) {
        text += effect_directive(effect);
    }
    for (const Reply &reply : setup.replies) {
        text += reply_directive(reply);
    }
    text += like.clock ? "clock " + clock_text(*like.clock) + "\n" : "";
    text += like.nested ? "nested\n" : "";
    return text;
}

std::string run_directives(const std::vector<std::string> &words, const Trace &trace, const Root &root)
{
    return "run " + forms::join_words(words) + "\n" + directives_after(trace, root);
}

std::string directives_after(const Trace &trace, const Root &root)
{
    std::string text = "trace\n";
    for (std::string line : forms::shorten_trace(trace_lines(trace))) {
        line.erase(line.find_last_not_of(' ') + 1);
        text += "| " + line + "\n";
    }
    text += trace.status != 0 ? "exit " + std::to_string(trace.status) + "\n" : "";
    for (const FileChange &change : trace.files) {
        text += change.path == "/tmp/nvram" ? "" : change_directive(change, root);
    }
    for (const SettingChange &change : trace.settings) {
        text += change.after ? "setting " + escape(change.key + "=" + *change.after) + "\n"
                             : "unset " + escape(change.key) + "\n";
    }
    return text;
}

}  // namespace bench
