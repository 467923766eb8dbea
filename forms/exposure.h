// Where the text of a setting meets the shell, as `rcbench shell` measured it: bench/image/settings/exposure.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace forms {

// kLine: in a line of a file whose lines are run; a line end begins another one.
enum class Quoting { kBare, kDouble, kSingle, kLine };

// One place. In the file a line: KEY or KEY.FIELD, bare/double/single/line, the characters that end the text
// or run something there, the words of rc, the command with {} in the place of the text; tabs between them.
struct Exposure {
    std::string key;
    std::string field;  // of a list's records; empty: the whole value
    Quoting quoting = Quoting::kBare;
    std::string harmful;
    std::string words;    // "wan start"
    std::string command;  // cut before and behind the text where it is long
};

// Reads the table; false, with the line, when it is not one.
[[nodiscard]] bool read_exposures(std::string_view text, std::vector<Exposure> &exposures, size_t &line);
// With the keys that were measured, so that a new setting is missed in it.
std::string exposures_text(const std::vector<Exposure> &exposures, const std::vector<std::string> &measured);

// The keys that were measured for the table this program was built with.
std::vector<std::string> measured_settings();

// The table this program was built with.
const std::vector<Exposure> &known_exposures();

const char *quoting_name(Quoting quoting);

// What of a setting's text must be refused where it is saved: nothing, some characters, or all but those that
// the shell leaves alone wherever they are.
struct Harm {
    bool is_bare = false;
    std::string characters;
};
// Choice: in text that is bare in a command, letters, digits and `@%_+=:,./-` are allowed; in text in
// double quotes, everything except what was measured to act there and the backslash, which takes the
// closing quote away at the end of a text.
Harm harm_of(std::string_view key, std::string_view field);

// A character that stands for itself wherever the shell meets it.
[[nodiscard]] bool is_plain_word(char c);

}  // namespace forms
