// Text forms: escapes, stores, settings and replies as text, events as lines.
#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <sstream>

#include "bench/internal.h"
#include "bench/router.h"

namespace bench {

namespace {

std::string place(const std::filesystem::path &file, size_t line)
{
    return file.string() + ":" + std::to_string(line) + ": ";
}

bool take_word(std::string_view &text, std::string_view &word)
{
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size());
    return !word.empty();
}

std::string_view trimmed(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

// One directive of a replies file; false when it is none.
bool read_reply_directive(std::string_view line, std::vector<Reply> &replies, std::vector<Effect> &effects,
                          bool &takes_output)
{
    std::string_view name;
    std::string_view tool;
    std::string_view number;
    take_word(line, name);
    takes_output = name != "effect";
    int status = 0;
    if (name == "status-reply") {
        take_word(line, number);
        const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), status);
        if (error != std::errc{} || end != number.data() + number.size()) {
            return false;
        }
    } else if (name != "reply" && name != "effect") {
        return false;
    }
    if (!take_word(line, tool)) {
        return false;
    }
    if (takes_output) {
        replies.push_back({std::string(tool), unescape(trimmed(line)), "", status, ""});
        return true;
    }
    const size_t arrow = line.find("=>");
    if (arrow == std::string_view::npos) {
        return false;
    }
    effects.push_back({std::string(tool), unescape(trimmed(line.substr(0, arrow))),
                       unescape(trimmed(line.substr(arrow + 2)))});
    return true;
}

}  // namespace

std::string unescape(std::string_view text)
{
    const std::string_view whole = text;
    std::string out;
    while (!text.empty()) {
        if (text[0] != '\\') {
            out += text[0];
            text.remove_prefix(1);
            continue;
        }
        const int byte = take_escape(text);
        if (byte < 0) {
            throw Error("unknown escape in \"" + std::string(whole) + "\": use \\n \\t \\\\ or \\xHH");
        }
        out += static_cast<char>(byte);
    }
    return out;
}

std::string store_bytes(const std::vector<Setting> &settings)
{
    std::string out;
    for (const Setting &setting : settings) {
        out += setting.key + "=" + setting.value;
        out += '\0';
    }
    out += '\0';
    return out;
}

std::vector<Setting> store_settings(std::string_view bytes)
{
    std::vector<Setting> settings;
    while (!bytes.empty() && bytes.front() != '\0') {
        const std::string_view entry = bytes.substr(0, bytes.find('\0'));
        const size_t equals = std::min(entry.find('='), entry.size());
        settings.push_back({std::string(entry.substr(0, equals)),
                            std::string(entry.substr(std::min(equals + 1, entry.size())))});
        bytes.remove_prefix(std::min(entry.size() + 1, bytes.size()));
    }
    return settings;
}

std::vector<Setting> read_settings_text(const std::filesystem::path &file)
{
    std::istringstream lines(read_whole(file));
    std::vector<Setting> settings;
    std::string line;
    for (size_t number = 1; std::getline(lines, line); number++) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw Error(place(file, number) + "no \"key=\" in entry");
        }
        try {
            settings.push_back({line.substr(0, equals), unescape(line.substr(equals + 1))});
        } catch (const Error &error) {
            throw Error(place(file, number) + error.what());
        }
    }
    return settings;
}

std::vector<Setting> image_settings(const std::filesystem::path &image)
{
    constexpr std::array kAreas = {"system", "lan", "wan", "firewall", "aux", "wireless", "vpn"};
    std::vector<Setting> all;
    for (const char *area : kAreas) {
        const std::filesystem::path file = image / "settings" / (std::string(area) + ".settings");
        if (!std::filesystem::exists(file)) {
            continue;
        }
        for (Setting &setting : read_settings_text(file)) {
            all.push_back(std::move(setting));
        }
    }
    return all;
}

void read_replies_text(const std::filesystem::path &file, std::vector<Reply> &replies,
                       std::vector<Effect> &effects)
{
    std::istringstream lines(read_whole(file));
    std::string line;
    bool takes_output = false;
    for (size_t number = 1; std::getline(lines, line); number++) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        try {
            if (line.front() == '|' && takes_output) {
                replies.back().output += unescape(line.substr(line.starts_with("| ") ? 2 : 1)) + "\n";
            } else if (line.front() == '|' || !read_reply_directive(line, replies, effects, takes_output)) {
                throw Error("not a reply, status-reply or effect: " + line);
            }
        } catch (const Error &error) {
            throw Error(place(file, number) + error.what());
        }
    }
}

std::string event_line(const Event &event)
{
    std::string line;
    for (int i = 0; i < event.depth; i++) {
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

std::vector<std::string> trace_lines(const Trace &trace, bool tools)
{
    std::vector<std::string> lines;
    for (const Event &event : trace.events) {
        if (tools || event.kind != Kind::kTool) {
            lines.push_back(event_line(event));
        }
    }
    return lines;
}

}  // namespace bench
