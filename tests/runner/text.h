// Escapes and words of the scenario format.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/escapes.h"

// The reverse of escape(). Any other backslash and any raw control byte is refused: `why`
// then says so.
bool unescape(std::string_view text, std::string &out, std::string &why);

// Cuts a text into words at blanks. "..." keeps blanks, "" is an empty word; escapes are replaced in both.
bool split_words(std::string_view text, std::vector<std::string> &words, std::string &why);

// Words as split_words reads them.
std::string join_words(const std::vector<std::string> &words);

// The lines of a text without their line ends. `complete` tells whether the last line had one.
std::vector<std::string> split_lines(std::string_view text, bool &complete);
