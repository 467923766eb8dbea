#include "forms/words.h"

#include <cstdlib>

#include "forms/escapes.h"

namespace forms {

namespace {

bool needs_quotes(std::string_view word)
{
    return word.empty() || word.find(' ') != std::string_view::npos;
}

}  // namespace

std::string_view take_word(std::string_view &text)
{
    const size_t end = text.find(' ');
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return word;
}

std::string_view take_line(std::string_view &text)
{
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

bool read_number(std::string_view text, int &number)
{
    const std::string digits(text);
    if (digits.empty() || digits.size() > 9 || digits.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    number = atoi(digits.c_str());
    return true;
}

bool split_words(std::string_view text, std::vector<std::string> &words, std::string &why)
{
    words.clear();
    while (!text.empty()) {
        if (text[0] == ' ') {
            text.remove_prefix(1);
            continue;
        }
        const bool quoted = text[0] == '"';
        if (quoted) {
            text.remove_prefix(1);
        }
        const size_t end = text.find(quoted ? '"' : ' ');
        if (quoted && end == std::string_view::npos) {
            why = "a quoted word is not closed";
            return false;
        }
        const std::string_view raw = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + (quoted ? 1 : 0));
        if (quoted ? !text.empty() && text[0] != ' ' : raw.find('"') != std::string_view::npos) {
            why = "a \" inside a word is written \\x22";
            return false;
        }
        if (!unescape(raw, words.emplace_back(), why)) {
            return false;
        }
    }
    return true;
}

std::string join_words(const std::vector<std::string> &words)
{
    std::string out;
    for (const std::string &word : words) {
        std::string written = escape(word);
        for (size_t at = 0; (at = written.find('"', at)) != std::string::npos; at += 4) {
            written.replace(at, 1, "\\x22");
        }
        out += out.empty() ? "" : " ";
        out += needs_quotes(word) ? "\"" + written + "\"" : written;
    }
    return out;
}

std::vector<std::string> split_lines(std::string_view text, bool &complete)
{
    std::vector<std::string> lines;
    complete = true;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        complete = end != std::string_view::npos;
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(complete ? end + 1 : text.size());
    }
    return lines;
}

}  // namespace forms
