#include "forms/escapes.h"

#include <algorithm>

namespace forms {

namespace {

constexpr size_t kMostShown = 200;
constexpr std::string_view kHexDigits = "0123456789abcdef";

bool is_visible(char c)
{
    return c >= ' ' && c <= '~';
}

void append_hex(std::string &out, char c)
{
    const auto byte = static_cast<unsigned char>(c);
    out += "\\x";
    out += kHexDigits[byte >> 4];
    out += kHexDigits[byte & 15];
}

int hex_value(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// The byte that the escape at the front of `text` stands for; moves `text` past it. -1: it is none, `text`
// is as it was.
int take_escape(std::string_view &text)
{
    const char kind = text.size() > 1 ? text[1] : '\0';
    if (kind == 'x') {
        const int high = text.size() > 2 ? hex_value(text[2]) : -1;
        const int low = text.size() > 3 ? hex_value(text[3]) : -1;
        if (high < 0 || low < 0) {
            return -1;
        }
        text.remove_prefix(4);
        return high * 16 + low;
    }
    if (kind != 'n' && kind != 't' && kind != '\\') {
        return -1;
    }
    text.remove_prefix(2);
    return kind == 'n' ? '\n' : kind == 't' ? '\t' : '\\';
}

bool is_control(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == 0x7f;
}

}  // namespace

std::string escape(std::string_view text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool is_last = i + 1 == text.size();
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c == '\\') {
            out += "\\\\";
        } else if (!is_visible(c) || (c == ' ' && is_last)) {
            append_hex(out, c);
        } else {
            out += c;
        }
    }
    return out;
}

bool unescape(std::string_view text, std::string &out, std::string &why, RawControls raw)
{
    out.clear();
    while (!text.empty()) {
        if (text[0] == '\\') {
            const int byte = take_escape(text);
            if (byte < 0) {
                why = "a backslash begins \\n, \\t, \\\\ or \\xHH";
                return false;
            }
            out += static_cast<char>(byte);
            continue;
        }
        if (is_control(text[0]) && raw == RawControls::kRefused) {
            why = text[0] == '\t' ? "a tab is written \\t" : "a control byte is written \\n, \\t or \\xHH";
            return false;
        }
        out += text[0];
        text.remove_prefix(1);
    }
    return true;
}

std::string shown(std::string_view text)
{
    size_t taken = std::min(text.size(), kMostShown);
    std::string out = escape(text.substr(0, taken));
    while (out.size() > kMostShown) {
        out = escape(text.substr(0, --taken));
    }
    return taken < text.size() ? out + "..." : out;
}

}  // namespace forms
