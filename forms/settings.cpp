#include "forms/settings.h"

#include <algorithm>
#include <map>

#include "forms/escapes.h"
#include "forms/words.h"

namespace forms {

namespace {

// Files that somebody may take for settings text; empty: it may be text.
std::string_view what_else(std::string_view text)
{
    if (text.starts_with("\xff\xfe") || text.starts_with("\xfe\xff")) {
        return "this is text in UTF-16; save it as UTF-8";
    }
    if (text.starts_with(std::string_view("\0NOR", 4))) {
        return "this is a flash image, not text; use nvram --flash FILE export";
    }
    if (text.find('\0') != std::string_view::npos) {
        return "this is a store, not text; use nvram -f FILE export";
    }
    return "";
}

// Whether every line ends in carriage return and line feed, as other systems write them.
bool has_foreign_line_ends(std::string_view text)
{
    size_t ends = 0;
    for (size_t at = 0; (at = text.find('\n', at)) != std::string_view::npos; ++at, ++ends) {
        if (at == 0 || text[at - 1] != '\r') {
            return false;
        }
    }
    return ends > 0;
}

bool is_skipped(std::string_view line)
{
    return line.find_first_not_of(" \t") == std::string_view::npos || line[0] == '#';
}

// One line as an entry; the key is everything before the first "=".
bool read_entry(std::string_view line, Setting &entry, std::string &why)
{
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
        why = "no \"=\" in entry";
        return false;
    }
    if (equals == 0) {
        why = "no key before \"=\"";
        return false;
    }
    if (!unescape(line.substr(0, equals), entry.key, why) ||
        !unescape(line.substr(equals + 1), entry.value, why)) {
        if (line.ends_with('\r')) {
            why = "a carriage return at the end of a line is written \\x0d";
        }
        return false;
    }
    if (entry.key.find('=') != std::string::npos) {
        why = "a key cannot hold \"=\"";
        return false;
    }
    if (entry.key.find('\0') != std::string::npos || entry.value.find('\0') != std::string::npos) {
        why = "an entry cannot hold the byte 0";
        return false;
    }
    return true;
}

}  // namespace

std::string Fault::in(const std::string &file) const
{
    return shown(file) + (line == 0 ? "" : ":" + std::to_string(line)) + ": " + why;
}

bool read_settings(std::string_view text, std::vector<Setting> &settings, Fault &fault)
{
    fault = {0, std::string(what_else(text))};
    if (!fault.why.empty()) {
        return false;
    }
    text.remove_prefix(text.starts_with("\xef\xbb\xbf") ? 3 : 0);
    const bool foreign = has_foreign_line_ends(text);
    std::map<std::string, size_t> lines;  // key -> line it is on
    while (!text.empty()) {
        ++fault.line;
        std::string_view line = take_line(text);
        line.remove_suffix(foreign && line.ends_with('\r') ? 1 : 0);
        if (is_skipped(line)) {
            continue;
        }
        Setting entry;
        if (!read_entry(line, entry, fault.why)) {
            return false;
        }
        const auto [first, is_new] = lines.emplace(entry.key, fault.line);
        if (!is_new) {
            fault.why =
                "key " + shown(entry.key) + " is on line " + std::to_string(first->second) + " already";
            return false;
        }
        settings.push_back(std::move(entry));
    }
    return true;
}

std::string settings_text(const std::vector<Setting> &settings)
{
    std::string text;
    for (const Setting &setting : settings) {
        const std::string key = escape(setting.key);
        text += key.starts_with('#') ? "\\x23" + key.substr(1) : key;
        text += '=' + escape(setting.value) + '\n';
    }
    return text;
}

std::string store_bytes(const std::vector<Setting> &settings)
{
    std::string out;
    for (const Setting &setting : settings) {
        out += setting.key + '=' + setting.value + '\0';
    }
    return out + '\0';
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

}  // namespace forms
