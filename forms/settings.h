// Settings as text that people read and write: one entry a line, key=value; and as the bytes of a store.
//
// In a text, line ends, tabs, backslashes and other bytes that a terminal does not show are written
// \n \t \\ \xHH; so are a space at the end of a line and a "#" at its beginning. Lines that begin with "#"
// and blank lines are skipped when text is read. Every store with sound entries survives the way to text
// and back.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace forms {

struct Setting {
    std::string key;
    std::string value;
    bool operator==(const Setting &) const = default;
};

// What is wrong with a text, and on which line (the first is 1; 0: with the text as a whole).
struct Fault {
    size_t line = 0;
    std::string why;

    // For a message: "FILE:LINE: WHY".
    std::string in(const std::string &file) const;
};

// The settings of a text in its order. False when a line is no entry or repeats a key, or when it is no
// text at all. A byte-order mark and the line ends of other systems are understood.
[[nodiscard]] bool read_settings(std::string_view text, std::vector<Setting> &settings, Fault &fault);

std::string settings_text(const std::vector<Setting> &settings);

// A store's bytes: every entry ended by NUL, one more NUL at the end; and back (stops at the empty entry).
std::string store_bytes(const std::vector<Setting> &settings);
std::vector<Setting> store_settings(std::string_view bytes);

}  // namespace forms
