#include "tools/text_form.h"

#include <map>

#include "tools/escapes.h"

namespace text_form {

namespace {

// Cuts the first line off `text`.
std::string_view take_line(std::string_view &text)
{
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

bool is_passed_over(std::string_view line)
{
    return line.find_first_not_of(" \t") == std::string_view::npos || line[0] == '#';
}

// One line as an entry; the key is everything before the first "=".
bool read_entry(std::string_view line, std::string &key, std::string &value, std::string &why)
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
    if (!unescape(line.substr(0, equals), key, why) || !unescape(line.substr(equals + 1), value, why)) {
        return false;
    }
    if (key.find('=') != std::string::npos) {
        why = "a key cannot hold \"=\"";
        return false;
    }
    return true;
}

}  // namespace

bool unescape(std::string_view text, std::string &out, std::string &why)
{
    out.clear();
    while (!text.empty()) {
        int byte = static_cast<unsigned char>(text[0]);
        if (text[0] == '\\') {
            byte = take_escape(text);
        } else if (is_control(text[0])) {
            why = "a control byte is written \\n, \\t or \\xHH";
            return false;
        } else {
            text.remove_prefix(1);
        }
        if (byte <= 0) {
            why = byte < 0 ? "a backslash begins \\n, \\t, \\\\ or \\xHH" : "an entry cannot hold the byte 0";
            return false;
        }
        out += static_cast<char>(byte);
    }
    return true;
}

std::string from_store(std::string_view store)
{
    std::string text;
    while (!store.empty() && store[0] != '\0') {
        const std::string_view entry = store.substr(0, store.find('\0'));
        const size_t equals = entry.find('=');
        std::string line = escape(entry.substr(0, equals));
        if (line[0] == '#') {
            line.replace(0, 1, "\\x23");
        }
        text += line;
        if (equals != std::string_view::npos) {
            text += '=';
            text += escape(entry.substr(equals + 1));
        }
        text += '\n';
        store.remove_prefix(entry.size() < store.size() ? entry.size() + 1 : store.size());
    }
    return text;
}

bool to_store(std::string_view text, std::string &store, Fault &fault)
{
    std::string image;
    std::map<std::string, size_t> lines;  // key -> line it stands on
    for (size_t number = 1; !text.empty(); ++number) {
        const std::string_view line = take_line(text);
        if (is_passed_over(line)) {
            continue;
        }
        std::string key;
        std::string value;
        fault.line = number;
        if (!read_entry(line, key, value, fault.why)) {
            return false;
        }
        const auto [first, is_new] = lines.emplace(key, number);
        if (!is_new) {
            fault.why =
                "key " + escape(key) + " stands on line " + std::to_string(first->second) + " already";
            return false;
        }
        image += key + '=' + value + '\0';
    }
    image += '\0';
    store = image;
    return true;
}

}  // namespace text_form
