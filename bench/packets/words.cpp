#include "bench/packets/words.h"

namespace packets {

std::string cut(std::string_view text)
{
    constexpr size_t kMost = 120;
    return std::string(text.substr(0, kMost)) + (text.size() > kMost ? "..." : "");
}

std::vector<std::string> split_line(std::string_view line)
{
    std::vector<std::string> words;
    bool in_word = false;
    bool quoted = false;
    for (const char c : line) {
        if ((c == ' ' || c == '\t') && !quoted) {
            in_word = false;
            continue;
        }
        if (!in_word) {
            words.emplace_back();
            in_word = true;
        }
        if (c == '"') {
            quoted = !quoted;
        } else {
            words.back() += c;
        }
    }
    return words;
}

std::string squeezed(std::string_view line)
{
    std::string text;
    bool quoted = false;
    bool gap = false;
    for (const char c : line) {
        if ((c == ' ' || c == '\t') && !quoted) {
            gap = !text.empty();
            continue;
        }
        quoted = (c == '"') != quoted;
        text += gap ? " " : "";
        text += c;
        gap = false;
    }
    return text;
}

std::string joined(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words) {
        const bool plain = !word.empty() && word.find_first_of(" \t\"") == std::string::npos;
        text += text.empty() ? "" : " ";
        text += plain ? "" : "\"";
        text += word;
        text += plain ? "" : "\"";
    }
    return text;
}

std::vector<std::string> split_at(std::string_view text, char separator)
{
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

}  // namespace packets
