#include "tests/runner/text.h"

#include <cstdio>

namespace {

bool is_control(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

int hex_digit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// Reads the escape whose backslash is the first character of `text`; moves `text` past it.
bool read_escape(std::string_view &text, std::string &out, std::string &why)
{
    const char kind = text.size() > 1 ? text[1] : '\0';
    if (kind == 'n' || kind == 't' || kind == '\\') {
        out += kind == 'n' ? '\n' : kind == 't' ? '\t' : '\\';
        text.remove_prefix(2);
        return true;
    }
    if (kind == 'x' && text.size() > 3 && hex_digit(text[2]) >= 0 && hex_digit(text[3]) >= 0) {
        out += static_cast<char>(hex_digit(text[2]) * 16 + hex_digit(text[3]));
        text.remove_prefix(4);
        return true;
    }
    why = "a backslash begins \\n, \\t, \\\\ or \\xHH";
    return false;
}

bool needs_quotes(std::string_view word)
{
    return word.empty() || word.find(' ') != std::string_view::npos;
}

}  // namespace

bool unescape(std::string_view text, std::string &out, std::string &why)
{
    out.clear();
    while (!text.empty()) {
        if (text[0] == '\\') {
            if (!read_escape(text, out, why)) {
                return false;
            }
        } else if (is_control(text[0])) {
            why = text[0] == '\t' ? "a tab is written \\t" : "a control byte is written \\xHH";
            return false;
        } else {
            out += text[0];
            text.remove_prefix(1);
        }
    }
    return true;
}

std::string escape(std::string_view text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        const bool last = i + 1 == text.size();
        char hex[8];
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c == '\\') {
            out += "\\\\";
        } else if (is_control(c) || (static_cast<unsigned char>(c) & 0x80) != 0 || (last && c == ' ')) {
            snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
            out += hex;
        } else {
            out += c;
        }
    }
    return out;
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
