#include "forms/exposure.h"

#include <algorithm>
#include <array>

#include "forms/embedded.h"
#include "forms/escapes.h"

namespace forms {

namespace {

const std::string kMeasured = "# measured: ";
constexpr const char *kNames[] = {"bare", "double", "single", "line"};

std::vector<std::string> split_line(std::string_view line)
{
    std::vector<std::string> parts;
    for (size_t at = 0; at <= line.size();) {
        const size_t end = std::min(line.find('\t', at), line.size());
        parts.emplace_back(line.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

bool read_exposure(std::string_view line, Exposure &exposure)
{
    const std::vector<std::string> parts = split_line(line);
    const auto *name =
        parts.size() == 5 ? std::find(std::begin(kNames), std::end(kNames), parts[1]) : std::end(kNames);
    if (name == std::end(kNames)) {
        return false;
    }
    const size_t dot = parts[0].find('.');
    exposure.key = parts[0].substr(0, dot);
    exposure.field = dot == std::string::npos ? "" : parts[0].substr(dot + 1);
    exposure.quoting = static_cast<Quoting>(name - std::begin(kNames));
    exposure.words = parts[3];
    std::string why;
    return unescape(parts[2], exposure.harmful, why) && unescape(parts[4], exposure.command, why);
}

}  // namespace

bool read_exposures(std::string_view text, std::vector<Exposure> &exposures, size_t &line)
{
    line = 0;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view one = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        ++line;
        if (!one.empty() && one[0] != '#' && !read_exposure(one, exposures.emplace_back())) {
            return false;
        }
    }
    return true;
}

std::string exposures_text(const std::vector<Exposure> &exposures, const std::vector<std::string> &measured)
{
    std::string text =
        "# Where the text of settings meets the shell: setting, quoting, harmful characters, run of rc, "
        "command.\n"
        "# Measured and written by scripts/settings-reference; see docs/shell.md.\n";
    for (const std::string &key : measured) {
        text += kMeasured + key + "\n";
    }
    for (const Exposure &one : exposures) {
        text += one.key + (one.field.empty() ? "" : "." + one.field) + "\t" + quoting_name(one.quoting) +
                "\t" + escape(one.harmful) + "\t" + one.words + "\t" + escape(one.command) + "\n";
    }
    return text;
}

std::vector<std::string> measured_settings()
{
    std::vector<std::string> keys;
    std::string_view text = kEmbeddedExposure.text;
    for (size_t at = 0; (at = text.find(kMeasured, at)) != std::string_view::npos;) {
        at += kMeasured.size();
        keys.emplace_back(text.substr(at, text.find('\n', at) - at));
    }
    return keys;
}

const char *quoting_name(Quoting quoting)
{
    return kNames[static_cast<size_t>(quoting)];
}

Harm harm_of(std::string_view key, std::string_view field)
{
    Harm harm;
    for (const Exposure &one : known_exposures()) {
        const bool is_refused_anyway = one.quoting == Quoting::kLine;  // as every control character
        if (one.key != key || one.field != field || is_refused_anyway) {
            continue;
        }
        harm.is_bare = harm.is_bare || one.quoting == Quoting::kBare;
        for (const char c : one.harmful) {
            if (harm.characters.find(c) == std::string::npos) {
                harm.characters += c;
            }
        }
    }
    return harm;
}

bool is_plain_word(char c)
{
    constexpr std::string_view kPlain = "@%_+=:,./-";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           kPlain.find(c) != std::string_view::npos;
}

}  // namespace forms
